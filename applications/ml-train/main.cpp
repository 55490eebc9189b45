#include "ml-train/TrainApplication.h"

int main(int argc, char** argv)
{
    return Vexalor::runApplication<Vexalor::MachineLearning::TrainApplication>(argc, argv);
}
