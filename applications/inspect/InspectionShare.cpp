#include "inspect/InspectionShare.h"

#include "quillcast-core/ByteArchive.h"
#include "quillcast-core/Logger.h"

#include <algorithm>
#include <utility>

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.app.Inspect");

/// True when they have as many files, and as many passes over each.
bool haveSameParts(const InspectionShare& in_left, const InspectionShare& in_right)
{
    bool bSame = in_left.m_vFiles.size() == in_right.m_vFiles.size();
    for (std::size_t i = 0; bSame && i < in_left.m_vFiles.size(); ++i)
        bSame = in_left.m_vFiles[i].size() == in_right.m_vFiles[i].size();
    return bSame;
}

} // namespace

std::string InspectionShare::toBytes() const
{
    ByteWriter writer;
    writer(*this);
    return writer.getBytes();
}

bool InspectionShare::append(std::string_view in_bytes)
{
    QC_TRACE("InspectionShare::append");
    InspectionShare next;
    ByteReader reader(in_bytes);
    reader(next);
    const bool bFirst = m_vFiles.empty();
    if (!reader.isAtEnd() || next.m_vFiles.size() != next.m_data.m_vInputFiles.size() ||
        next.m_vFiles.empty() || (!bFirst && !haveSameParts(*this, next)))
    {
        QC_ERROR("A share of the inspection makes no sense");
        return false;
    }
    if (bFirst)
    {
        *this = std::move(next);
        return true;
    }
    for (std::size_t i = 0; i < m_vFiles.size(); ++i)
        for (std::size_t j = 0; j < m_vFiles[i].size(); ++j)
            m_vFiles[i][j].append(next.m_vFiles[i][j]);
    return true;
}

InspectedPart InspectionShare::joinPasses(const InspectedData& in_data, const std::string& in_strFile,
                                          Passes in_vPasses)
{
    InspectedPart whole;
    for (InspectedPart& pass : in_vPasses)
        if (&pass == &in_vPasses.front())
            whole = std::move(pass);
        else
            whole.append(pass);
    if (in_data.m_bValidate)
        return whole;
    if (whole.m_vStops.empty() && !whole.m_bReached)
        whole.m_vStops.push_back("Audio set " + in_strFile + " has no file that can be used, of " +
                                 std::to_string(whole.m_survey.m_vListed.size()) + " listed");
    whole.m_vStops.resize(std::min<std::size_t>(whole.m_vStops.size(), 1));
    return whole;
}

InspectedPart InspectionShare::takeWhole()
{
    InspectedPart whole;
    for (std::size_t i = 0; i < m_vFiles.size(); ++i)
        whole.append(joinPasses(m_data, m_data.m_vInputFiles[i], std::move(m_vFiles[i])));
    return whole;
}

} // namespace Vexalor::MachineLearning
