#pragma once

#include "MLTester.h"
#include "common/OverwriteGuard.h"
#include "quillcast-infra/ProgramOptions.h"
#include "report/FailureExtractor.h"
#include "report/OutputLog.h"
#include "report/ReportJson.h"
#include "report/TestCollector.h"

#include <memory>
#include <optional>
#include <string>

namespace Vexalor::MachineLearning
{

/// What a program that tests does beside the report of its counts: a page to look at, a summary, a log of all
/// outputs, sequences with failures cut out, as its user wants.
///
/// Call order: addOptions takeOptions addInput* begin watchResets watch (a test) finish.
class TestReporter : public MLTester::PatternObserver
{
public:
    static void addOptions(options_description& io_options);
    /// Throws CommandLineError for values that make no sense.
    void takeOptions(const variables_map& in_map);

    /// Gathers what a report is made of, and makes none, whatever the user wants: for a part of a test.
    void gatherPart() { m_bPart = true; }
    /// False when the user wants nothing of this.
    bool isWanted() const
    {
        return m_bPart || m_bSummary || !m_strFolder.empty() || !m_strLog.empty() || m_extractor.isWanted();
    }
    /// A file that the program reads, and that is not written over.
    void addInput(const std::string& in_strFile) { m_guard.addInput(in_strFile); }
    const OverwriteGuard& getGuard() const { return m_guard; }
    /// Creates the files before the test, so that none runs whose report cannot be written. False, with the
    /// reason logged.
    bool begin();
    /// What the generator is to reset in place of the entity, which may be null.
    Handle<Resettable, ReferenceCount> watchResets(const Handle<Resettable, ReferenceCount>& in_entity)
    {
        return m_extractor.watchResets(in_entity);
    }
    /// The generator whose patterns are tested, and the one in it that reads them; both outlive the test.
    void watch(DataGenerator& io_generator, DataGenerator& io_reader);
    bool observe(const DoubleVector& in_vOutput, const DoubleVector* in_pTarget) override;
    /// Writes what is wanted; in_bComplete tells whether the test went to the end of its data. False, with
    /// the reason logged, when that failed.
    bool finish(const TestDescription& in_description, bool in_bComplete);

    /// Of a part, in place of finish: the results since begin, or since the last call.
    TestResults takePart();
    /// In place of a test: the results of a part that follows those before it. False, with the reason logged,
    /// for those of other classes.
    bool appendPart(TestResults in_part);

private:
    bool beginPage();
    std::string makePath(const char* in_name) const;

    std::string m_strFolder; ///< empty: no page
    std::string m_strLog;    ///< empty: no log
    bool m_bSummary = false;
    bool m_bPart = false;
    TestCollector::Settings m_settings;
    bool m_bClassNamesChecked = false;
    OverwriteGuard m_guard;
    FailureExtractor m_extractor;
    PatternSource m_source;
    std::optional<TestCollector> m_collector;
    std::unique_ptr<OutputLog> m_pLog;
    std::unique_ptr<FileReplacer> m_pJson;
    std::unique_ptr<FileReplacer> m_pPage;
};

} // namespace Vexalor::MachineLearning
