// Reads a text pattern file, runs the simplest entity over it (one that answers with its input) and prints
// the report.

#include "MLErrorFunction.h"
#include "MLTester.h"
#include "MLVectorFileDataGenerator.h"
#include "quillcast-core/Logger.h"

#include <iostream>

namespace
{

using namespace Vexalor;
using namespace Vexalor::MachineLearning;

class Echo final : public MLTester::TestedEntity
{
public:
    bool compute(const double* in_begin, const double* in_end, DoubleVector& out_vOutput) const override
    {
        out_vOutput.assign(in_begin, in_end);
        return true;
    }
};

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2)
    {
        std::cerr << "Usage : consumer PATTERN-FILE\n";
        return 2;
    }
    const LoggingSession session;
    Logger::configureForConsole(LogLevel::WARN);

    VectorFileDataGenerator generator;
    MLTester::ClassifierTesterStats stats;
    stats.addErrorFunction(CountedObjPtr<ErrorFunction>(new MSEErrorFunction));
    if (!generator.setCurrentFilename(argv[1]) || !MLTester().test(Echo(), generator, stats, false) ||
        !generator.endedCleanly())
        return 1;
    stats.write(std::cout) << '\n';
    return std::cout.flush() ? 0 : 1;
}
