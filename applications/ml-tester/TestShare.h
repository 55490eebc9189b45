#pragma once

#include "MLTester.h"
#include "common/ShareFile.h"
#include "report/ReportJson.h"
#include "report/TestResults.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace Vexalor::MachineLearning
{

/// What a share of a test found, or all shares together.
class TestShare
{
public:
    TestDescription m_description;
    bool m_bEndedCleanly = true; ///< the recordings were read to their end
    std::uint64_t m_uiListed = 0;
    std::uint64_t m_uiSkipped = 0; ///< of those

    /// The next pass of the set over its recordings.
    void addPass(const MLTester::TesterStats& in_stats, TestResults in_results);

    template <class Self, class Bytes>
    static void exchange(Self& io_self, Bytes& io_bytes)
    {
        io_bytes(io_self.m_description, io_self.m_bEndedCleanly, io_self.m_uiListed, io_self.m_uiSkipped,
                 io_self.m_bClassifier, io_self.m_vPasses);
    }

    /// Told of the results of each pass of each share, in the order of one process.
    using TakeResults = std::function<bool(TestResults in_results)>;

    /// Joins the shares of a test. Null, with the reason logged, when they make no sense.
    static CountedObjPtr<MLTester::TesterStats> join(const std::vector<ShareFile>& in_vShares,
                                                     TestShare& out_whole, const TakeResults& in_takeResults);

private:
    struct Pass
    {
        std::string m_strStats; ///< as they save themselves
        TestResults m_results;

        template <class Self, class Bytes>
        static void exchange(Self& io_self, Bytes& io_bytes)
        {
            io_bytes(io_self.m_strStats, io_self.m_results);
        }
    };

    static bool load(const std::vector<ShareFile>& in_vFiles, std::vector<TestShare>& out_vShares);
    CountedObjPtr<MLTester::TesterStats> loadStats(std::size_t in_uiPass) const;

    bool m_bClassifier = false;
    std::vector<Pass> m_vPasses;
};

} // namespace Vexalor::MachineLearning
