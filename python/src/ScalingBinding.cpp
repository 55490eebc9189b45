#include "Arrays.h"
#include "Library.h"
#include "MLDataGeneratorFactory.h"
#include "MLVectorScalingTrainer.h"
#include "Module.h"
#include "Output.h"
#include "PatternStream.h"
#include "Scaling.h"

#include <pybind11/stl.h>
#include <pybind11/stl/filesystem.h>
#include <sstream>
#include <tuple>

namespace Vexalor::Python
{

using namespace MachineLearning;

namespace
{

/// y = x * slope + intercept, or back.
using Scale = double (*)(double in_dValue, double in_dSlope, double in_dIntercept);

double scale(double in_dValue, double in_dSlope, double in_dIntercept)
{
    return in_dValue * in_dSlope + in_dIntercept;
}

double unscale(double in_dValue, double in_dSlope, double in_dIntercept)
{
    return (in_dValue - in_dIntercept) / in_dSlope;
}

/// A copy of an array whose last dimension is that of the parameters, each component scaled; where there are
/// no parameters, as it is.
py::array_t<double> scaleArray(const DoubleArray& in_array, const DoubleVector& in_vSlope,
                               const DoubleVector& in_vIntercept, Scale in_scale)
{
    const std::size_t uiParameters = in_vSlope.size();
    if (uiParameters != 0 && (in_array.ndim() == 0 ||
                              in_array.shape(in_array.ndim() - 1) != static_cast<py::ssize_t>(uiParameters)))
        throw py::value_error("the last dimension of the array must be " + std::to_string(uiParameters));
    py::array_t<double> result(
        std::vector<py::ssize_t>(in_array.shape(), in_array.shape() + in_array.ndim()));
    const double* const pValues = in_array.data();
    double* const pResult = result.mutable_data();
    const auto uiSize = static_cast<std::size_t>(in_array.size());
    const Inside inside;
    unlocked(
        [&]
        {
            for (std::size_t i = 0; i < uiSize; ++i)
            {
                const std::size_t uiColumn = uiParameters == 0 ? 0 : i % uiParameters;
                pResult[i] = uiParameters == 0
                                 ? pValues[i]
                                 : in_scale(pValues[i], in_vSlope[uiColumn], in_vIntercept[uiColumn]);
            }
            return true;
        });
    return result;
}

Scaling makeScaling(const DoubleArray& in_inputSlope, const DoubleArray& in_inputIntercept,
                    const DoubleArray& in_targetSlope, const DoubleArray& in_targetIntercept)
{
    Scaling scaling;
    scaling.m_vInputSlope = toVector(in_inputSlope, "input_slope");
    scaling.m_vInputYIntercept = toVector(in_inputIntercept, "input_intercept");
    scaling.m_vTargetSlope = toVector(in_targetSlope, "target_slope");
    scaling.m_vTargetYIntercept = toVector(in_targetIntercept, "target_intercept");
    if (scaling.m_vInputSlope.size() != scaling.m_vInputYIntercept.size() ||
        scaling.m_vTargetSlope.size() != scaling.m_vTargetYIntercept.size())
        throw py::value_error("there are as many slopes as intercepts");
    return scaling;
}

Scaling loadScaling(const std::filesystem::path& in_file)
{
    const ScalingDataGenerator::Config config = loadScalingConfig(in_file);
    if (config.m_bLearnScalingParameters)
        throw Failure(in_file.string() + " says how to learn a scaling, and holds none");
    return config.m_scalerConfig;
}

void saveScaling(const Scaling& in_scaling, const std::filesystem::path& in_file, bool in_bForced)
{
    require(
        [&]
        {
            ScalingDataGenerator::Config config;
            config.m_scalerConfig = in_scaling;
            ScalingDataGenerator generator;
            std::ostringstream text;
            return generator.configure(config) && saveDataGeneratorToStream(text, {}, generator) &&
                   writeFile(in_file, in_bForced, text.str());
        },
        "the scaling cannot be written");
}

using TrainingParam = VectorScalingTrainer::Config::TrainingParam;

TrainingParam makeParam(const char* in_name, const std::string& in_strTreatment,
                        const std::pair<double, double>& in_interval)
{
    TrainingParam param;
    param.m_bStandardize = in_strTreatment == "standardize";
    param.m_bMinMax = in_strTreatment == "min-max";
    std::tie(param.m_dScaledMinValue, param.m_dScaledMaxValue) = in_interval;
    if (!param.m_bStandardize && !param.m_bMinMax && in_strTreatment != "none")
        throw py::value_error(std::string(in_name) + " must be 'none', 'standardize' or 'min-max'");
    return param;
}

/// Sizes of the first pattern that has a target.
bool measure(DataGenerator& io_generator, std::size_t& out_uiInputs, std::size_t& out_uiTargets)
{
    DoubleVector vInput;
    DoubleVector vTarget;
    if (!io_generator.gotoStart())
        return false;
    while (vTarget.empty() && io_generator.generateNext())
        if (!io_generator.getInput(vInput) || !io_generator.getTarget(vTarget))
            vTarget.clear();
    out_uiInputs = vInput.size();
    out_uiTargets = vTarget.size();
    return !vTarget.empty();
}

Scaling learnScaling(PatternStream& io_stream, const std::string& in_strInputs,
                     const std::string& in_strTargets, const std::pair<double, double>& in_interval)
{
    const TrainingParam input = makeParam("inputs", in_strInputs, in_interval);
    const TrainingParam target = makeParam("targets", in_strTargets, in_interval);
    io_stream.fillCache();
    const Exclusive use(io_stream.getUse());
    const CountedObjPtr<DataGenerator> pGenerator = io_stream.newInterruptible();
    std::size_t uiInputs = 0;
    std::size_t uiTargets = 0;
    require([&] { return measure(*pGenerator, uiInputs, uiTargets); },
            "there is no pattern with a target to learn from");
    VectorScalingTrainer::Config config;
    config.m_vTrainingParam.assign(uiInputs, input);
    config.m_vTrainingParam.resize(uiInputs + uiTargets, target);
    Scaling scaling;
    require(
        [&]
        {
            VectorScalingTrainer trainer;
            return trainer.configure(config) && trainer.computeScalingParam(*pGenerator, scaling) &&
                   pGenerator->endedCleanly();
        },
        "the stream stopped before its end");
    return scaling;
}

py::tuple getState(const Scaling& in_scaling)
{
    return py::make_tuple(toArray(in_scaling.m_vInputSlope), toArray(in_scaling.m_vInputYIntercept),
                          toArray(in_scaling.m_vTargetSlope), toArray(in_scaling.m_vTargetYIntercept));
}

template <DoubleVector Scaling::*parameters>
py::array_t<double> getParameters(const Scaling& in_scaling)
{
    return toArray(in_scaling.*parameters);
}

} // namespace

ScalingDataGenerator::Config loadScalingConfig(const std::filesystem::path& in_file)
{
    const auto pGenerator =
        require([&] { return loadDataGenerator(in_file.c_str()); }, "the file cannot be loaded")
            .dynamicCast<ScalingDataGenerator>();
    if (pGenerator.isNull())
        throw Failure(in_file.string() + " describes no scaling");
    return pGenerator->getConfig();
}

void bindScaling(py::module_& io_module)
{
    const DoubleArray none(0);
    py::class_<Scaling>(
        io_module, "Scaling",
        R"(Linear scaling: value x slope + intercept, for each component of inputs and of targets.

No parameters leave values as they are. Pickles; == is exact.)")
        .def(py::init(&makeScaling), py::arg("input_slope"), py::arg("input_intercept"),
             py::arg("target_slope") = none, py::arg("target_intercept") = none,
             "From arrays of shape (N,) and (K,).")
        .def_static("learn", &learnScaling, py::arg("generator"), py::kw_only(),
                    py::arg("inputs") = "standardize", py::arg("targets") = "none",
                    py::arg("interval") = std::make_pair(0.0, 1.0),
                    R"(Learns in passes over a generator, from the patterns that have a target.

inputs, targets  "none", "standardize" (mean 0, standard deviation 1, that of a sample) or "min-max"
interval         that min-max scaling brings values into)")
        .def_static("load", &loadScaling, py::arg("file"), "That of a file of a scaling generator.")
        .def("save", &saveScaling, py::arg("file"), py::kw_only(), py::arg("force") = false,
             "Writes such a file, which the programs take as --scaling-config. force: over a recording, too.")
        .def_property_readonly("input_slope", &getParameters<&Scaling::m_vInputSlope>, "Shape (N,).")
        .def_property_readonly("input_intercept", &getParameters<&Scaling::m_vInputYIntercept>, "Shape (N,).")
        .def_property_readonly("target_slope", &getParameters<&Scaling::m_vTargetSlope>, "Shape (K,).")
        .def_property_readonly("target_intercept", &getParameters<&Scaling::m_vTargetYIntercept>,
                               "Shape (K,).")
        .def(
            "scale_inputs",
            [](const Scaling& in_scaling, const DoubleArray& in_inputs)
            { return scaleArray(in_inputs, in_scaling.m_vInputSlope, in_scaling.m_vInputYIntercept, scale); },
            py::arg("inputs"), "A scaled copy; shape (..., N).")
        .def(
            "scale_targets",
            [](const Scaling& in_scaling, const DoubleArray& in_targets) {
                return scaleArray(in_targets, in_scaling.m_vTargetSlope, in_scaling.m_vTargetYIntercept,
                                  scale);
            },
            py::arg("targets"), "A scaled copy; shape (..., K).")
        .def(
            "unscale_targets",
            [](const Scaling& in_scaling, const DoubleArray& in_targets) {
                return scaleArray(in_targets, in_scaling.m_vTargetSlope, in_scaling.m_vTargetYIntercept,
                                  unscale);
            },
            py::arg("targets"), "A copy brought back, such as of the outputs of a network; shape (..., K).")
        .def("__eq__", [](const Scaling& in_left, const Scaling& in_right) { return in_left == in_right; })
        .def("__repr__",
             [](const Scaling& in_scaling)
             {
                 return "<Scaling of " + std::to_string(in_scaling.m_vInputSlope.size()) + " inputs and " +
                        std::to_string(in_scaling.m_vTargetSlope.size()) + " targets>";
             })
        .def(py::pickle(&getState,
                        [](const py::tuple& in_state)
                        {
                            return makeScaling(
                                in_state[0].cast<DoubleArray>(), in_state[1].cast<DoubleArray>(),
                                in_state[2].cast<DoubleArray>(), in_state[3].cast<DoubleArray>());
                        }));
}

} // namespace Vexalor::Python
