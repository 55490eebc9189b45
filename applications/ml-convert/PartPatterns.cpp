#include "ml-convert/PartPatterns.h"

#include "common/RecordingPart.h"
#include "quillcast-core/Assertion.h"
#include "quillcast-core/Logger.h"

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.app.Convert");

} // namespace

bool PartPatterns::open(const std::vector<ShareFile>& in_vShares)
{
    QC_TRACE("PartPatterns::open");
    std::vector<ConvertShare> vFound;
    std::uint64_t uiListed = 0;
    std::uint64_t uiSkipped = 0;
    for (const ShareFile& share : in_vShares)
    {
        ConvertShare& found = vFound.emplace_back();
        ByteReader reader(share.m_strContent);
        reader(found);
        if (!reader.isAtEnd() || found.m_vPasses.empty() ||
            found.m_vPasses.size() != vFound.front().m_vPasses.size())
        {
            QC_ERROR("Share " << share.m_shard.toText() << " makes no sense");
            return false;
        }
        uiListed += found.m_uiListed;
        uiSkipped += found.m_uiSkipped;
    }
    if (uiSkipped == uiListed)
    {
        QC_ERROR(tellNoneUsable(vFound.front().m_strList, uiListed));
        return false;
    }
    for (std::size_t uiPass = 0; uiPass < vFound.front().m_vPasses.size(); ++uiPass)
        for (std::size_t i = 0; i < vFound.size(); ++i)
            if (!addPass(in_vShares[i], vFound[i], uiPass))
                return false;
    return true;
}

/// The files of ranks are not seen by others, and in use.
bool PartPatterns::addPass(const ShareFile& in_share, const ConvertShare& in_found, std::size_t in_uiPass)
{
    const ConvertShare::Pass& pass = in_found.m_vPasses[in_uiPass];
    const bool bOfRank = !pass.m_strFile.empty();
    const std::string strFile =
        bOfRank ? pass.m_strFile : ConvertShare::nameOfPass(in_share.m_strFilename, in_uiPass);
    if (pass.m_uiPatterns == 0)
        return true;
    if (!bOfRank)
    {
        const std::optional<std::uint64_t> sum = sumOfFile(strFile);
        if (sum && *sum != pass.m_uiSum)
            QC_ERROR(strFile << " is not what share " << in_share.m_shard.toText() << " has left");
        if (!sum || *sum != pass.m_uiSum)
            return false;
    }
    m_vFiles.push_back(strFile);
    return true;
}

bool PartPatterns::gotoStart()
{
    m_uiCurrent = 0;
    m_pCurrent = {};
    m_bFirst = true;
    m_bClean = true;
    return QC_CHECK(m_pEntityToReset.isNull() || m_pEntityToReset->reset());
}

bool PartPatterns::openFile()
{
    m_pCurrent = CountedObjPtr<BinaryFileDataGenerator>(new BinaryFileDataGenerator);
    m_pCurrent->setCurrentFilename(m_vFiles[m_uiCurrent].c_str());
    m_pCurrent->setEntityToReset(m_pMark);
    return m_pCurrent->gotoStart();
}

bool PartPatterns::generateNext()
{
    while (!atEnd())
    {
        const bool bOpen = !m_pCurrent.isNull() || openFile();
        if (bOpen && m_pCurrent->generateNext())
            break;
        if (!bOpen || !m_pCurrent->endedCleanly())
        {
            stop();
            break;
        }
        ++m_uiCurrent;
        m_pCurrent = {};
    }
    const bool bMarked = m_pMark->isPending() && !m_bFirst;
    m_pMark->clear();
    m_bFirst = false;
    if (!atEnd() && bMarked && !m_pEntityToReset.isNull() && !QC_CHECK(m_pEntityToReset->reset()))
        stop();
    return !atEnd();
}

/// Before the end of the patterns.
void PartPatterns::stop()
{
    m_bClean = false;
    m_uiCurrent = m_vFiles.size();
    m_pCurrent = {};
}

std::ostream& PartPatterns::dumpStatus(std::ostream& out_stream)
{
    return m_pCurrent.isNull() ? out_stream : m_pCurrent->dumpStatus(out_stream);
}

Fallible<double> PartPatterns::getShareRead() const
{
    if (m_vFiles.empty())
        return {};
    const Fallible<double> current = m_pCurrent.isNull() ? Fallible<double>() : m_pCurrent->getShareRead();
    return (static_cast<double>(m_uiCurrent) + (current.isValid() ? current.getValue() : 0.0)) /
           static_cast<double>(m_vFiles.size());
}

bool PartPatterns::setEntityToReset(Handle<Resettable, ReferenceCount> in_entity)
{
    m_pEntityToReset = in_entity;
    return true;
}

} // namespace Vexalor::MachineLearning
