// Patterns of 40 inputs and 3 targets read from a text file, through the interface of all generators.
// usage: TextReadBench PATTERNS.txt

#include "MLVectorFileDataGenerator.h"
#include "bench/Bench.h"
#include "quillcast-core/Logger.h"

using namespace Vexalor;
using namespace Vexalor::MachineLearning;

int main(int in_iArguments, char** in_arguments)
{
    const LoggingSession session;
    Logger::setLevel("", LogLevel::OFF);
    VectorFileDataGenerator generator;
    if (in_iArguments != 2 || !generator.setCurrentFilename(in_arguments[1]))
        return 2;
    DoubleVector vInput;
    DoubleVector vTarget;
    Bench::Pass pass;
    const auto times = Bench::measure(
        Bench::getRunCount(), [&] { pass = Bench::pullAll<DataGenerator>(generator, vInput, vTarget); },
        Bench::wallSeconds);
    if (!pass.m_bDone)
        return 1;
    Bench::reportNanoseconds("read a text pattern", static_cast<double>(pass.m_uiPatterns), times);
    Bench::reportPass(pass);
    return 0;
}
