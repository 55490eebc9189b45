#include "ClassifierSetApplicationHelper.h"

#include "quillcast-core/Assertion.h"
#include "quillcast-infra/DiskFileSystem.h"

#include <memory>

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.ml.ClassifierSetApplicationHelper");

constexpr const char* FILE_SYSTEM_OPTION = "filesystem-path";
constexpr const char* WINDOWER_OPTION = "windower-config-file";
constexpr const char* VARIABLE_OPTION = "result-variable-name";
constexpr const char* DUMP_OPTION = "dump-evaluator-in-file";

/// Leaves the value alone when the map does not know the option.
void take(const variables_map& in_map, const char* in_option, std::string& out_strValue)
{
    if (in_map.count(in_option) != 0)
        out_strValue = in_map[in_option].as<std::string>();
}

} // namespace

ClassifierSetApplicationHelper::ClassifierSetApplicationHelper(Strategy* in_pStrategy)
    : m_pStrategy(in_pStrategy)
{
}

ClassifierSetApplicationHelper&
ClassifierSetApplicationHelper::operator=(const ClassifierSetApplicationHelper&)
{
    QC_CHECK_TEXT("false", false);
    return *this;
}

bool ClassifierSetApplicationHelper::addOptions(options_description& io_options, options_description&)
{
    QC_TRACE("addOptions");
    const char* const pathHelp = "path to the file system containing classifier set configuration file";
    auto addOption = io_options.add_options();
    addOption(FILE_SYSTEM_OPTION,
              value(&m_strFileSystemPath)->value_name("DIR")->default_value("test-input/xpr"), pathHelp);
    // The same help as above: text kept.
    addOption(WINDOWER_OPTION,
              value(&m_strWindowerConfigFile)
                  ->value_name("FILE")
                  ->default_value("dsp/LinearAudioWindowerConfig.xml"),
              pathHelp);
    addOption(VARIABLE_OPTION, value(&m_strOutVariableName)->value_name("NAME")->default_value("result"),
              "name of the variable to look for in the Xpr script");
    addOption(DUMP_OPTION, value(&m_strDumpEvaluatorFile)->value_name("FILE"),
              "If present, the evaluator will be dumped in the specified file in a graphwiz 'dot' format");
    return true;
}

bool ClassifierSetApplicationHelper::processCmdlineVarsMap(const variables_map& in_map)
{
    QC_TRACE("processCmdlineVarsMap");
    take(in_map, FILE_SYSTEM_OPTION, m_strFileSystemPath);
    take(in_map, WINDOWER_OPTION, m_strWindowerConfigFile);
    m_bWindowerGiven = in_map.count(WINDOWER_OPTION) != 0 && !in_map[WINDOWER_OPTION].defaulted();
    take(in_map, VARIABLE_OPTION, m_strOutVariableName);
    take(in_map, DUMP_OPTION, m_strDumpEvaluatorFile);
    return true;
}

bool ClassifierSetApplicationHelper::setupClassifierSet()
{
    QC_TRACE("setupClassifierSet");
    if (!QC_CHECK(!m_strOutVariableName.empty()) || !QC_CHECK(!m_strFileSystemPath.empty()) ||
        !QC_CHECK(!m_strWindowerConfigFile.empty()))
        return false;
    auto pFileSystem = std::make_unique<DiskFileSystem>();
    if (!pFileSystem->setWorkingDirectory(m_strFileSystemPath.c_str()))
    {
        QC_ERROR("Failed to set working directory to : " << m_strFileSystemPath);
        return false;
    }
    ParameterTrie config;
    config.setParameter(Math::Xpr::Evaluator::getParamNameScriptsDir(), ".");
    config.setParameter(AudioClassifierSet::getParamNameAudioWindowerFilePath(), m_strWindowerConfigFile);
    const TSHandle<VirtualFileSystem> hFileSystem(pFileSystem.release());
    if (!(m_windows && !m_bWindowerGiven ? m_set.configure(*m_windows, config, hFileSystem)
                                         : m_set.configure(config, hFileSystem)))
    {
        QC_ERROR("Failed to configure audio set");
        return false;
    }
    if (m_pStrategy == nullptr || !m_pStrategy->addClassifiers(m_set))
    {
        QC_ERROR("Failed to add classifier in set");
        return false;
    }
    return true;
}

bool ClassifierSetApplicationHelper::startSet()
{
    QC_TRACE("startSet");
    if (!m_strDumpEvaluatorFile.empty())
        m_set.dumpEvaluator(m_strDumpEvaluatorFile.c_str());
    return m_set.freeze() && m_set.start();
}

bool ClassifierSetApplicationHelper::stopSet()
{
    return m_set.stop();
}

} // namespace Vexalor::MachineLearning
