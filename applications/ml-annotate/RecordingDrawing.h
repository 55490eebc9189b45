#pragma once

#include "ml-annotate/Spectrogram.h"
#include "quillcast-audio/AnnotatedFile.h"
#include "report/Envelope.h"

#include <string>

namespace Vexalor
{

/// A recording as an SVG picture: outline of the signal, spectrogram, a lane for each label, times. Its size
/// does not grow with the length of the recording, and little with the number of labels.
class RecordingDrawing
{
public:
    /// Reads the samples. False with the reason logged.
    bool read(const std::string& in_strRecording);

    /// Labels that touch within a unit of the picture are drawn as one, shorter ones a unit wide. False with
    /// the reason logged.
    bool draw(const AnnotatedFile& in_file, std::string& out_strSvg) const;

private:
    std::string drawSignal() const;
    bool drawSpectrogram(std::string& io_strSvg) const;
    std::string drawTimes(int in_iTop, int in_iBottom) const;
    double toX(double in_dSeconds) const;

    std::string m_strRecording;
    Envelope m_envelope;
    Spectrogram m_spectrogram;
};

} // namespace Vexalor
