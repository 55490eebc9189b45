// Files of shares: what is no whole file is refused; of any content, as the program of the first byte reads
// it, memory is in proportion, and what is accepted joins, with itself too, and can be reported.

#include "FuzzSupport.h"
#include "common/ShareFile.h"
#include "inspect/InspectionJson.h"
#include "inspect/InspectionPage.h"
#include "inspect/InspectionShare.h"
#include "inspect/InspectionText.h"
#include "ml-config/ScalingLearner.h"
#include "ml-convert/PartPatterns.h"
#include "ml-tester/TestShare.h"
#include "report/ReportJson.h"

#include <nlohmann/json.hpp>
#include <sstream>

using namespace Vexalor;
using namespace Vexalor::MachineLearning;

namespace
{

/// Bytes of memory for one of a share, and in any case.
constexpr std::size_t MOST_TIMES = 64;
constexpr std::size_t MOST_BYTES = std::size_t(16) << 20;

void tryFile(const std::string& in_strBytes)
{
    ShareFile file;
    Fuzz::require(!file.fromBytes(in_strBytes).empty() || file.toBytes() == in_strBytes,
                  "a file that is read is whole");
    const ShareFile made{"program", 7, {2, 3}, in_strBytes, {}};
    Fuzz::require(file.fromBytes(made.toBytes()).empty() && file.m_strContent == in_strBytes,
                  "what was written can be read");
}

template <class T>
bool read(const std::string& in_strContent, T& out_value)
{
    ByteReader reader(in_strContent);
    reader(out_value);
    return reader.isAtEnd();
}

void joinTests(const std::string& in_strContent)
{
    const std::vector<ShareFile> vShares(2, {"ml-tester", 7, {1, 2}, in_strContent, {}});
    TestShare whole;
    TestResults all;
    const auto append = [&](TestResults in_results)
    {
        Fuzz::require(!toText(makeReport(whole.m_description, in_results)).empty(), "there is a report");
        return all.append(std::move(in_results), 10);
    };
    std::ostringstream text;
    const CountedObjPtr<MLTester::TesterStats> pStats = TestShare::join(vShares, whole, append);
    if (pStats.isNull())
        return;
    text << *pStats;
    Fuzz::require(!toText(makeReport(whole.m_description, all)).empty(), "there is a report of all");
}

void joinScalings(const std::string& in_strContent)
{
    ScalingShare share;
    if (read(in_strContent, share))
        newJoinedScaling({}, share);
}

void joinInspections(const std::string& in_strContent)
{
    InspectionShare whole;
    if (!whole.append(in_strContent) || !whole.append(in_strContent))
        return;
    const nlohmann::ordered_json json = nlohmann::ordered_json::parse(
        toText(makeInspectionJson(makeInspection(whole.m_data, whole.takeWhole(), 20))));
    Fuzz::require(!makeInspectionText(json).empty() && !makeInspectionPage(json).empty(),
                  "there is a report");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* in_data, std::size_t in_uiSize)
{
    const std::string strBytes = Fuzz::toText(in_data, in_uiSize);
    if (strBytes.empty())
        return 0;
    const std::string strContent = strBytes.substr(1);
    const Fuzz::MemoryWatch memory;
    ConvertShare conversion;
    switch (strBytes.front())
    {
    case 't':
        joinTests(strContent);
        break;
    case 's':
        joinScalings(strContent);
        break;
    case 'c':
        read(strContent, conversion);
        break;
    case 'i':
        joinInspections(strContent);
        break;
    default:
        tryFile(strBytes);
    }
    Fuzz::require(memory.getPeak() <= MOST_TIMES * in_uiSize + MOST_BYTES, "memory in proportion");
    return 0;
}
