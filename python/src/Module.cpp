#include "Module.h"

#include "Library.h"
#include "MLDataGeneratorFactory.h"

PYBIND11_MODULE(_core, io_module)
{
    using namespace Vexalor;

    io_module.doc() = "The library of vexalor_ml, which documents it.";
    MachineLearning::registerGeneratorClasses();
    Python::setUpLibrary(io_module);
    Python::bindScaling(io_module); // before those who take one
    Python::bindGenerators(io_module);
    Python::bindWriter(io_module);
    Python::bindAnnotations(io_module);
    Python::bindDetectors(io_module); // before those who test one
    Python::bindAudioStream(io_module);
    Python::bindTester(io_module);
}
