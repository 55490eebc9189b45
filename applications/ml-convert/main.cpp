#include "ml-convert/ConvertApplication.h"

int main(int argc, char** argv)
{
    return Vexalor::runTogether<Vexalor::MachineLearning::ConvertApplication>("ml-convert", argc, argv);
}
