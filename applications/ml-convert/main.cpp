#include "ml-convert/ConvertApplication.h"

int main(int argc, char** argv)
{
    return Vexalor::runApplication<Vexalor::MachineLearning::ConvertApplication>(argc, argv);
}
