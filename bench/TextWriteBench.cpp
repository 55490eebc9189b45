// Patterns of 40 inputs and 3 targets written to a text file, each line flushed.
// usage: TextWriteBench PATTERNS.raw OUTPUT

#include "MLVectorFileDataGenerator.h"
#include "bench/Bench.h"
#include "quillcast-core/Logger.h"
#include "test-support/AllocationCounter.h"

#include <filesystem>
#include <fstream>

using namespace Vexalor;
using namespace Vexalor::MachineLearning;

namespace
{

constexpr std::size_t NB_INPUTS = 40;
constexpr std::size_t NB_TARGETS = 3;

struct Pattern
{
    DoubleVector m_vInput = DoubleVector(NB_INPUTS);
    DoubleVector m_vTarget = DoubleVector(NB_TARGETS);
};

bool readVector(std::ifstream& io_file, DoubleVector& out_vVector)
{
    return static_cast<bool>(io_file.read(reinterpret_cast<char*>(out_vVector.begin()),
                                          static_cast<std::streamsize>(out_vVector.size() * sizeof(double))));
}

std::vector<Pattern> readPatterns(const char* in_file)
{
    std::ifstream file(in_file, std::ios::binary);
    std::vector<Pattern> vPatterns;
    Pattern pattern;
    while (readVector(file, pattern.m_vInput) && readVector(file, pattern.m_vTarget))
        vPatterns.push_back(pattern);
    return vPatterns;
}

} // namespace

int main(int in_iArguments, char** in_arguments)
{
    const LoggingSession session;
    Logger::setLevel("", LogLevel::OFF);
    const std::vector<Pattern> vPatterns = readPatterns(in_iArguments == 3 ? in_arguments[1] : "");
    if (vPatterns.empty())
        return 2;
    bool bDone = true;
    std::size_t uiAllocations = 0;
    const auto writeAll = [&]
    {
        VectorFileWriter writer;
        bDone = writer.open(in_arguments[2]) && bDone;
        bDone = writer.write(false, vPatterns[0].m_vInput, vPatterns[0].m_vTarget) && bDone;
        const Testing::AllocationCounter allocations;
        for (std::size_t i = 1; i < vPatterns.size(); ++i)
            bDone = writer.write(false, vPatterns[i].m_vInput, vPatterns[i].m_vTarget) && bDone;
        uiAllocations = allocations.getCount();
        bDone = writer.close() && bDone;
    };
    const auto times = Bench::measure(Bench::getRunCount(), writeAll, Bench::wallSeconds);
    if (!bDone)
        return 1;
    Bench::reportNanoseconds("write a text pattern, flushed", static_cast<double>(vPatterns.size()), times);
    Bench::reportValue("    allocations from the first pattern to the last", static_cast<double>(uiAllocations));
    Bench::reportValue("    written", static_cast<double>(std::filesystem::file_size(in_arguments[2])),
                       "bytes");
    return 0;
}
