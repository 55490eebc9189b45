#pragma once

#include "quillcast-core/FixedSum.h"
#include "quillcast-core/StringVector.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace Vexalor
{
class AnnotatedFile;
}

namespace Vexalor::MachineLearning
{

class AudioFileDataGenerator;
class DataGenerator;
class FileSetDataGeneratorImpl;

/// What headers and annotations tell of the recordings that a generator reads, before their samples are.
struct RecordingSurvey
{
    /// Of more labels the first ones by the alphabet are told apart.
    static constexpr std::size_t MAX_LABELS = 1000;

    struct Skipped
    {
        std::string m_strName;
        std::string m_strReason;

        template <class Self, class Bytes>
        static void exchange(Self& io_self, Bytes& io_bytes)
        {
            io_bytes(io_self.m_strName, io_self.m_strReason);
        }
    };
    struct Label
    {
        std::uint64_t m_uiAnnotations = 0;
        FixedSum m_dSeconds;
        bool m_bTaken = false; ///< by a class

        template <class Self, class Bytes>
        static void exchange(Self& io_self, Bytes& io_bytes)
        {
            io_bytes(io_self.m_uiAnnotations, io_self.m_dSeconds, io_self.m_bTaken);
        }
    };
    struct Rate
    {
        std::size_t m_uiRecordings = 0;
        std::string m_strFirst;

        template <class Self, class Bytes>
        static void exchange(Self& io_self, Bytes& io_bytes)
        {
            io_bytes(io_self.m_uiRecordings, io_self.m_strFirst);
        }
    };

    StringVector m_vListed; ///< all recordings in their order; none: the generator reads no recordings
    StringVector m_vUsable; ///< of those
    std::vector<Skipped> m_vSkipped;   ///< the others
    StringVector m_vWithoutAnnotation; ///< of those that can be used
    StringVector m_vBeyond;            ///< with an annotation that reaches past the end
    std::map<std::string, Label> m_labels;
    std::uint64_t m_uiFurtherLabels = 0;   ///< annotations with other labels than those
    std::map<std::uint32_t, Rate> m_rates; ///< Hz

    /// Adds the recordings of a generator whose file is set; nothing for one that reads none. Messages of the
    /// generators go nowhere: they are the reasons of m_vSkipped.
    void add(DataGenerator& io_generator);
    /// The recordings of in_next follow; their generators are of one configuration.
    void append(const RecordingSurvey& in_next);

    /// Recordings that are listed again.
    StringVector findRepeated() const;
    /// Recordings that can be used and are not among those that delivered a pattern.
    StringVector findWithoutPattern(const std::set<std::string>& in_delivered) const;

    template <class Self, class Bytes>
    static void exchange(Self& io_self, Bytes& io_bytes)
    {
        io_bytes(io_self.m_vListed, io_self.m_vUsable, io_self.m_vSkipped, io_self.m_vWithoutAnnotation,
                 io_self.m_vBeyond, io_self.m_labels, io_self.m_uiFurtherLabels, io_self.m_rates);
    }

private:
    void addListed(FileSetDataGeneratorImpl& io_set);
    void addRecording(const AudioFileDataGenerator& in_generator, const std::string& in_strName);
    void addAnnotations(const AudioFileDataGenerator& in_generator, const AnnotatedFile& in_file);
    void keepFirstLabels();
};

/// The classes of a configured generator of recordings; none of another one.
StringVector getClasses(const DataGenerator& in_generator);

} // namespace Vexalor::MachineLearning
