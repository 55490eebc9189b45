#include "MLPatternInput.h"

#include "MLHelpers.h"
#include "quillcast-core/Logger.h"

#include <numeric>
#include <string_view>

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.ml.generator.PatternFileDataGenerator");

} // namespace

/// Whether it is a set is known when its first bytes are read, so that no file is read twice. Until then
/// there is a base name without parts.
bool PatternInput::open(const char* in_filename)
{
    QC_TRACE("PatternInput::open");
    m_vPartSizes.clear();
    m_bFailed = false;
    m_strBaseName = in_filename == nullptr ? "" : in_filename;
    return m_file.open(in_filename);
}

/// All parts are looked at, so that none is missed in the midst of a pass.
bool PatternInput::openSet(const std::string& in_strBaseName)
{
    m_strBaseName = in_strBaseName;
    std::uint64_t uiParts = 0;
    bool bWhole = readNumberOfSplitFiles(in_strBaseName, uiParts);
    for (std::size_t i = 0; bWhole && i < uiParts; ++i)
    {
        bWhole = openPart(i);
        m_vPartSizes.push_back(m_file.getSize());
    }
    m_bFailed = !bWhole || !openPart(0);
    return !m_bFailed;
}

bool PatternInput::openPart(std::size_t in_uiPart)
{
    const std::string strName = m_strBaseName + '.' + std::to_string(in_uiPart + 1);
    m_uiPart = in_uiPart;
    if (m_file.openRegular(strName.c_str()))
        return true;
    QC_ERROR("Cannot read part " << strName << " of a split set: " << m_file.getReason());
    m_bFailed = true;
    return false;
}

bool PatternInput::seek(std::uint64_t in_uiPosition)
{
    m_bFailed = false;
    if (m_vPartSizes.empty())
        return m_file.seek(in_uiPosition);
    std::size_t uiPart = 0;
    for (; uiPart + 1 < m_vPartSizes.size() && in_uiPosition >= m_vPartSizes[uiPart]; ++uiPart)
        in_uiPosition -= m_vPartSizes[uiPart];
    return (uiPart == m_uiPart || openPart(uiPart)) && m_file.seek(in_uiPosition);
}

std::size_t PatternInput::read(char* out_bytes, std::size_t in_uiSize)
{
    if (m_bFailed)
        return 0;
    const bool bFirst = !m_strBaseName.empty() && m_vPartSizes.empty();
    std::size_t uiRead = m_file.read(out_bytes, in_uiSize);
    if (bFirst && std::string_view(out_bytes, uiRead).starts_with(SPLIT_DESCRIPTOR_BEGINNING))
        return openSet(m_strBaseName) ? read(out_bytes, in_uiSize) : 0;
    if (bFirst)
        m_strBaseName.clear();
    while (uiRead == 0 && !m_file.hasFailed() && m_uiPart + 1 < m_vPartSizes.size() && openPart(m_uiPart + 1))
        uiRead = m_file.read(out_bytes, in_uiSize);
    return uiRead;
}

std::optional<std::uint64_t> PatternInput::getRest() const
{
    const std::optional<std::uint64_t> rest = m_file.getRest();
    if (m_vPartSizes.empty() || !rest)
        return rest;
    return std::accumulate(m_vPartSizes.begin() + static_cast<std::ptrdiff_t>(m_uiPart) + 1,
                           m_vPartSizes.end(), *rest);
}

Fallible<double> PatternInput::getShareRead() const
{
    const std::optional<std::uint64_t> rest = getRest();
    if (m_vPartSizes.empty() || !rest)
        return m_file.getShareRead();
    const auto dTotal =
        static_cast<double>(std::accumulate(m_vPartSizes.begin(), m_vPartSizes.end(), std::uint64_t{0}));
    return dTotal > 0.0 ? 1.0 - static_cast<double>(*rest) / dTotal : 1.0;
}

} // namespace Vexalor::MachineLearning
