#pragma once

#include "MLBinaryFileDataGenerator.h"
#include "MLDataConverter.h"
#include "common/ShareFile.h"

#include <cstdint>
#include <string>
#include <vector>

namespace Vexalor::MachineLearning
{

/// What a share of a conversion leaves: its patterns, in a binary pattern file for each pass of the set over
/// its recordings, and how much there is in them.
struct ConvertShare
{
    struct Pass
    {
        std::uint64_t m_uiPatterns = 0;
        std::uint64_t m_uiSum = 0; ///< of the file, for shares
        std::string m_strFile;     ///< empty: nameOfPass, beside the share

        template <class Self, class Bytes>
        static void exchange(Self& io_self, Bytes& io_bytes)
        {
            io_bytes(io_self.m_uiPatterns, io_self.m_uiSum, io_self.m_strFile);
        }
    };

    std::string m_strList;
    std::uint64_t m_uiListed = 0;
    std::uint64_t m_uiSkipped = 0; ///< of those
    std::vector<Pass> m_vPasses;

    template <class Self, class Bytes>
    static void exchange(Self& io_self, Bytes& io_bytes)
    {
        io_bytes(io_self.m_strList, io_self.m_uiListed, io_self.m_uiSkipped, io_self.m_vPasses);
    }

    /// Of the patterns of a pass, counted from 0.
    static std::string nameOfPass(const std::string& in_strShare, std::size_t in_uiPass)
    {
        return in_strShare + '.' + std::to_string(in_uiPass + 1);
    }
};

/// The patterns of all shares of a conversion in the order in which one process has them, sequences included:
/// the first pattern of all is not marked.
class PartPatterns final
    : public virtual DataGenerator
    , public virtual SequenceDataGenerator
{
public:
    /// False, with the reason logged, when what the shares have left is not there.
    bool open(const std::vector<ShareFile>& in_vShares);

    bool gotoStart() override;
    bool generateNext() override;
    bool atEnd() const override { return m_uiCurrent == m_vFiles.size(); }
    bool getInput(DoubleVector& out_vInput) override
    {
        return !m_pCurrent.isNull() && m_pCurrent->getInput(out_vInput);
    }
    bool getTarget(DoubleVector& out_vTarget) override
    {
        return !m_pCurrent.isNull() && m_pCurrent->getTarget(out_vTarget);
    }
    std::ostream& dumpStatus(std::ostream& out_stream) override;
    bool endedCleanly() const override { return m_bClean; }
    /// Each file counts the same.
    Fallible<double> getShareRead() const override;
    bool setEntityToReset(Handle<Resettable, ReferenceCount> in_entity) override;

private:
    bool addPass(const ShareFile& in_share, const ConvertShare& in_found, std::size_t in_uiPass);
    bool openFile();
    void stop();

    StringVector m_vFiles;
    std::size_t m_uiCurrent = 0;
    CountedObjPtr<BinaryFileDataGenerator> m_pCurrent; ///< null: not open yet, or at the end
    CountedObjPtr<DataConverter::MyResettable> m_pMark{new DataConverter::MyResettable};
    Handle<Resettable, ReferenceCount> m_pEntityToReset;
    bool m_bFirst = true; ///< no pattern was delivered yet
    bool m_bClean = true;
};

} // namespace Vexalor::MachineLearning
