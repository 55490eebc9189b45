#include "quillcast-fileformat-iff/IffChunkWalker.h"

#include "quillcast-fileformat-iff/LittleEndian.h"

#include <algorithm>
#include <iterator>

namespace Vexalor
{

namespace
{

constexpr std::uint32_t UNKNOWN_SIZE = 0xFFFFFFFF;

const char* const WELL_KNOWN[] = {"fmt ", "data", "cue ", "LIST", "list", "smpl", "fact", "bext", "junk",
                                  "JUNK", "PAD ", "iXML", "ds64", "inst", "cart", "id3 ", "ID3 ", "_PMX",
                                  "axml", "chna", "PEAK", "plst", "labl", "note", "ltxt"};

bool isPrintable(const std::string& in_strId)
{
    return std::all_of(in_strId.begin(), in_strId.end(), [](char c) { return c >= ' ' && c <= '~'; });
}

} // namespace

IffChunkWalker::IffChunkWalker(IffSource& io_source, std::uint64_t in_uiBegin, std::uint64_t in_uiEnd)
    : m_source(io_source)
    , m_uiPosition(in_uiBegin)
    , m_uiEnd(std::min(in_uiEnd, io_source.getSize()))
{
}

bool IffChunkWalker::next(IffChunk& out_chunk)
{
    if (!readHeader(out_chunk))
        return false;
    const std::uint64_t uiRest = m_uiEnd - out_chunk.getDataPosition();
    const bool bOpenEnded = out_chunk.m_strId == m_strOpenEnded;
    const bool bUnfinished =
        bOpenEnded && out_chunk.m_uiDeclared == 0 && uiRest > 0 && !isChunkAt(out_chunk.getDataPosition());
    out_chunk.m_uiSize = bUnfinished ? uiRest : std::min(out_chunk.m_uiDeclared, uiRest);
    out_chunk.m_bComplete = bOpenEnded || out_chunk.m_uiSize == out_chunk.m_uiDeclared;

    const std::uint64_t uiEnd = out_chunk.getDataPosition() + out_chunk.m_uiSize;
    const bool bPadded = out_chunk.m_uiSize % 2 == 1 && uiEnd < m_uiEnd && !isMissingPad(uiEnd);
    out_chunk.m_uiNext = bPadded ? uiEnd + 1 : uiEnd;
    m_uiPosition = out_chunk.m_uiNext;
    return true;
}

bool IffChunkWalker::readHeader(IffChunk& out_chunk)
{
    char bytes[IffChunk::HEADER_SIZE];
    if (m_uiPosition > m_uiEnd || m_uiEnd - m_uiPosition < sizeof bytes)
        return false;
    if (!m_source.readAt(m_uiPosition, bytes, sizeof bytes))
        return false;
    out_chunk.m_strId.assign(bytes, 4);
    if (!isPrintable(out_chunk.m_strId))
        return false;
    out_chunk.m_uiPosition = m_uiPosition;
    out_chunk.m_uiDeclared = readU32(bytes + 4);
    const auto itLong = m_longSizes.find(out_chunk.m_strId);
    if (out_chunk.m_uiDeclared == UNKNOWN_SIZE && itLong != m_longSizes.end())
        out_chunk.m_uiDeclared = itLong->second;
    return true;
}

bool IffChunkWalker::isMissingPad(std::uint64_t in_uiEnd)
{
    char pad = 0;
    return m_source.readAt(in_uiEnd, &pad, 1) && pad != 0 && isWellKnownAt(in_uiEnd) &&
           !isWellKnownAt(in_uiEnd + 1);
}

/// The id of the chunk that begins there and fits; empty if none does.
std::string IffChunkWalker::peekId(std::uint64_t in_uiPosition)
{
    char bytes[IffChunk::HEADER_SIZE];
    if (in_uiPosition > m_uiEnd || m_uiEnd - in_uiPosition < sizeof bytes ||
        !m_source.readAt(in_uiPosition, bytes, sizeof bytes))
        return {};
    const std::string strId(bytes, 4);
    const bool bFits = readU32(bytes + 4) <= m_uiEnd - in_uiPosition - sizeof bytes;
    return isPrintable(strId) && (bFits || strId == m_strOpenEnded) ? strId : std::string();
}

bool IffChunkWalker::isWellKnownAt(std::uint64_t in_uiPosition)
{
    return std::find(std::begin(WELL_KNOWN), std::end(WELL_KNOWN), peekId(in_uiPosition)) !=
           std::end(WELL_KNOWN);
}

bool IffChunkWalker::isChunkAt(std::uint64_t in_uiPosition)
{
    return !peekId(in_uiPosition).empty();
}

} // namespace Vexalor
