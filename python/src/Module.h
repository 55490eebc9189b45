#pragma once

#include <pybind11/pybind11.h>

/// The parts of the module, each a source of its own: what binds classes takes long to compile.
namespace Vexalor::Python
{

void bindScaling(pybind11::module_& io_module);
void bindGenerators(pybind11::module_& io_module);
void bindWriter(pybind11::module_& io_module);
void bindAnnotations(pybind11::module_& io_module);
void bindTester(pybind11::module_& io_module);
void bindDetectors(pybind11::module_& io_module);
void bindAudioStream(pybind11::module_& io_module);

} // namespace Vexalor::Python
