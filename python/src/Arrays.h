#pragma once

#include "quillcast-math/DoubleVector.h"

#include <cstddef>
#include <memory>
#include <pybind11/numpy.h>
#include <string>

/// Between the library's vectors and NumPy's arrays.
namespace Vexalor::Python
{

namespace py = pybind11;

/// An array of doubles row after row, converted where it is something else.
using DoubleArray = py::array_t<double, py::array::c_style | py::array::forcecast>;
using BoolArray = py::array_t<bool, py::array::c_style | py::array::forcecast>;

/// Owns the values from now on.
template <class Value>
py::capsule makeOwner(std::unique_ptr<Value[]> in_pValues)
{
    return {in_pValues.release(), [](void* io_pValues)
            {
                delete[] static_cast<Value*>(io_pValues);
            }};
}

/// A matrix of so many rows of an array that holds as many, or more, without a copy.
inline py::array_t<double> toArray(std::unique_ptr<double[]> in_pValues, std::size_t in_uiRows,
                                   std::size_t in_uiColumns)
{
    if (in_pValues == nullptr)
        return py::array_t<double>({in_uiRows, in_uiColumns});
    double* const pValues = in_pValues.get();
    return py::array_t<double>({in_uiRows, in_uiColumns}, pValues, makeOwner(std::move(in_pValues)));
}

template <class Value>
py::array_t<Value> toArray(std::unique_ptr<Value[]> in_pValues, std::size_t in_uiSize)
{
    Value* const pValues = in_pValues.get();
    return py::array_t<Value>(static_cast<py::ssize_t>(in_uiSize), pValues, makeOwner(std::move(in_pValues)));
}

/// A copy.
inline py::array_t<double> toArray(const DoubleVector& in_vVector)
{
    return py::array_t<double>(static_cast<py::ssize_t>(in_vVector.size()), in_vVector.begin());
}

/// A copy of one dimension; a TypeError for another shape.
inline DoubleVector toVector(const DoubleArray& in_array, const char* in_name)
{
    if (in_array.ndim() != 1)
        throw py::value_error(std::string(in_name) + " must have one dimension");
    DoubleVector vVector;
    vVector.assign(in_array.data(), in_array.data() + in_array.size());
    return vVector;
}

} // namespace Vexalor::Python
