#include "ml-config/ConfigCommands.h"

#include "ml-config/Explanation.h"
#include "ml-config/GeneratorFile.h"
#include "quillcast-core/Assertion.h"
#include "quillcast-core/FileReplacer.h"

#include <iostream>

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.app.Config");

/// The text of a configuration, with a comment, and what is known of its generator. False, with the reason
/// logged, when it cannot be used.
bool makeText(const GeneratorFile& in_made, std::string& out_strText, GeneratorOutlook& out_outlook)
{
    if (in_made.m_pGenerator.isNull() || !in_made.toText(out_strText))
        return false;
    GeneratorFile loaded;
    std::string strAgain;
    if (!loaded.fromText(out_strText, "the new configuration") || !loaded.toText(strAgain))
        return false;
    if (!QC_CHECK(strAgain == out_strText))
        return false;
    const ConfigurationEntries entries = listEntries(out_strText);
    out_outlook = examineGenerator(*loaded.m_pGenerator, entries);
    if (!out_outlook.m_strFault.empty())
    {
        QC_ERROR("No pattern could be made: " << out_outlook.m_strFault);
        return false;
    }
    out_strText += makeComment(entries);
    return true;
}

bool writeFile(const std::string& in_strFile, const std::string& in_strText)
{
    FileReplacer file(in_strFile);
    if (file.open() && file.write(in_strText) && file.commit())
        return true;
    QC_ERROR("Cannot write " << in_strFile << ": " << file.getReason());
    return false;
}

bool write(const GeneratorFile& in_made, const std::string& in_strFile, GeneratorOutlook& out_outlook)
{
    std::string strText;
    if (!makeText(in_made, strText, out_outlook))
        return false;
    if (in_strFile == STANDARD_OUTPUT)
    {
        std::cout << strText;
        return true;
    }
    if (!writeFile(in_strFile, strText))
        return false;
    QC_INFO("Configuration " << in_strFile << " written: " << out_outlook.m_strPatterns);
    return true;
}

} // namespace

bool writeConfiguration(const GeneratorRequest& in_request, const std::string& in_strFile)
{
    QC_TRACE("MachineLearning::writeConfiguration");
    GeneratorOutlook outlook;
    return write({in_request.m_vLibraries, newGenerator(in_request)}, in_strFile, outlook);
}

bool learnScaling(const ScalingRequest& in_request, const std::string& in_strFile)
{
    QC_TRACE("MachineLearning::learnScaling");
    GeneratorOutlook outlook;
    if (!write({{}, newLearntScaling(in_request)}, in_strFile, outlook))
        return false;
    for (const std::string& strRemark : outlook.m_vRemarks)
        QC_WARN(in_strFile << ": " << strRemark);
    return true;
}

bool explainConfiguration(const std::string& in_strFile)
{
    QC_TRACE("MachineLearning::explainConfiguration");
    std::string strText;
    GeneratorFile file;
    if (!readConfigurationText(in_strFile.c_str(), strText) || !file.fromText(strText, in_strFile.c_str()) ||
        !file.toText(strText))
        return false;
    const ConfigurationEntries entries = listEntries(strText);
    const GeneratorOutlook outlook = examineGenerator(*file.m_pGenerator, entries);
    printExplanation(std::cout, entries, outlook);
    if (!outlook.m_strFault.empty())
        QC_ERROR("No pattern could be made with " << in_strFile << ": " << outlook.m_strFault);
    return outlook.m_strFault.empty();
}

} // namespace Vexalor::MachineLearning
