#include "ml-convert/PartPatterns.h"

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
    std::size_t uiPasses = 1;
    for (std::size_t uiPass = 0; uiPass < uiPasses; ++uiPass)
        for (const ShareFile& share : in_vShares)
        {
            ConvertShare found;
            ByteReader reader(share.m_strContent);
            reader(found);
            if (&share == &in_vShares.front())
                uiPasses = found.m_vPasses.size();
            if (!reader.isAtEnd() || found.m_vPasses.size() != uiPasses || uiPasses == 0)
            {
                QC_ERROR("Share " << share.m_shard.toText() << " makes no sense");
                return false;
            }
            const ConvertShare::Pass& pass = found.m_vPasses[uiPass];
            const std::string strFile = pass.m_strFile.empty()
                                            ? ConvertShare::nameOfPass(share.m_strFilename, uiPass)
                                            : pass.m_strFile;
            if (pass.m_uiPatterns == 0)
                continue;
            const std::uint64_t uiBytes = getFileSizes({strFile}).front();
            if (uiBytes != pass.m_uiBytes)
            {
                QC_ERROR(strFile << " has " << uiBytes << " bytes, but " << pass.m_uiBytes
                                 << " when the share was left");
                return false;
            }
            m_vFiles.push_back(strFile);
        }
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
