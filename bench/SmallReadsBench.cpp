// Many small reads from a file through a chunk in memory. usage: SmallReadsBench FILE

#include "MLHelpers.h"
#include "bench/Bench.h"
#include "quillcast-core/Logger.h"

#include <filesystem>

using namespace Vexalor;
using namespace Vexalor::MachineLearning;

namespace
{

bool bench(const char* in_file, std::uint64_t in_uiChunk, std::uint64_t in_uiRead)
{
    char buffer[512];
    std::uint64_t uiReads = 0;
    const auto readAll = [&]
    {
        ByChunkFileReader reader(in_file, in_uiChunk);
        for (uiReads = 0; reader.read(buffer, in_uiRead); ++uiReads)
            Bench::keep(buffer[0]);
    };
    const auto times = Bench::measure(Bench::getRunCount(), readAll, Bench::wallSeconds);
    Bench::reportNanoseconds("chunk of " + std::to_string(in_uiChunk >> 10) + " KB (" +
                                 std::to_string(in_uiRead) + "-byte reads)",
                             static_cast<double>(uiReads), times);
    return uiReads == std::filesystem::file_size(in_file) / in_uiRead;
}

} // namespace

int main(int in_iArguments, char** in_arguments)
{
    const LoggingSession session;
    Logger::setLevel("", LogLevel::OFF);
    if (in_iArguments != 2)
        return 2;
    bool bDone = true;
    for (const std::uint64_t uiRead : {8, 320})
    {
        for (const std::uint64_t uiChunk : {1 << 16, 1 << 20})
            bDone = bench(in_arguments[1], uiChunk, uiRead) && bDone;
    }
    return bDone ? 0 : 1;
}
