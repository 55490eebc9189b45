#include "ml-config/ConfigApplication.h"

int main(int argc, char** argv)
{
    return Vexalor::runApplication<Vexalor::MachineLearning::ConfigApplication>(argc, argv);
}
