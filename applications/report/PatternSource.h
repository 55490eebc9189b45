#pragma once

#include "quillcast-core/StringVector.h"
#include "report/EventMatching.h"

#include <cstdint>
#include <string>

namespace Vexalor::MachineLearning
{

class AudioFileDataGenerator;
class AudioSetDataGeneratorForToneDetector;
class DataGenerator;
class FileDataGenerator;
class FileSetDataGeneratorImpl;

/// Tells which recording the current pattern of a generator comes from, and which part of it.
///
/// Call order: watch (advance, then the others)*, with an advance for each pattern of one pass.
class PatternSource
{
public:
    /// The generator outlives the calls of advance. It is that which reads: what wraps it need not tell.
    void watch(DataGenerator& io_generator);

    /// Before another pass of the same generator, whose first pattern is the first one of a recording.
    void restart() { m_bStarted = false; }

    /// Goes on to the current pattern. True when it is the first one of a recording, or the first of all.
    bool advance();

    /// Of the recording, or of the file of patterns; empty when the generator reads no file.
    const std::string& getName() const { return m_strName; }
    /// True for recordings: the following ones are for them only.
    bool isRecording() const { return m_pAudio != nullptr; }
    /// Hz.
    std::uint32_t getRate() const;
    /// As AudioFileReader::open takes it.
    int getChannel() const;
    /// What the pattern decides on, in samples: from the end of the window before to the end of its own.
    EventInterval getInterval() const;
    /// Of a set that passes over its recordings for each tone: that of the pass; empty otherwise.
    std::string getTone() const;
    /// Names of the classes of such a set.
    static StringVector getClassNamesOfTones();
    /// Names of the classes in the order of the target; empty when they are not known.
    StringVector getClassNames() const;

private:
    FileDataGenerator* findFile() const;

    FileSetDataGeneratorImpl* m_pSet = nullptr;
    AudioSetDataGeneratorForToneDetector* m_pToneSet = nullptr; ///< the same, of tones
    FileDataGenerator* m_pFile = nullptr;                       ///< when it is no set
    FileDataGenerator* m_pCurrent = nullptr;                    ///< of the current pattern
    AudioFileDataGenerator* m_pAudio = nullptr;                 ///< the same; null when it reads no recording
    std::string m_strName;
    std::int64_t m_iEnd = -1; ///< of the window
    bool m_bStarted = false;
};

} // namespace Vexalor::MachineLearning
