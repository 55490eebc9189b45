#include "common/RecordingPart.h"

#include "quillcast-core/Logger.h"

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.app.RecordingPart");

} // namespace

RecordingPart RecordingPart::cutOut(std::size_t in_uiFirst, std::size_t in_uiEnd) const
{
    RecordingPart part;
    part.m_strName = m_strName;
    part.m_place = m_place;
    part.m_classes = m_classes;
    part.m_pass = m_pass;
    const auto iFirst = static_cast<std::ptrdiff_t>(in_uiFirst);
    const auto iEnd = static_cast<std::ptrdiff_t>(in_uiEnd);
    part.m_vFilenames.assign(m_vFilenames.begin() + iFirst, m_vFilenames.begin() + iEnd);
    part.m_vSizes.assign(m_vSizes.begin() + iFirst, m_vSizes.begin() + iEnd);
    return part;
}

bool RecordingPart::isSeenHere() const
{
    QC_TRACE("RecordingPart::isSeenHere");
    const std::vector<std::uint64_t> vHere = getFileSizes(m_vFilenames);
    for (std::size_t i = 0; i < vHere.size(); ++i)
        if (i >= m_vSizes.size() || vHere[i] != m_vSizes[i])
        {
            QC_ERROR("Recording " << m_vFilenames[i] << " has " << vHere[i] << " bytes here, but "
                                  << (i < m_vSizes.size() ? m_vSizes[i] : 0)
                                  << " where the list was read: all must see the same files");
            return false;
        }
    return true;
}

std::string tellNoneUsable(const std::string& in_strList, std::uint64_t in_uiListed)
{
    return "Audio set " + in_strList + " has no file that can be used, of " + std::to_string(in_uiListed) +
           " listed";
}

bool readRecordingParts(const DataGenerator& in_generator, const char* in_list, std::size_t in_uiParts,
                        std::vector<RecordingPart>& out_vParts, JobDigest& io_job)
{
    QC_TRACE("MachineLearning::readRecordingParts");
    const auto* pSet = dynamic_cast<const FileSetDataGeneratorImpl*>(&in_generator);
    if (pSet == nullptr)
    {
        QC_ERROR("There are no shares of " << in_list << ": only lists of recordings are shared out");
        return false;
    }
    RecordingPart whole;
    if (!whole.read(in_list))
        return false;
    whole.m_vSizes = getFileSizes(whole.m_vFilenames);
    io_job.addList(whole.m_vFilenames, whole.m_vSizes);
    whole.m_classes = pSet->findClasses(whole.m_vFilenames);
    const std::vector<std::size_t> vStarts = findShares(whole.m_vSizes, in_uiParts);
    for (std::size_t i = 0; i < in_uiParts; ++i)
    {
        RecordingPart& part = out_vParts.emplace_back(whole.cutOut(vStarts[i], vStarts[i + 1]));
        part.m_place = i == 0 ? RecordingList::Place::FIRST_PART : RecordingList::Place::LATER_PART;
    }
    return true;
}

} // namespace Vexalor::MachineLearning
