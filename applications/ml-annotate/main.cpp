#include "ml-annotate/AnnotateApplication.h"

int main(int argc, char** argv)
{
    return Vexalor::runApplication<Vexalor::AnnotateApplication>(argc, argv);
}
