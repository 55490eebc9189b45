// Patterns of 40 inputs and 3 targets written to a binary file.
// usage: BinaryWriteBench PATTERNS.raw OUTPUT

#include "MLBinaryFileDataGenerator.h"
#include "bench/PatternFileBench.h"

int main(int in_iArguments, char** in_arguments)
{
    return Vexalor::Bench::benchWriting<Vexalor::MachineLearning::BinaryFileWriter>(
        "write a binary pattern", in_iArguments, in_arguments);
}
