#include "ml-tester/TesterApplication.h"

int main(int argc, char** argv)
{
    return Vexalor::runTogether<Vexalor::MachineLearning::TesterApplication>("ml-tester", argc, argv);
}
