#include "ml-tester/TesterApplication.h"

int main(int argc, char** argv)
{
    return Vexalor::runApplication<Vexalor::MachineLearning::TesterApplication>(argc, argv);
}
