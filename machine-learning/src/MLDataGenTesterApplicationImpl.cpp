#include "MLDataGenTesterApplicationImpl.h"

#include "quillcast-core/Assertion.h"

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.ml.datagen.application");

constexpr const char* CONFIG_OPTION = "data-gen-config";
constexpr const char* INPUT_OPTION = "data-gen-filename";
constexpr const char* PRINT_ERROR_OPTION = "print-error";

struct ErrorOption
{
    ErrorFunction::ErrorFunctionType m_type;
    const char* (*m_getName)();
    const char* m_help;
};

/// In the order of the help text and of the report.
constexpr ErrorOption ERROR_OPTIONS[] = {
    {ErrorFunction::MEAN_SQUARE, MSEErrorFunction::sGetErrFuncName, "Compute the mean square error"},
    {ErrorFunction::LEAST_SQUARE, LSEErrorFunction::sGetErrFuncName, "Compute the least square error"},
    {ErrorFunction::SUM_SQUARE, SSEErrorFunction::sGetErrFuncName, "Compute the sum square error"},
    {ErrorFunction::CROSS_ENTROPY, CEErrorFunction::sGetErrFuncName, "Compute the cross entropy error"},
    {ErrorFunction::MULTIPLE_CROSS_ENTROPY, MCEErrorFunction::sGetErrFuncName,
     "Compute the multiple cross entropy error"},
    {ErrorFunction::CLASSIFICATION, ClassificationError::sGetErrFuncName, "Compute the classification error"},
};

/// Ends a test at the first pattern with a target when that and the output differ in size.
class SizeCheck : public MLTester::PatternObserver
{
public:
    explicit SizeCheck(MLTester::PatternObserver* io_pNext)
        : m_pNext(io_pNext)
    {
    }

    bool observe(const DoubleVector& in_vOutput, const DoubleVector* in_pTarget) override
    {
        if (!m_bChecked && in_pTarget != nullptr)
        {
            m_bChecked = true;
            if (in_vOutput.size() != in_pTarget->size())
            {
                QC_ERROR("The outputs of the entity have " << in_vOutput.size() << " values, the targets "
                                                           << in_pTarget->size() << ": they do not fit");
                return false;
            }
        }
        return m_pNext == nullptr || m_pNext->observe(in_vOutput, in_pTarget);
    }

private:
    MLTester::PatternObserver* m_pNext;
    bool m_bChecked = false;
};

} // namespace

MLDataGenTesterApplicationImpl::MLDataGenTesterApplicationImpl(Logger& in_logger, const char* in_name)
    : MLDataGenApplicationImpl(in_logger, in_name)
{
    QC_TRACE("MLDataGenTesterApplicationImpl ctor");
    hideOnConsole("Computed output: "); // which the tester says of every pattern
    auto addOption = getOptions().add_options();
    addOption(CONFIG_OPTION, value<std::string>()->value_name("FILE"),
              "data generator configuration file. MANDATORY");
    addOption(INPUT_OPTION, value<std::string>()->value_name("FILE"), "data generator input file");
    addOption(PRINT_ERROR_OPTION, bool_switch(),
              "print information on patterns that the NeuralNet failed to classify");
    for (const ErrorOption& option : ERROR_OPTIONS)
        addOption(option.m_getName(), bool_switch(), option.m_help);
}

bool MLDataGenTesterApplicationImpl::processCmdlineVarsMap(const variables_map& in_map)
{
    QC_TRACE("MLDataGenTesterApplicationImpl::processCmdlineVarsMap");
    if (!MLDataGenApplicationImpl::processCmdlineVarsMap(in_map))
        return false;
    if (isStopped())
        return true;
    const bool bBringsGenerator = bringsGenerator_i(in_map);
    if (in_map.count(CONFIG_OPTION) == 0 && !bBringsGenerator)
    {
        QC_ERROR("a data generator configuration file must be supplied");
        return refuseCommand();
    }
    m_strConfigFile = getString(in_map, CONFIG_OPTION);
    m_strInputFile = getString(in_map, INPUT_OPTION);
    m_bPrintError = isSwitchOn(in_map, PRINT_ERROR_OPTION);
    if (!chooseErrorFunctions(in_map, isSwitchOn(in_map, ClassificationError::sGetErrFuncName())) &&
        (!bBringsGenerator || !chooseErrorFunctions(in_map, true)))
        QC_WARN("no error function specified on the command line");
    return true;
}

/// False when none was chosen.
bool MLDataGenTesterApplicationImpl::chooseErrorFunctions(const variables_map& in_map, bool in_bClassify)
{
    m_pStats = CountedObjPtr<MLTester::TesterStats>(in_bClassify ? new MLTester::ClassifierTesterStats
                                                                 : new MLTester::TesterStats);
    bool bChosen = in_bClassify;
    for (const ErrorOption& option : ERROR_OPTIONS)
    {
        if (option.m_type == ErrorFunction::CLASSIFICATION || !isSwitchOn(in_map, option.m_getName()))
            continue;
        m_pStats->addErrorFunction(ErrorFunction::newErrorFunction(option.m_type));
        bChosen = true;
    }
    return bChosen;
}

bool MLDataGenTesterApplicationImpl::run_i()
{
    QC_TRACE("MLDataGenTesterApplicationImpl::run_i");
    const CountedObjPtr<MLTester::TestedEntity> pEntity(newTestedEntity_i());
    if (pEntity.isNull())
    {
        QC_ERROR("Failed to create the entity to be tested");
        return false;
    }
    const CountedObjPtr<DataGenerator> pGenerator =
        newDataGenerator(m_strConfigFile.c_str(), m_strInputFile.c_str(), pEntity.dynamicCast<Resettable>(),
                         getScalingConfigFile());
    if (pGenerator.isNull())
    {
        QC_ERROR("MLDataGenTesterApplicationImpl::run_i : failed to get a valid data generator");
        return false;
    }
    if (!QC_CHECK_TEXT("! m_pStats.isNull()", !m_pStats.isNull())) // text kept
        return false;
    return test_i(*pEntity, *pGenerator);
}

bool MLDataGenTesterApplicationImpl::test_i(MLTester::TestedEntity& io_entity, DataGenerator& io_generator)
{
    return runTest(io_entity, io_generator, *m_pStats) && report(*m_pStats, io_generator.endedCleanly());
}

bool MLDataGenTesterApplicationImpl::runTest(MLTester::TestedEntity& io_entity, DataGenerator& io_generator,
                                             MLTester::TesterStats& io_stats)
{
    io_stats.reset();
    if (!io_entity.configure(io_generator))
    {
        QC_ERROR("MLDataGenTesterApplicationImpl::run_i : failed to configure tested entity");
        return false;
    }
    SizeCheck observer(getObserver_i());
    return MLTester().test(io_entity, io_generator, io_stats, m_bPrintError, &observer);
}

bool MLDataGenTesterApplicationImpl::report(const MLTester::TesterStats& in_stats, bool in_bEndedCleanly)
{
    QC_INFO('\n' << in_stats);
    showReport_i(in_stats);
    if (in_stats.getNumMisfits() > 0)
    {
        QC_ERROR("The report makes no sense: output and target differ in size in "
                 << in_stats.getNumMisfits() << " of " << in_stats.getNumData() << " patterns");
        return false;
    }
    if (in_stats.getNumNanOutputs() > 0)
    {
        QC_ERROR("The report makes no sense: " << in_stats.getNumNanOutputs() << " of "
                                               << in_stats.getNumOutputs()
                                               << " outputs hold values that are no numbers");
        return false;
    }
    if (!in_bEndedCleanly)
        QC_ERROR("The report covers a part of the data set: it stopped before its end");
    return in_bEndedCleanly;
}

} // namespace Vexalor::MachineLearning
