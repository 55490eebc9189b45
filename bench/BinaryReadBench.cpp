// Patterns of 40 inputs and 3 targets read from a binary file, through the interface of all generators.
// usage: BinaryReadBench PATTERNS.binary

#include "MLBinaryFileDataGenerator.h"
#include "bench/PatternFileBench.h"

int main(int in_iArguments, char** in_arguments)
{
    return Vexalor::Bench::benchReading<Vexalor::MachineLearning::BinaryFileDataGenerator>(
        "read a binary pattern", in_iArguments, in_arguments);
}
