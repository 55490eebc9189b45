#pragma once

#include "MLDataGenApplicationImpl.h"
#include "MLTester.h"
#include "quillcast-core/MemAccount.h"

#include <string>

namespace Vexalor::MachineLearning
{

/// The command-line tester: runs the entity of a derived application over a generator and logs the report of
/// the chosen error functions at info level. A test whose first output and target differ in size ends there,
/// without a report. The options are those of doc/programs.md, "ml-tester".
class MLDataGenTesterApplicationImpl : public MLDataGenApplicationImpl
{
public:
    QC_MEM_ACCOUNT("MLDataGenTesterApplicationImpl");

    /// The logger and the name live as long as the application.
    MLDataGenTesterApplicationImpl(Logger& in_logger, const char* in_name);

protected:
    /// The entity under test, owned by the caller; null, with the reason logged, on failure. One that is
    /// Resettable as well is reset at the start of every sequence.
    virtual MLTester::TestedEntity* newTestedEntity_i() = 0;

    /// True for an application that makes the generator without a configuration file: none is asked for, and
    /// the classification error is computed when no error function is chosen.
    virtual bool bringsGenerator_i(const variables_map&) const { return false; }

    /// Told of every pattern of the test; null, as here, for none. Owned by the derived application.
    virtual MLTester::PatternObserver* getObserver_i() { return nullptr; }

    /// Called when the report has been logged, for who wants to show it whatever is logged where.
    virtual void showReport_i(const MLTester::TesterStats&) {}

    bool processCmdlineVarsMap(const variables_map& in_map) override;
    /// False also, after the report, when the stream stopped before its end or targets are of other sizes
    /// than the outputs.
    bool run_i() override;

    /// The test and its report; for an application that does both apart. The default is runTest, then report,
    /// with the statistics of the chosen error functions.
    virtual bool test_i(MLTester::TestedEntity& io_entity, DataGenerator& io_generator);
    /// A pass of the generator into the statistics, which are reset before. False when the test failed.
    bool runTest(MLTester::TestedEntity& io_entity, DataGenerator& io_generator,
                 MLTester::TesterStats& io_stats);
    /// Logs and shows the report. False, with the reason logged, when it makes no sense or, in_bEndedCleanly
    /// being false, covers a part of the data only.
    bool report(const MLTester::TesterStats& in_stats, bool in_bEndedCleanly);
    /// Those of the chosen error functions.
    MLTester::TesterStats& getStats() { return *m_pStats; }

private:
    bool chooseErrorFunctions(const variables_map& in_map, bool in_bClassify);

    std::string m_strConfigFile;
    std::string m_strInputFile;
    bool m_bPrintError = false;
    CountedObjPtr<MLTester::TesterStats> m_pStats;
};

} // namespace Vexalor::MachineLearning
