#include "FeatureMakers.h"
#include "test-support/LogCapture.h"
#include "test-support/TempDir.h"

#include <memory>
#include <utility>

using namespace Vexalor;
using namespace Vexalor::Testing;

TEST(FeatureArchiveTest, AllClassesAsInTheGoldens)
{
    const std::pair<FeatureComputerSequence*, const char*> cases[] = {
        {makeSequence(), QC_TEST_DATA "/featureComputers.xml"},
        {makeContextSequence(), QC_TEST_DATA "/contextFeatureComputers.xml"},
    };
    for (const auto& [pRaw, path] : cases)
    {
        const std::unique_ptr<FeatureComputerSequence> pSequence(pRaw);
        const std::string strGolden = readFile(path);
        EXPECT_EQ(save(*pSequence), strGolden);
        EXPECT_EQ(save(*load(strGolden)), strGolden);
    }
}

namespace
{

/// True when a damaged copy is refused, or loads as something that saves equal to itself and survives use.
bool isHandled(const std::string& in_strText, const DoubleVector& in_vWindow)
{
    try
    {
        CloneableObjPtr<FeatureComputer> pComputer = load(in_strText);
        if (pComputer.isNull())
            return true;
        DoubleVector vFeatures;
        if (auto* pWithInputs = dynamic_cast<FeatureComputerWithInputs*>(pComputer.get()))
            pWithInputs->setInput("audio", in_vWindow);
        pComputer->computeFeatures(vFeatures);
        const std::string strSaved = save(*pComputer);
        return save(*load(strSaved)) == strSaved;
    }
    catch (const ArchiveError&)
    {
        return true;
    }
}

} // namespace

class DamagedFeatureArchive : public testing::TestWithParam<const char*>
{
};

INSTANTIATE_TEST_SUITE_P(
    Goldens, DamagedFeatureArchive, testing::Values("featureComputers.xml", "contextFeatureComputers.xml"),
    [](const testing::TestParamInfo<const char*>& in_info)
    { return std::string(in_info.param).substr(0, std::string(in_info.param).find('.')); });

TEST_P(DamagedFeatureArchive, IsRefusedOrUsable)
{
    const AssertionCapture assertions;
    const LogCapture log("quillcast.math");
    const DoubleVector vWindow = noise(200);
    const std::string strGolden = readFile(std::string(QC_TEST_DATA "/") + GetParam());
    ASSERT_FALSE(strGolden.empty());
    const std::string strReplacements("\0 -09<e\xff", 8);
    for (std::size_t uiByte = 0; uiByte < strGolden.size(); ++uiByte)
    {
        ASSERT_TRUE(isHandled(strGolden.substr(0, uiByte), vWindow)) << "cut at byte " << uiByte;
        std::string strCopy = strGolden;
        // Two of them at each byte, others at the next; tools/damage_configs tries all.
        for (const std::size_t uiReplacement : {uiByte, uiByte + 3})
        {
            strCopy[uiByte] = strReplacements[uiReplacement % strReplacements.size()];
            ASSERT_TRUE(isHandled(strCopy, vWindow))
                << "byte " << uiByte << " replaced by " << int(strCopy[uiByte]);
        }
        if (strGolden[uiByte] != '\n')
            continue;
        strCopy = strGolden;
        strCopy.erase(uiByte, strGolden.find('\n', uiByte + 1) - uiByte);
        ASSERT_TRUE(isHandled(strCopy, vWindow)) << "line after byte " << uiByte << " deleted";
    }
}

TEST(FeatureArchiveTest, VectorKeepsEveryValue)
{
    const DoubleVector vVector{0.1, -0.0, NOT_A_NUMBER, INFINITE, -INFINITE, 5e-324};
    std::stringstream stream;
    XmlOutputArchive output(stream);
    output.get() << boost::serialization::make_nvp("m_vVector", vVector);
    ASSERT_TRUE(output.finish());
    EXPECT_NE(stream.str().find("<m_vVector>\n\t<count>6</count>\n\t<item>0.1</item>\n\t<item>-0</item>\n"
                                "\t<item>nan</item>\n\t<item>inf</item>\n"),
              std::string::npos)
        << stream.str();
    CheckedXmlInputArchive input(stream);
    DoubleVector vLoaded{1};
    input.get() >> boost::serialization::make_nvp("m_vVector", vLoaded);
    input.finish();
    EXPECT_EQ(vLoaded, vVector);
}
