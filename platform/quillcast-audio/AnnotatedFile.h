#pragma once

#include "quillcast-audio/Annotation.h"
#include "quillcast-audio/CueSheet.h"
#include "quillcast-core/StringVector.h"

#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

namespace Vexalor
{

class FileReplacer;
class IffSource;
class InputFile;

/// The annotations of a recording, as audio editors keep them in WAV files: cue points with a length are
/// annotations, those without one are markers and kept apart. Layout of the chunks and the rules of reading:
/// doc/formats.md.
class AnnotatedFile
{
public:
    /// Reads the annotations of a WAV file (RIFF, RF64, BW64), in place of what was there before; the stream
    /// must be open in binary mode and positionable. Sets the stream's fail flag, logs the reason at error
    /// level and leaves the object empty when it is no such file, or when its annotations are damaged and
    /// cannot be trusted. A recording without annotations is no failure. Returns io_stream.
    std::istream& readFromWAV(std::istream& io_stream);
    /// The same from an open regular file, which messages then name. False on failure.
    bool readFromWAV(InputFile& io_file);

    /// In the order of the cue points. Where one comes from: the length from its "ltxt" record, else from the
    /// loop of the same id and start; the label from "labl", else the text of "ltxt", else "note", else
    /// empty.
    const std::vector<Annotation>& getAnnotations() const { return m_vAnnotations; }
    void setAnnotations(std::vector<Annotation> in_vAnnotations)
    {
        m_vAnnotations = std::move(in_vAnnotations);
    }
    /// The points, under the same rule for the label; start and stop are equal.
    const std::vector<Annotation>& getMarkers() const { return m_vMarkers; }
    void setMarkers(std::vector<Annotation> in_vMarkers) { m_vMarkers = std::move(in_vMarkers); }

    /// Replaces the annotations and markers of a WAV file by those of this object and keeps every other chunk
    /// and the samples byte for byte; a size that was left open by a streamed recording is filled in. The
    /// file is replaced at once and only when all was written. False, with the reason logged and the file as
    /// it was, if it is no intact WAV file, if a time cannot be stored (below 0, stop before start, sample
    /// number of more than 32 bits) or if writing fails. Times are rounded to the nearest sample.
    bool writeToWAV(const char* in_filename) const;
    /// The same into another file, in place of what that was: a copy of the first with these annotations.
    bool writeToWAV(const char* in_filename, const char* in_copyname) const;

    /// Copies the beginning of a WAV file, in_uiFrames of its frames, with every other chunk as it is: so
    /// annotations that lie behind the end of the copy are kept. Codings in which frames have no fixed size
    /// are copied whole. Opens and commits the target. False, with the reason logged, if the source is no
    /// intact WAV file or if writing fails.
    static bool copyStartOfWAV(const char* in_filename, std::uint64_t in_uiFrames, FileReplacer& io_target);

    /// What the file says of its samples; only after readFromWAV, as all that follow.
    const WavFormat& getFormat() const { return m_format; }
    const std::string& getContainer() const { return m_strContainer; } ///< "RIFF", "RF64" or "BW64"
    /// Samples of one channel by the headers, which may be wrong; 0 when they do not tell.
    std::uint64_t getFrameCount() const { return m_uiFrames; }
    /// Ids of the chunks in the order of the file, lists as "LIST:adtl".
    const StringVector& getChunkOrder() const { return m_vChunkOrder; }
    const CueSheet& getCueSheet() const { return m_sheet; }

private:
    bool readOrTell(IffSource& io_source, const std::string& in_strFilename);
    bool read(IffSource& io_source, const std::string& in_strFilename, std::string& out_strError);
    void buildAnnotations();

    std::vector<Annotation> m_vAnnotations;
    std::vector<Annotation> m_vMarkers;
    WavFormat m_format;
    std::string m_strContainer;
    std::uint64_t m_uiFrames = 0;
    StringVector m_vChunkOrder;
    CueSheet m_sheet;
};

} // namespace Vexalor
