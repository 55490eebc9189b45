#pragma once

#include "MLDataGenerator.h"
#include "bench/Bench.h"
#include "quillcast-core/Logger.h"

#include <filesystem>
#include <fstream>

/// The programs of one pattern file format: what main does. The programs link test-support.
namespace Vexalor::Bench
{

constexpr std::size_t NB_INPUTS = 40;
constexpr std::size_t NB_TARGETS = 3;

struct Pattern
{
    DoubleVector m_vInput = DoubleVector(NB_INPUTS);
    DoubleVector m_vTarget = DoubleVector(NB_TARGETS);
};

inline bool readVector(std::ifstream& io_file, DoubleVector& out_vVector)
{
    return static_cast<bool>(io_file.read(reinterpret_cast<char*>(out_vVector.begin()),
                                          static_cast<std::streamsize>(out_vVector.size() * sizeof(double))));
}

/// Patterns from a file of bare doubles.
inline std::vector<Pattern> readPatterns(const char* in_file)
{
    std::ifstream file(in_file, std::ios::binary);
    std::vector<Pattern> vPatterns;
    Pattern pattern;
    while (readVector(file, pattern.m_vInput) && readVector(file, pattern.m_vTarget))
        vPatterns.push_back(pattern);
    return vPatterns;
}

/// Pulls the patterns of a file through the interface of all generators. Arguments: PATTERNS
template <class Generator>
int benchReading(const char* in_name, int in_iArguments, char** in_arguments)
{
    const LoggingSession session;
    Logger::setLevel("", LogLevel::OFF);
    Generator generator;
    if (in_iArguments != 2 || !generator.setCurrentFilename(in_arguments[1]))
        return 2;
    DoubleVector vInput;
    DoubleVector vTarget;
    Pass pass;
    const auto times = measure(
        getRunCount(), [&] { pass = pullAll<MachineLearning::DataGenerator>(generator, vInput, vTarget); },
        wallSeconds);
    if (!pass.m_bDone)
        return 1;
    reportNanoseconds(in_name, static_cast<double>(pass.m_uiPatterns), times);
    reportPass(pass);
    return 0;
}

/// Writes patterns to a file. Arguments: PATTERNS.raw OUTPUT
template <class Writer>
int benchWriting(const char* in_name, int in_iArguments, char** in_arguments)
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
        Writer writer;
        bDone = writer.open(in_arguments[2]) && bDone;
        bDone = writer.write(false, vPatterns[0].m_vInput, vPatterns[0].m_vTarget) && bDone;
        const Testing::AllocationCounter allocations;
        for (std::size_t i = 1; i < vPatterns.size(); ++i)
            bDone = writer.write(false, vPatterns[i].m_vInput, vPatterns[i].m_vTarget) && bDone;
        uiAllocations = allocations.getCount();
        bDone = writer.close() && bDone;
    };
    const auto times = measure(getRunCount(), writeAll, wallSeconds);
    if (!bDone)
        return 1;
    reportNanoseconds(in_name, static_cast<double>(vPatterns.size()), times);
    reportValue("    allocations from the first pattern to the last", static_cast<double>(uiAllocations));
    reportValue("    written", static_cast<double>(std::filesystem::file_size(in_arguments[2])), "bytes");
    return 0;
}

} // namespace Vexalor::Bench
