// Every configuration under test/data, damaged in every place: each copy is refused with one message or loads
// as an object that saves and loads equal to itself. tools/damage_configs runs it with all 255 replacements
// of a byte, and over other folders.

#include "MLDataGeneratorFactory.h"
#include "MLDataGeneratorWithConfig.h"
#include "TestPrelude.h"
#include "quillcast-core/CheckedXmlInputArchive.h"
#include "quillcast-core/ExceptionWithMsg.h"
#include "quillcast-infra/DynLibsLoader.h"
#include "test-support/TextFileSystem.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <numeric>

namespace
{

std::string environment(const char* in_name, const char* in_default)
{
    const char* value = std::getenv(in_name);
    return value == nullptr ? in_default : value;
}

StringVector findConfigurations()
{
    StringVector vFiles;
    for (const auto& entry : std::filesystem::directory_iterator(environment("QC_DAMAGE_DIR", QC_TEST_DATA)))
    {
        const std::string strFile = entry.path().string();
        if (entry.path().extension() == ".xml" &&
            readFile(strFile).find("<MLDataGenerator ") != std::string::npos)
            vFiles.push_back(strFile);
    }
    std::sort(vFiles.begin(), vFiles.end());
    return vFiles;
}

class DamagedConfigurationTest : public testing::TestWithParam<std::string>
{
protected:
    DamagedConfigurationTest()
        : m_strText(readFile(GetParam()))
        , m_log("", LogLevel::ERROR)
    {
        EXPECT_TRUE(
            DynLibsLoader::setPluginFolders({environment("QC_DAMAGE_PLUGINS", QC_BINARY_DIR "/lib")}));
        EXPECT_EQ(m_uiLoaded, 0U);
    }

    ~DamagedConfigurationTest() override
    {
        EXPECT_EQ(DataGeneratorWithConfig::Config::getMemAccount().getBlocks(), 0);
    }

    /// What the text loads as, saved again; empty when it was refused, with the reason in out_strReason.
    std::string load(const std::string& in_strText, std::string& out_strReason)
    {
        m_log.clear();
        try
        {
            const TextFileSystem fileSystem({{"copy", in_strText}});
            basic_vfsistream<char> stream(fileSystem, "copy");
            const std::unique_ptr<DataGenerator> pGenerator(loadDataGeneratorFromStream(stream));
            std::ostringstream saved;
            if (pGenerator != nullptr && saveDataGeneratorToStream(saved, {}, *pGenerator))
                return saved.str();
            out_strReason = m_log.lines().empty() ? "" : m_log.lines().back();
        }
        catch (const ArchiveError& error)
        {
            out_strReason = error.what();
            EXPECT_EQ(out_strReason.find('\n'), std::string::npos) << out_strReason;
        }
        catch (const ExceptionWithMsg& error)
        {
            out_strReason = error.what();
        }
        return "";
    }

    /// True when the copy was handled as it should.
    bool isHandled(const std::string& in_strText)
    {
        std::string strReason;
        const std::string strSaved = load(in_strText, strReason);
        if (strSaved.empty())
        {
            ++m_uiRefused;
            return !strReason.empty();
        }
        ++m_uiLoaded;
        return load(strSaved, strReason) == strSaved;
    }

    const std::string m_strText;
    std::size_t m_uiRefused = 0;
    std::size_t m_uiLoaded = 0;

private:
    LogCapture m_log;
    AssertionCapture m_assertions;
};

} // namespace

TEST_P(DamagedConfigurationTest, CutOrWithoutALine)
{
    for (std::size_t uiSize = 0; uiSize < m_strText.size(); ++uiSize)
        ASSERT_TRUE(isHandled(m_strText.substr(0, uiSize))) << "cut to " << uiSize << " bytes";
    // All that may be missing is the white space and the comments after the last tag.
    const std::string strEnd = "</boost_serialization>";
    EXPECT_LE(m_uiLoaded, m_strText.size() - m_strText.find(strEnd) - strEnd.size());
    for (std::size_t uiBegin = 0; uiBegin < m_strText.size();)
    {
        const std::size_t uiLength =
            std::min(m_strText.find('\n', uiBegin), m_strText.size() - 1) + 1 - uiBegin;
        ASSERT_TRUE(isHandled(std::string(m_strText).erase(uiBegin, uiLength)))
            << "without " << m_strText.substr(uiBegin, uiLength);
        uiBegin += uiLength;
    }
}

TEST_P(DamagedConfigurationTest, WithAReplacedByte)
{
    std::string strReplacements("\0 \"-09<\xff", 8);
    if (!environment("QC_DAMAGE_ALL", "").empty())
    {
        strReplacements.resize(256);
        std::iota(strReplacements.begin(), strReplacements.end(), '\0');
    }
    for (std::size_t uiPlace = 0; uiPlace < m_strText.size(); ++uiPlace)
        for (const char cReplacement : strReplacements)
        {
            std::string strCopy = m_strText;
            strCopy[uiPlace] = cReplacement;
            ASSERT_TRUE(isHandled(strCopy)) << "byte " << uiPlace << " replaced by " << int(cReplacement);
        }
    EXPECT_GT(m_uiRefused, m_uiLoaded);
}

INSTANTIATE_TEST_SUITE_P(Goldens, DamagedConfigurationTest, testing::ValuesIn(findConfigurations()),
                         [](const testing::TestParamInfo<std::string>& in_info)
                         {
                             std::string strName = std::filesystem::path(in_info.param).stem().string();
                             std::replace_if(
                                 strName.begin(), strName.end(),
                                 [](unsigned char cChar) { return std::isalnum(cChar) == 0; }, '_');
                             return strName;
                         });
