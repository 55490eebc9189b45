// Patterns of 40 inputs and 3 targets written to a text file, each line flushed.
// usage: TextWriteBench PATTERNS.raw OUTPUT

#include "MLVectorFileDataGenerator.h"
#include "bench/PatternFileBench.h"

int main(int in_iArguments, char** in_arguments)
{
    return Vexalor::Bench::benchWriting<Vexalor::MachineLearning::VectorFileWriter>(
        "write a text pattern, flushed", in_iArguments, in_arguments);
}
