#include "Scripts.h"

#include <algorithm>
#include <filesystem>
#include <gtest/gtest.h>
#include <sstream>

using namespace Vexalor;
using namespace Vexalor::Math::Xpr::Testing;
using Vexalor::Testing::readFile;

namespace
{

std::vector<std::string> split(const std::string& in_strText, const std::string& in_strSeparator)
{
    std::vector<std::string> vParts;
    for (std::size_t uiBegin = 0; uiBegin <= in_strText.size();)
    {
        const std::size_t uiEnd = std::min(in_strText.find(in_strSeparator, uiBegin), in_strText.size());
        vParts.push_back(in_strText.substr(uiBegin, uiEnd - uiBegin));
        uiBegin = uiEnd + in_strSeparator.size();
    }
    return vParts;
}

/// The examples of the reference: what stands between "```xpr" and "```".
std::vector<std::string> examples()
{
    const std::filesystem::path page = QC_TEST_DATA "/../../../../doc/expressions.md";
    std::vector<std::string> vExamples = split(readFile(page.lexically_normal()), "```xpr\n");
    vExamples.erase(vExamples.begin());
    for (std::string& strExample : vExamples)
        strExample.resize(strExample.find("```"));
    return vExamples;
}

/// Runs an example and compares every "# =" in it; returns how many there were.
std::size_t runExample(const std::string& in_strExample)
{
    Scripts scripts;
    scripts.evaluator.setConstant("rate", 8000);
    if (!scripts.add("example", in_strExample) || !scripts.link())
    {
        ADD_FAILURE() << in_strExample;
        return 0;
    }
    const std::vector<std::string> vLines = split(in_strExample, "\n");
    const std::vector<std::string> vWindows =
        split(vLines.front().substr(std::string("# audio ").size()), " | ");
    std::size_t uiChecks = 0;
    for (std::size_t uiWindow = 0; uiWindow < vWindows.size(); ++uiWindow)
    {
        DoubleVector vWindow;
        EXPECT_NE(
            vWindow.parse(vWindows[uiWindow].data(), vWindows[uiWindow].data() + vWindows[uiWindow].size()),
            nullptr);
        EXPECT_TRUE(scripts.pAudio->assign(vWindow));
        std::string strName;
        for (const std::string& strLine : vLines)
        {
            // The name of a line, or of the one that it continues.
            if (!strLine.empty() && strLine.front() != ' ')
                strName = strLine.substr(0, strLine.find(' '));
            const std::size_t uiMark = strLine.find("# = ");
            if (uiMark == std::string::npos)
                continue;
            const std::vector<std::string> vExpected = split(strLine.substr(uiMark + 4), " | ");
            EXPECT_EQ(vExpected.size(), vWindows.size()) << strLine;
            EXPECT_EQ(scripts.get(("example." + strName).c_str()), vExpected.at(uiWindow)) << strLine;
            ++uiChecks;
        }
    }
    return uiChecks;
}

} // namespace

TEST(ReferenceTest, EveryExampleHolds)
{
    std::size_t uiChecks = 0;
    for (const std::string& strExample : examples())
        uiChecks += runExample(strExample);
    EXPECT_GT(uiChecks, 60u);
}
