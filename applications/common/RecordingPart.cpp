#include "common/RecordingPart.h"

#include "quillcast-core/Logger.h"

#include <utility>

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.app.RecordingPart");

} // namespace

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
    const StringVector vFilenames = std::move(whole.m_vFilenames);
    const std::vector<std::uint64_t> vSizes = getFileSizes(vFilenames);
    io_job.addList(vFilenames, vSizes);
    whole.m_classes = pSet->findClasses(vFilenames);
    whole.m_vFilenames.clear();
    const std::vector<std::size_t> vStarts = findShares(vSizes, in_uiParts);
    for (std::size_t i = 0; i < in_uiParts; ++i)
    {
        RecordingPart& part = out_vParts.emplace_back(whole);
        part.m_vFilenames.assign(vFilenames.begin() + static_cast<std::ptrdiff_t>(vStarts[i]),
                                 vFilenames.begin() + static_cast<std::ptrdiff_t>(vStarts[i + 1]));
        part.m_place = i == 0 ? RecordingList::Place::FIRST_PART : RecordingList::Place::LATER_PART;
    }
    return true;
}

} // namespace Vexalor::MachineLearning
