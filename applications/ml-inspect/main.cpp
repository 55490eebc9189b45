#include "ml-inspect/InspectApplication.h"

int main(int argc, char** argv)
{
    return Vexalor::runApplication<Vexalor::MachineLearning::InspectApplication>(argc, argv);
}
