// The limit of SmallReadsBench: reads of 8 and 320 bytes through a chunk by hand. usage: SmallReadsLimit FILE

#include "bench/limits/ByHand.h"

#include <filesystem>

using namespace Vexalor;

namespace
{

class ChunkReader
{
public:
    ChunkReader(const char* in_name, std::size_t in_uiChunk)
        : m_iFile(::open(in_name, O_RDONLY))
        , m_vChunk(in_uiChunk)
    {
    }
    ~ChunkReader() { ::close(m_iFile); }

    bool read(char* out_data, std::size_t in_uiSize)
    {
        const std::size_t uiFirst = std::min(in_uiSize, m_uiHave - m_uiAt);
        std::memcpy(out_data, m_vChunk.data() + m_uiAt, uiFirst);
        m_uiAt += uiFirst;
        if (uiFirst == in_uiSize)
            return true;
        const ssize_t iRead = ::read(m_iFile, m_vChunk.data(), m_vChunk.size());
        m_uiHave = iRead > 0 ? static_cast<std::size_t>(iRead) : 0;
        m_uiAt = in_uiSize - uiFirst;
        if (m_uiHave < m_uiAt)
            return false;
        std::memcpy(out_data + uiFirst, m_vChunk.data(), m_uiAt);
        return true;
    }

private:
    int m_iFile;
    std::vector<char> m_vChunk;
    std::size_t m_uiHave = 0;
    std::size_t m_uiAt = 0;
};

} // namespace

int main(int in_iArguments, char** in_arguments)
{
    if (in_iArguments != 2)
        return 2;
    const auto dSize = static_cast<double>(std::filesystem::file_size(in_arguments[1]));
    char data[320];
    for (const std::size_t uiSize : {8, 320})
    {
        for (const std::size_t uiChunk : {64, 1024})
        {
            const auto readAll = [&]
            {
                ChunkReader reader(in_arguments[1], uiChunk << 10);
                while (reader.read(data, uiSize))
                    Bench::keep(data[0]);
            };
            Bench::reportNanoseconds("by hand, chunk of " + std::to_string(uiChunk) + " KB (" +
                                         std::to_string(uiSize) + "-byte reads)",
                                     dSize / static_cast<double>(uiSize),
                                     Bench::measure(Bench::getRunCount(), readAll, Bench::wallSeconds));
        }
    }
    return 0;
}
