#include "ml-classify/ClassifyApplication.h"

int main(int argc, char** argv)
{
    return Vexalor::runApplication<Vexalor::MachineLearning::ClassifyApplication>(argc, argv);
}
