#include "MLHelpers.h"

#include "quillcast-core/Assertion.h"

#include <charconv>
#include <limits>
#include <string_view>

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.ml.Helpers");

constexpr std::string_view COUNT_KEYWORD = "NumberOfSplitFiles=";
constexpr std::size_t LONGEST_COUNT_LINE = 128;
constexpr unsigned int BITS_OF_MEGABYTE = 20;

constexpr std::uint64_t megabytesToBytes(std::uint64_t in_uiMegabytes)
{
    constexpr std::uint64_t MOST = std::numeric_limits<std::uint64_t>::max();
    return in_uiMegabytes > (MOST >> BITS_OF_MEGABYTE) ? MOST : in_uiMegabytes << BITS_OF_MEGABYTE;
}

constexpr std::ios::openmode withBits(int in_iMode, std::ios::openmode in_bits)
{
    return static_cast<std::ios::openmode>(in_iMode) | in_bits;
}

/// A size in the type of the streams; no memory holds more than fits.
constexpr std::streamsize streamSize(std::uint64_t in_uiSize)
{
    constexpr auto MOST = static_cast<std::uint64_t>(std::numeric_limits<std::streamsize>::max());
    return static_cast<std::streamsize>(std::min(in_uiSize, MOST));
}

/// Reads up to in_uiSize bytes and returns how many came.
std::uint64_t readBytes(std::ifstream& io_stream, char* out_bytes, std::uint64_t in_uiSize)
{
    io_stream.read(out_bytes, streamSize(in_uiSize));
    return static_cast<std::uint64_t>(io_stream.gcount());
}

/// Refuses null.
bool isNamed(const char* in_filename, std::ios& out_state)
{
    if (QC_CHECK(in_filename != nullptr))
        return true;
    out_state.setstate(std::ios::failbit);
    return false;
}

bool parseCount(std::string_view in_text, std::uint64_t& out_uiCount)
{
    if (in_text.ends_with('\r'))
        in_text.remove_suffix(1);
    const char* pEnd = in_text.data() + in_text.size();
    const auto [pNext, error] = std::from_chars(in_text.data(), pEnd, out_uiCount);
    return error == std::errc() && pNext == pEnd;
}

} // namespace

template <class Stream>
void SimplifiedFileStreamImpl<Stream>::open(const char* in_filename, int in_iMode)
{
    if (m_stream.is_open())
        m_stream.close();
    m_stream.clear();
    m_stream.open(in_filename, static_cast<std::ios::openmode>(in_iMode));
}

template <class Stream>
void SimplifiedFileStreamImpl<Stream>::close()
{
    m_stream.close();
}

template class SimplifiedFileStreamImpl<std::ifstream>;
template class SimplifiedFileStreamImpl<std::ofstream>;

std::string SplitFileImpl::partName(std::uint64_t in_uiPart) const
{
    return m_strBaseName + "." + std::to_string(in_uiPart);
}

SplitFileWriter::SplitFileWriter(std::uint64_t in_uiMaxMegabytes)
    : m_uiMaxBytes(megabytesToBytes(in_uiMaxMegabytes))
{
}

SplitFileWriter::SplitFileWriter(const char* in_baseName, std::uint64_t in_uiMaxMegabytes)
    : SplitFileWriter(in_uiMaxMegabytes)
{
    SplitFileWriter::open(in_baseName, std::ios::out);
}

SplitFileWriter::~SplitFileWriter()
{
    QC_TRACE("SplitFileWriter dtor");
    if (m_bSetOpen)
        SplitFileWriter::close();
}

void SplitFileWriter::open(const char* in_baseName, int in_iMode)
{
    QC_TRACE("MachineLearning::SplitFileWriter::open");
    if (m_bSetOpen)
        close();
    m_stream.clear();
    if (!isNamed(in_baseName, m_stream))
        return;
    m_strBaseName = in_baseName;
    m_iMode = withBits(in_iMode, std::ios::out);
    m_uiNbSplitFiles = 0;
    m_bLost = false;
    m_bSetOpen = beginPart(1);
}

bool SplitFileWriter::beginPart(std::uint64_t in_uiPart)
{
    m_strCurrentName = partName(in_uiPart);
    SimplifiedFileStreamImpl::open(m_strCurrentName.c_str(), m_iMode);
    if (!m_stream)
    {
        QC_ERROR("Failed to open for output file " << m_strCurrentName);
        return false;
    }
    m_uiNbSplitFiles = m_uiCurrent = in_uiPart;
    m_uiPartBytes = 0;
    return true;
}

/// False when bytes that were written before do not reach the file.
bool SplitFileWriter::closePart()
{
    m_stream.close();
    if (m_stream)
        return true;
    QC_ERROR("Error writing to file " << m_strCurrentName);
    m_bLost = true;
    return false;
}

bool SplitFileWriter::write(const char* in_bytes, std::uint64_t in_uiSize)
{
    QC_TRACE("MachineLearning::SplitFileWriter::write");
    if (m_uiPartBytes > m_uiMaxBytes)
    {
        if (m_stream.is_open() && !closePart())
            return false;
        if (!beginPart(m_uiNbSplitFiles + 1))
            return false;
    }
    m_stream.write(in_bytes, streamSize(in_uiSize));
    if (m_stream.good())
    {
        m_uiPartBytes += in_uiSize;
        return true;
    }
    QC_ERROR("Error writing to file " << m_strCurrentName);
    m_bLost = true;
    return false;
}

void SplitFileWriter::close()
{
    QC_TRACE("MachineLearning::SplitFileWriter::close");
    bool bDone = m_bSetOpen && !m_bLost;
    if (m_stream.is_open())
        bDone = closePart() && bDone;
    if (m_bSetOpen)
        bDone = writeDescriptor() && bDone;
    m_bSetOpen = false;
    m_uiPartBytes = 0;
    if (!bDone)
        m_stream.setstate(std::ios::failbit);
}

bool SplitFileWriter::writeDescriptor() const
{
    std::ofstream file(m_strBaseName);
    if (!file)
    {
        QC_ERROR("Failed to open for output file " << m_strBaseName);
        return false;
    }
    file << SPLIT_DESCRIPTOR_BEGINNING << "\n# " << COUNT_KEYWORD << "XXX\n"
         << COUNT_KEYWORD << std::to_string(m_uiNbSplitFiles) << '\n';
    file.close();
    if (file)
        return true;
    QC_ERROR("Error writing to file " << m_strBaseName);
    return false;
}

bool readNumberOfSplitFiles(const std::string& in_strBaseName, std::uint64_t& out_uiNbSplitFiles)
{
    std::ifstream file(in_strBaseName);
    while (file.peek() == '#')
        file.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
    char line[LONGEST_COUNT_LINE] = {};
    file.getline(line, sizeof(line));
    const std::string_view text(line);
    if (!text.starts_with(COUNT_KEYWORD))
    {
        QC_ERROR("Error reading header of file " << in_strBaseName << ". Expecting NumberOfSplitFiles=XXX");
        return false;
    }
    if (!parseCount(text.substr(COUNT_KEYWORD.size()), out_uiNbSplitFiles))
    {
        QC_ERROR("Error reading XXX in NumberOfSplitFiles=XXX. XXX has  to be a valid integer. "
                 "Current file is " // text kept
                 << in_strBaseName);
        return false;
    }
    if (out_uiNbSplitFiles == 0)
        QC_ERROR("Number of split files has to be greater than 1 in file " << in_strBaseName);
    return out_uiNbSplitFiles != 0;
}

SplitFileReader::SplitFileReader(const char* in_baseName)
{
    SplitFileReader::open(in_baseName, std::ios::in);
}

void SplitFileReader::open(const char* in_baseName, int in_iMode)
{
    QC_TRACE("MachineLearning::SplitFileReader::open");
    if (m_stream.is_open())
        m_stream.close();
    m_stream.clear();
    if (!isNamed(in_baseName, m_stream))
        return;
    m_strBaseName = in_baseName;
    m_strCurrentName = m_strBaseName;
    m_iMode = withBits(in_iMode, std::ios::in);
    m_uiNbSplitFiles = 0;
    m_uiCurrent = 1;
    m_uiCount = 0;
    if (readNumberOfSplitFiles(m_strBaseName, m_uiNbSplitFiles))
        openPart();
    else
        m_stream.setstate(std::ios::failbit);
}

bool SplitFileReader::openPart()
{
    m_strCurrentName = partName(m_uiCurrent);
    SimplifiedFileStreamImpl::open(m_strCurrentName.c_str(), m_iMode);
    if (!m_stream)
        QC_ERROR("Failed to open for input file " << m_strCurrentName);
    return static_cast<bool>(m_stream);
}

bool SplitFileReader::read(char* out_bytes, std::uint64_t in_uiSize)
{
    QC_TRACE("MachineLearning::SplitFileReader::read");
    m_uiCount = readBytes(m_stream, out_bytes, in_uiSize);
    if (m_stream.fail() && !m_stream.eof())
    {
        QC_ERROR("Error reading from file " << m_strCurrentName);
        return false;
    }
    if (!m_stream.eof() || m_uiCurrent >= m_uiNbSplitFiles)
        return true;
    ++m_uiCurrent;
    if (!openPart())
        return false;
    m_uiCount += readBytes(m_stream, out_bytes + m_uiCount, in_uiSize - m_uiCount);
    return !m_stream.fail() && m_uiCount == in_uiSize;
}

ByChunkFileReader::ByChunkFileReader(std::uint64_t in_uiChunkSize)
    : m_vChunk(in_uiChunkSize)
{
}

ByChunkFileReader::ByChunkFileReader(const char* in_filename, std::uint64_t in_uiChunkSize)
    : ByChunkFileReader(in_uiChunkSize)
{
    ByChunkFileReader::open(in_filename, std::ios::in);
}

void ByChunkFileReader::open(const char* in_filename, int in_iMode)
{
    QC_TRACE("MachineLearning::ByChunkFileReader::open");
    m_uiValid = m_uiPosition = m_uiCount = 0;
    if (!isNamed(in_filename, m_stream))
        return;
    m_strFilename = in_filename;
    SimplifiedFileStreamImpl::open(in_filename, withBits(in_iMode, std::ios::in));
    if (!m_stream)
        QC_ERROR("Failed to open for input file " << m_strFilename);
}

bool ByChunkFileReader::readAcross(char* out_bytes, std::uint64_t in_uiSize)
{
    QC_TRACE("MachineLearning::ByChunkFileReader::read");
    m_uiCount = m_uiValid - m_uiPosition;
    take(out_bytes, m_uiCount);
    if (m_stream.eof() || !refill())
        return false;
    const std::uint64_t uiMissing = in_uiSize - m_uiCount;
    if (uiMissing > m_uiValid)
    {
        QC_ERROR("We do not support yet reading block bigger than  chunk size. " // text kept
                 "Current read operation is "
                 << in_uiSize << " bytes. Size of chunk is: " << m_uiValid);
        m_stream.setstate(std::ios::failbit);
        return false;
    }
    take(out_bytes + m_uiCount, uiMissing);
    m_uiCount = in_uiSize;
    return true;
}

bool ByChunkFileReader::refill()
{
    m_uiPosition = 0;
    m_uiValid = readBytes(m_stream, m_vChunk.data(), m_vChunk.size());
    if (!m_stream.fail() || m_stream.eof())
        return true;
    QC_ERROR("Fail to read in file " << m_strFilename);
    m_uiValid = 0;
    return false;
}

bool ByChunkFileReader::eof() const
{
    return m_stream.eof() && m_uiPosition >= m_uiValid;
}

bool ByChunkFileReader::fail() const
{
    return m_stream.fail() && (!m_stream.eof() || eof());
}

} // namespace Vexalor::MachineLearning
