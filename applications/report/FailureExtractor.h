#pragma once

#include "MLDataGenerator.h"
#include "quillcast-core/FileReplacer.h"
#include "quillcast-infra/ProgramOptions.h"
#include "report/PatternSource.h"

#include <cstdint>
#include <optional>
#include <string>

namespace Vexalor::MachineLearning
{

/// Cuts the sequences in which a test finds failures out of its stream, so that each can be tested alone:
/// from its first pattern, where the entity is reset, to the last failure in it, as a text pattern file and,
/// where it is the beginning of a recording, as a recording with its annotations. doc/programs.md, "Failing
/// sequences", describes the folder.
///
/// A failure is a pattern that the classification error counts as wrong, or an output with a nan.
///
/// Call order: addOptions takeOptions begin watchResets watch add* finish. Memory does not depend on the
/// length of a sequence: what is long goes to a temporary file as it comes.
class FailureExtractor
{
public:
    static void addOptions(options_description& io_options);
    /// Throws CommandLineError for values that make no sense.
    void takeOptions(const variables_map& in_map);
    bool isWanted() const { return !m_strFolder.empty(); }
    /// Empty: nothing is wanted.
    const std::string& getFolder() const { return m_strFolder; }

    /// Makes the folder. False, with the reason logged, when that fails, or when there is something in it and
    /// it is not to be written over.
    bool begin(bool in_bForce);
    /// What the generator is to reset in place of the entity, which may be null.
    Handle<Resettable, ReferenceCount> watchResets(const Handle<Resettable, ReferenceCount>& in_entity);
    /// The generator whose inputs the entity gets; it outlives the test.
    void watch(DataGenerator& io_generator) { m_pGenerator = &io_generator; }
    /// The current pattern of the generator and of the source; a null target is none.
    void add(const PatternSource& in_source, bool in_bNewRecording, const DoubleVector& in_vOutput,
             const DoubleVector* in_pTarget);
    /// Tells what was cut out. False, with the reason logged, when something could not be written.
    bool finish();

private:
    /// Notes where sequences begin, and resets the entity.
    class ResetWatch final : public virtual Resettable
    {
    public:
        explicit ResetWatch(const Handle<Resettable, ReferenceCount>& in_entity)
            : m_hEntity(in_entity)
        {
        }
        bool reset() override;
        bool takeNews();

    private:
        Handle<Resettable, ReferenceCount> m_hEntity;
        bool m_bNews = false;
    };

    /// What is known of the current one.
    struct Sequence
    {
        std::string m_strSource;      ///< recording or file of patterns
        bool m_bBeginsSource = false; ///< its first pattern is the first one there
        bool m_bRecording = false;
        std::uint64_t m_uiFirst = 0;    ///< number of its first pattern there, from 1
        std::uint64_t m_uiPatterns = 0; ///< so far
        std::uint64_t m_uiFailures = 0;
        std::uint64_t m_uiCutPatterns = 0; ///< up to the last failure
        std::uint64_t m_uiCutBytes = 0;
        std::uint64_t m_uiCutSamples = 0;
        std::uint32_t m_uiRate = 0;
    };

    std::string makePath(const std::string& in_strExtension) const;
    void startSequence(const PatternSource& in_source, bool in_bNewRecording);
    void keepPattern(const DoubleVector* in_pTarget);
    void noteFailure(const PatternSource& in_source);
    void finishSequence();
    bool cutOut();
    bool writePatterns();
    bool writeRecording();
    bool spill();

    std::string m_strFolder; ///< empty: nothing is wanted
    std::uint64_t m_uiLimit = 0;
    CountedObjPtr<ResetWatch> m_pResets;
    DataGenerator* m_pGenerator = nullptr;
    DoubleVector m_vInput;

    bool m_bInSequence = false;
    Sequence m_sequence;
    std::uint64_t m_uiInSource = 0; ///< patterns so far
    std::string m_strText;          ///< of the sequence, not in the file yet
    std::optional<FileReplacer> m_file;
    std::uint64_t m_uiInFile = 0; ///< bytes

    std::uint64_t m_uiSequences = 0;
    std::uint64_t m_uiFailed = 0;
    std::uint64_t m_uiCut = 0;
    std::string m_strIndex;
    std::string m_strRecordings;
    bool m_bDone = true; ///< everything could be written so far
};

} // namespace Vexalor::MachineLearning
