#include "Arrays.h"
#include "AudioStream.h"
#include "DetectorHandle.h"
#include "Library.h"
#include "Module.h"
#include "PatternStream.h"

#include <optional>
#include <pybind11/stl.h>
#include <pybind11/stl/filesystem.h>

namespace Vexalor::Python
{

using namespace MachineLearning;

namespace
{

double toSeconds(std::uint64_t in_uiMilliseconds)
{
    return static_cast<double>(in_uiMilliseconds) / 1000;
}

/// Patterns that are computed between two looks at signals.
constexpr std::size_t PIECE = 256;

/// Rows of inputs and where their outputs go.
struct Rows
{
    const double* m_pInputs;
    const bool* m_pFirst; ///< null: the state goes on
    double* m_pOutputs;
};

/// False at a row that fails.
bool computeRows(Network& io_network, const Rows& in_rows, std::size_t in_uiEnd, std::size_t& io_uiRow)
{
    const std::size_t uiInputs = io_network.getInputSize();
    const std::size_t uiOutputs = io_network.getOutputSize();
    DoubleVector vOutput;
    for (; io_uiRow < in_uiEnd; ++io_uiRow)
    {
        if (in_rows.m_pFirst != nullptr && in_rows.m_pFirst[io_uiRow] && !io_network.reset())
            return false;
        const double* const pInput = in_rows.m_pInputs + io_uiRow * uiInputs;
        if (!io_network.compute(pInput, pInput + uiInputs, vOutput))
            return false;
        std::copy_n(vOutput.begin(), uiOutputs, in_rows.m_pOutputs + io_uiRow * uiOutputs);
    }
    return true;
}

/// A network tells why once; a fresh one tells it of later rows.
[[noreturn]] void failAt(const DetectorHandle& in_detector, const Rows& in_rows, std::size_t in_uiRow)
{
    std::string strReason = takeReason("");
    if (strReason.empty())
    {
        const std::unique_ptr<Network> pFresh(in_detector.m_pDetector->getNetwork().clone());
        const double* const pInput = in_rows.m_pInputs + in_uiRow * pFresh->getInputSize();
        DoubleVector vOutput;
        callQuietly([&] { return pFresh->compute(pInput, pInput + pFresh->getInputSize(), vOutput); });
        strReason = takeReason("the outputs cannot be computed");
    }
    throw Failure("Row " + std::to_string(in_uiRow) + ": " + strReason);
}

py::array_t<double> compute(DetectorHandle& io_detector, const DoubleArray& in_inputs,
                            const std::optional<BoolArray>& in_first)
{
    const Exclusive use(io_detector.m_bUsed);
    Network& network = *io_detector.m_pNetwork;
    if (in_inputs.ndim() != 2 || in_inputs.shape(1) != static_cast<py::ssize_t>(network.getInputSize()))
        throw py::value_error("inputs must be a matrix of " + std::to_string(network.getInputSize()) +
                              " columns");
    if (in_first && (in_first->ndim() != 1 || in_first->shape(0) != in_inputs.shape(0)))
        throw py::value_error("first must have as many elements as inputs have rows");
    const auto uiRows = static_cast<std::size_t>(in_inputs.shape(0));
    py::array_t<double> outputs({uiRows, network.getOutputSize()});
    const Rows rows{in_inputs.data(), in_first ? in_first->data() : nullptr, outputs.mutable_data()};
    for (std::size_t uiRow = 0; uiRow < uiRows;)
    {
        const std::size_t uiEnd = std::min(uiRows, uiRow + PIECE);
        if (!callQuietly([&] { return computeRows(network, rows, uiEnd, uiRow); }))
            failAt(io_detector, rows, uiRow);
        handMessagesOn();
        checkSignals();
    }
    return outputs;
}

std::unique_ptr<PatternStream> openPatterns(const DetectorHandle& in_detector,
                                            const std::filesystem::path& in_input, bool in_bCached)
{
    Recipe recipe;
    recipe.m_kind = Recipe::Kind::DETECTOR;
    recipe.m_strConfiguration = in_detector.m_strFile;
    recipe.m_strInput = in_input.string();
    recipe.m_bCached = in_bCached;
    return std::make_unique<PatternStream>(recipe);
}

} // namespace

DetectorHandle::DetectorHandle(const std::filesystem::path& in_file)
    : m_strFile(in_file.string())
    , m_pDetector(
          require([&] { return Detector::newFromFile(m_strFile.c_str()); }, "the detector cannot be read"))
    , m_pNetwork(m_pDetector->getNetwork().clone())
{
}

void bindDetectors(py::module_& io_module)
{
    py::class_<DetectorHandle>(
        io_module, "Detector",
        R"(A trained detector: windows, features, scaling, network and classes. Pickles, by the name of its file.)")
        .def(py::init<const std::filesystem::path&>(), py::arg("file"))
        .def_property_readonly(
            "file",
            [](const DetectorHandle& in_detector) { return std::filesystem::path(in_detector.m_strFile); },
            "Its path.")
        .def_property_readonly(
            "classes",
            [](const DetectorHandle& in_detector) { return in_detector.m_pDetector->getClassNames(); },
            "Names of the K outputs.")
        .def_property_readonly(
            "input_size",
            [](const DetectorHandle& in_detector) { return in_detector.m_pNetwork->getInputSize(); },
            "N, of a pattern.")
        .def_property_readonly(
            "has_state", [](const DetectorHandle& in_detector) { return in_detector.m_pNetwork->hasState(); },
            "Whether an output depends on earlier inputs.")
        .def_property_readonly(
            "sampling_rate",
            [](const DetectorHandle& in_detector)
            { return in_detector.m_pDetector->getWindows().m_uiSamplingRate; },
            "Hz; 0: that of the recording, whatever it is.")
        .def_property_readonly(
            "window_length",
            [](const DetectorHandle& in_detector)
            { return toSeconds(in_detector.m_pDetector->getWindows().m_uiWindowLength); },
            "Seconds.")
        .def_property_readonly(
            "window_shift",
            [](const DetectorHandle& in_detector)
            { return toSeconds(in_detector.m_pDetector->getWindows().m_uiWindowShift); },
            "Seconds between the starts of two windows.")
        .def(
            "patterns", &openPatterns, py::arg("input_file"), py::kw_only(), py::arg("cached") = false,
            "The Generator of the patterns of a recording, or of a list of recordings, that it was made for.")
        .def("compute", &compute, py::arg("inputs"), py::arg("first") = py::none(),
             R"(The outputs, shape (n, K), of the inputs of successive patterns, shape (n, N).

first  shape (n,), bool: before these patterns the state is reset; a state goes on from call to call

An input that is not finite raises an Error that names its row; the state is that of the rows before it.)")
        .def(
            "reset",
            [](DetectorHandle& io_detector)
            {
                const Exclusive use(io_detector.m_bUsed);
                require([&] { return io_detector.m_pNetwork->reset(); }, "the network cannot be reset");
            },
            "Back to the state it starts with.")
        .def(py::pickle(
            [](const DetectorHandle& in_detector) { return std::filesystem::path(in_detector.m_strFile); },
            [](const std::filesystem::path& in_file) { return std::make_unique<DetectorHandle>(in_file); }));
}

void bindAudioStream(py::module_& io_module)
{
    py::class_<AudioStream>(
        io_module, "AudioStream",
        R"(Audio of one channel that is classified while it comes in, by detectors or by scripts.)")
        .def(py::init(&AudioStream::create), py::kw_only(), py::arg("detectors") = py::tuple(),
             py::arg("scripts") = py::tuple(), py::arg("rate") = py::none(), py::arg("folder") = ".",
             py::arg("further_scripts") = py::tuple(), py::arg("variable") = "result",
             py::arg("windower") = "dsp/LinearAudioWindowerConfig.xml",
             R"(detectors        each is known by the name of its file without extension
scripts          names without extension; without any the outputs of the detectors are the results
rate             Hz, of the audio; that of the detector or of the windower unless given
folder           where scripts are found
further_scripts  that those need
variable         of each script: its result
windower         configuration of the windows for scripts, below the folder)")
        .def_property_readonly("sampling_rate", &AudioStream::getSamplingRate, "Hz.")
        .def_property_readonly("time", &AudioStream::getTime, "Seconds of audio so far.")
        .def("push", &AudioStream::push, py::arg("samples"),
             R"(The Results of the windows that these samples complete.

samples  shape (n,), any n: floating-point numbers from -1 to 1, or int16

Samples that are not finite are a ValueError, and none of the push is taken. When it raises anything else, also by
Ctrl-C, the samples up to time have been taken: push the rest, which brings the results that were due, or reset.)")
        .def("reset", &AudioStream::reset, "Forgets all audio.");
}

} // namespace Vexalor::Python
