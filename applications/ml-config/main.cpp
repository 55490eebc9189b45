#include "ml-config/ConfigApplication.h"

int main(int argc, char** argv)
{
    return Vexalor::runTogether<Vexalor::MachineLearning::ConfigApplication>("ml-config", argc, argv);
}
