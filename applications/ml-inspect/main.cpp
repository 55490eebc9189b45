#include "ml-inspect/InspectApplication.h"

int main(int argc, char** argv)
{
    return Vexalor::runTogether<Vexalor::MachineLearning::InspectApplication>("ml-inspect", argc, argv);
}
