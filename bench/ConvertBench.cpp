// Patterns of 40 inputs and 3 targets converted from text to binary, from file to file.
// usage: ConvertBench PATTERNS.txt OUTPUT

#include "MLBinaryFileDataGenerator.h"
#include "MLDataConverter.h"
#include "MLVectorFileDataGenerator.h"
#include "bench/Bench.h"
#include "quillcast-core/Logger.h"

#include <filesystem>

using namespace Vexalor;
using namespace Vexalor::MachineLearning;

namespace
{

/// The number of patterns; 0 when it failed.
std::uint64_t convert(const char* in_input, const char* in_output)
{
    VectorFileDataGenerator generator;
    BinaryFileWriter writer;
    DataConverter converter;
    const bool bDone = generator.setCurrentFilename(in_input) && writer.open(in_output) &&
                       converter.setInputDataGenerator(generator) && converter.setDataWriter(writer) &&
                       converter.convert() && generator.endedCleanly() && writer.close();
    return bDone ? converter.getNbConverted() : 0;
}

} // namespace

int main(int in_iArguments, char** in_arguments)
{
    const LoggingSession session;
    Logger::setLevel("", LogLevel::OFF);
    if (in_iArguments != 3)
        return 2;
    std::uint64_t uiPatterns = 0;
    const auto times = Bench::measure(
        Bench::getRunCount(), [&] { uiPatterns = convert(in_arguments[1], in_arguments[2]); },
        Bench::wallSeconds);
    if (uiPatterns == 0)
        return 1;
    Bench::reportNanoseconds("convert a text pattern to binary", static_cast<double>(uiPatterns), times);
    Bench::reportValue("    written", static_cast<double>(std::filesystem::file_size(in_arguments[2])),
                       "bytes");
    return 0;
}
