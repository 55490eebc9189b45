#pragma once

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
    /// Labels from this one on are not told apart.
    static constexpr std::size_t MAX_LABELS = 1000;

    struct Skipped
    {
        std::string m_strName;
        std::string m_strReason;
    };
    struct Label
    {
        std::uint64_t m_uiAnnotations = 0;
        double m_dSeconds = 0.0;
        bool m_bTaken = false; ///< by a class
    };
    struct Rate
    {
        std::size_t m_uiRecordings = 0;
        std::string m_strFirst;
    };

    std::size_t m_uiListed = 0; ///< 0: the generator reads no recordings
    std::vector<Skipped> m_vSkipped;
    StringVector m_vRepeated;          ///< recordings that are listed again
    StringVector m_vWithoutAnnotation; ///< of those that can be used
    StringVector m_vBeyond;            ///< with an annotation that reaches past the end
    std::map<std::string, Label> m_labels;
    std::uint64_t m_uiFurtherLabels = 0;   ///< annotations with other labels than those
    std::map<std::uint32_t, Rate> m_rates; ///< Hz

    /// Adds the recordings of a generator whose file is set; nothing for one that reads none. Messages of the
    /// generators go nowhere: they are the reasons of m_vSkipped.
    void add(DataGenerator& io_generator);

    std::size_t getNbUsable() const { return m_uiListed - m_vSkipped.size(); }
    /// Recordings that can be used and are not among those that delivered a pattern.
    StringVector findWithoutPattern(const std::set<std::string>& in_delivered) const;

private:
    void addListed(FileSetDataGeneratorImpl& io_set);
    void addRecording(const AudioFileDataGenerator& in_generator, const std::string& in_strName);
    void addAnnotations(const AudioFileDataGenerator& in_generator, const AnnotatedFile& in_file);
    void addName(const std::string& in_strName);

    std::set<std::string> m_names;
    StringVector m_vUsable; ///< in the order of the list
};

/// The classes of a configured generator of recordings; none of another one.
StringVector getClasses(const DataGenerator& in_generator);

} // namespace Vexalor::MachineLearning
