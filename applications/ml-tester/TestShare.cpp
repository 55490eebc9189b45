#include "ml-tester/TestShare.h"

#include "quillcast-core/Logger.h"

#include <utility>

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.app.Tester");

} // namespace

void TestShare::addPass(const MLTester::TesterStats& in_stats, TestResults in_results)
{
    QC_TRACE("TestShare::addPass");
    m_bClassifier = dynamic_cast<const MLTester::ClassifierTesterStats*>(&in_stats) != nullptr;
    ByteWriter bytes;
    in_stats.save(bytes);
    m_vPasses.push_back({bytes.getBytes(), std::move(in_results)});
}

/// All of them, with as many passes each.
bool TestShare::load(const std::vector<ShareFile>& in_vFiles, std::vector<TestShare>& out_vShares)
{
    for (const ShareFile& file : in_vFiles)
    {
        ByteReader reader(file.m_strContent);
        TestShare& share = out_vShares.emplace_back();
        reader(share);
        if (reader.isAtEnd() && share.m_vPasses.size() == out_vShares.front().m_vPasses.size() &&
            share.m_bClassifier == out_vShares.front().m_bClassifier)
            continue;
        QC_ERROR("Share " << file.m_shard.toText() << " makes no sense");
        return false;
    }
    return !out_vShares.empty();
}

/// Null, with the reason logged, when they make no sense.
CountedObjPtr<MLTester::TesterStats> TestShare::loadStats(std::size_t in_uiPass) const
{
    CountedObjPtr<MLTester::TesterStats> pStats(m_bClassifier ? new MLTester::ClassifierTesterStats
                                                              : new MLTester::TesterStats);
    ByteReader reader(m_vPasses[in_uiPass].m_strStats);
    return pStats->load(reader) ? pStats : CountedObjPtr<MLTester::TesterStats>();
}

CountedObjPtr<MLTester::TesterStats> TestShare::join(const std::vector<ShareFile>& in_vShares,
                                                     TestShare& out_whole, const TakeResults& in_takeResults)
{
    QC_TRACE("TestShare::join");
    std::vector<TestShare> vShares;
    if (!load(in_vShares, vShares))
        return {};
    out_whole.m_description = vShares.front().m_description;
    for (const TestShare& share : vShares)
    {
        out_whole.m_bEndedCleanly = out_whole.m_bEndedCleanly && share.m_bEndedCleanly;
        out_whole.m_uiListed += share.m_uiListed;
        out_whole.m_uiSkipped += share.m_uiSkipped;
    }
    CountedObjPtr<MLTester::TesterStats> pWhole;
    for (std::size_t uiPass = 0; uiPass < vShares.front().m_vPasses.size(); ++uiPass)
        for (TestShare& share : vShares)
        {
            const CountedObjPtr<MLTester::TesterStats> pStats = share.loadStats(uiPass);
            const bool bFirst = pWhole.isNull();
            if (bFirst)
                pWhole = pStats;
            if (pStats.isNull() || (!bFirst && !pWhole->merge(*pStats)) ||
                !in_takeResults(std::move(share.m_vPasses[uiPass].m_results)))
                return {};
            if (bFirst)
                pWhole->keepErrors(false);
        }
    return pWhole;
}

} // namespace Vexalor::MachineLearning
