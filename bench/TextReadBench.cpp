// Patterns of 40 inputs and 3 targets read from a text file, through the interface of all generators.
// usage: TextReadBench PATTERNS.txt

#include "MLVectorFileDataGenerator.h"
#include "bench/PatternFileBench.h"

int main(int in_iArguments, char** in_arguments)
{
    return Vexalor::Bench::benchReading<Vexalor::MachineLearning::VectorFileDataGenerator>(
        "read a text pattern", in_iArguments, in_arguments);
}
