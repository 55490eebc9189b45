#include "Arrays.h"
#include "Module.h"
#include "PatternStream.h"
#include "Scaling.h"
#include "common/Shard.h"
#include "detector/Detector.h"
#include "quillcast-core/InputFile.h"

#include <filesystem>
#include <limits>
#include <pybind11/stl.h>
#include <pybind11/stl/filesystem.h>
#include <sstream>
#include <variant>

namespace Vexalor::Python
{

using namespace MachineLearning;

namespace
{

/// Patterns that the iteration one by one reads at a time.
constexpr std::size_t READ_AHEAD = 64;

/// The batches of one pass.
class BatchIterator
{
public:
    BatchIterator(py::object in_generator, std::size_t in_uiSize)
        : m_generator(std::move(in_generator))
        , m_stream(m_generator.cast<PatternStream&>())
        , m_uiSize(in_uiSize)
        , m_uiPass(m_stream.startPass())
    {
    }

    /// None at the end.
    py::object getNext() { return m_stream.nextBatch(m_uiPass, m_uiSize); }

    py::object next()
    {
        const Inside inside;
        py::object batch = getNext();
        if (batch.is_none())
            throw py::stop_iteration();
        return batch;
    }

private:
    py::object m_generator; ///< which has to live as long
    PatternStream& m_stream;
    std::size_t m_uiSize;
    std::uint64_t m_uiPass;
};

/// The patterns of one pass, as rows of batches.
class PatternIterator
{
public:
    explicit PatternIterator(py::object in_generator)
        : m_batches(std::move(in_generator), READ_AHEAD)
    {
    }

    py::object next()
    {
        const Inside inside;
        if (m_uiNext == m_uiSize)
            readAhead();
        const auto index = static_cast<py::ssize_t>(m_uiNext++);
        const auto isSet = [&](int in_iFlags)
        {
            return *static_cast<const bool*>(py::array(m_batch[in_iFlags]).data(index));
        };
        const auto row = [&](int in_iMatrix)
        {
            return py::object(m_batch[in_iMatrix][py::int_(index)]);
        };
        return imports().m_pattern(row(0), isSet(2) ? row(1) : py::none(), isSet(3));
    }

private:
    void readAhead()
    {
        const py::object batch = m_batches.getNext();
        if (batch.is_none())
            throw py::stop_iteration();
        m_batch = batch;
        m_uiNext = 0;
        m_uiSize = py::len(m_batch[0]);
    }

    BatchIterator m_batches;
    py::tuple m_batch;
    std::size_t m_uiNext = 0;
    std::size_t m_uiSize = 0;
};

constexpr std::pair<const char*, Recipe::Unit> UNITS[] = {{"sequence", Recipe::Unit::SEQUENCE},
                                                          {"pattern", Recipe::Unit::PATTERN}};

Recipe::Unit findUnit(const std::optional<std::string>& in_unit)
{
    if (!in_unit)
        return Recipe::Unit::STRETCH;
    for (const auto& [name, unit] : UNITS)
        if (*in_unit == name)
            return unit;
    throw py::value_error("by must be 'sequence' or 'pattern'");
}

void requireLearnt(const Recipe& in_recipe, const std::string& in_strOtherwise)
{
    if (in_recipe.m_scaling && in_recipe.m_scaling->m_bLearnScalingParameters)
        throw Failure(in_strOtherwise + ": give the generator one that Scaling.learn has learnt");
}

std::unique_ptr<PatternStream> takeShard(const PatternStream& in_stream, std::uint64_t in_uiIndex,
                                         std::uint64_t in_uiCount, const std::optional<std::string>& in_unit)
{
    if (in_uiIndex >= in_uiCount)
        throw py::value_error("the index of a shard is less than their count");
    Recipe recipe = in_stream.getRecipe();
    if (recipe.m_uiShares != 1)
        throw py::value_error("the generator is a shard already");
    requireLearnt(recipe, "a shard would learn the scaling from its own patterns");
    recipe.m_uiShare = in_uiIndex;
    recipe.m_uiShares = in_uiCount;
    recipe.m_unit = findUnit(in_unit);
    if (recipe.m_unit == Recipe::Unit::STRETCH && in_uiCount > Shard::MAX_SHARDS)
        throw py::value_error("more than " + std::to_string(Shard::MAX_SHARDS) + " shards");
    return std::make_unique<PatternStream>(recipe);
}

/// Whether a file is that of a detector, by its beginning.
bool isDetectorFile(const std::string& in_strFile)
{
    InputFile file;
    std::string strBeginning(4096, '\0');
    if (!file.openRegular(in_strFile.c_str()))
        return false;
    strBeginning.resize(file.read(strBeginning.data(), strBeginning.size()));
    return Detector::isDetector(strBeginning);
}

/// None, a Scaling, or the file of one, which may say that it is to be learnt.
using ScalingArgument = std::variant<std::monostate, Scaling, std::filesystem::path>;

std::optional<ScalingDataGenerator::Config> toConfig(const ScalingArgument& in_scaling)
{
    if (const auto* pFile = std::get_if<std::filesystem::path>(&in_scaling))
        return loadScalingConfig(*pFile);
    const auto* pScaling = std::get_if<Scaling>(&in_scaling);
    if (pScaling == nullptr)
        return {};
    ScalingDataGenerator::Config config;
    config.m_scalerConfig = *pScaling;
    return config;
}

std::unique_ptr<PatternStream> open(const std::filesystem::path& in_configuration,
                                    const std::optional<std::filesystem::path>& in_input, bool in_bCached,
                                    const ScalingArgument& in_scaling)
{
    Recipe recipe;
    recipe.m_strConfiguration = in_configuration.string();
    recipe.m_strInput = in_input ? in_input->string() : std::string();
    recipe.m_kind =
        isDetectorFile(recipe.m_strConfiguration) ? Recipe::Kind::DETECTOR : Recipe::Kind::CONFIGURATION;
    recipe.m_bCached = in_bCached;
    recipe.m_scaling = toConfig(in_scaling);
    return std::make_unique<PatternStream>(recipe);
}

std::unique_ptr<PatternStream> openPatterns(const std::filesystem::path& in_file, bool in_bCached,
                                            const ScalingArgument& in_scaling)
{
    Recipe recipe;
    recipe.m_kind = Recipe::Kind::PATTERN_FILE;
    recipe.m_strInput = in_file.string();
    recipe.m_bCached = in_bCached;
    recipe.m_scaling = toConfig(in_scaling);
    return std::make_unique<PatternStream>(recipe);
}

/// How to make the generator again, in another process.
py::tuple getState(const PatternStream& in_stream)
{
    const Recipe& recipe = in_stream.getRecipe();
    requireLearnt(recipe, "the scaling is still to be learnt");
    const py::object scaling = recipe.m_scaling ? py::cast(recipe.m_scaling->m_scalerConfig) : py::none();
    return py::make_tuple(static_cast<int>(recipe.m_kind), std::filesystem::path(recipe.m_strConfiguration),
                          std::filesystem::path(recipe.m_strInput), recipe.m_bCached, scaling,
                          recipe.m_uiShare, recipe.m_uiShares, static_cast<int>(recipe.m_unit));
}

std::unique_ptr<PatternStream> fromState(const py::tuple& in_state)
{
    Recipe recipe;
    recipe.m_kind = static_cast<Recipe::Kind>(in_state[0].cast<int>());
    recipe.m_strConfiguration = in_state[1].cast<std::filesystem::path>().string();
    recipe.m_strInput = in_state[2].cast<std::filesystem::path>().string();
    recipe.m_bCached = in_state[3].cast<bool>();
    recipe.m_scaling = toConfig(in_state[4].cast<ScalingArgument>());
    recipe.m_uiShare = in_state[5].cast<std::uint64_t>();
    recipe.m_uiShares = std::max<std::uint64_t>(in_state[6].cast<std::uint64_t>(), 1);
    recipe.m_unit = static_cast<Recipe::Unit>(in_state[7].cast<int>());
    return std::make_unique<PatternStream>(recipe);
}

/// Matrices of all patterns of a pass.
py::object readAll(py::object in_generator)
{
    BatchIterator batches(std::move(in_generator), std::numeric_limits<std::size_t>::max());
    const py::object all = batches.getNext();
    if (all.is_none())
        throw Failure("there are no patterns");
    if (!batches.getNext().is_none())
        throw Failure("there are patterns after the end");
    return all;
}

std::string getStatus(PatternStream& io_stream)
{
    const Exclusive use(io_stream.getUse());
    std::ostringstream status;
    io_stream.getGenerator()->dumpStatus(status);
    return status.str();
}

} // namespace

void bindGenerators(py::module_& io_module)
{
    py::class_<BatchIterator>(io_module, "BatchIterator", "The batches of one pass over a generator.")
        .def("__iter__", [](py::object in_self) { return in_self; })
        .def("__next__", &BatchIterator::next);
    py::class_<PatternIterator>(io_module, "PatternIterator", "The patterns of one pass over a generator.")
        .def("__iter__", [](py::object in_self) { return in_self; })
        .def("__next__", &PatternIterator::next);
    py::class_<PatternStream>(io_module, "Generator",
                              R"(A stream of patterns: open, open_patterns and Detector.patterns make one.

Iterating over it gives the patterns of a pass from its start one by one, as Pattern. A later pass ends an
earlier one. Used by one thread at a time. In a forked process files are opened anew with the next pass.
Pickles, by the names of its files.)")
        .def("__iter__", [](py::object in_self) { return PatternIterator(std::move(in_self)); })
        .def(
            "batches",
            [](py::object in_self, std::size_t in_uiSize)
            {
                if (in_uiSize == 0)
                    throw py::value_error("a batch holds one pattern at least");
                return BatchIterator(std::move(in_self), in_uiSize);
            },
            py::arg("size") = 1024,
            R"(A pass from the start in Batches of so many patterns; the last one may be smaller.

All inputs have one size, and so have all targets: a pattern of another size, and a stream that stops before
its end, raise an Error after the batches before.)")
        .def("read", &readAll, "All patterns of a pass as one Batch.")
        .def("count", &PatternStream::count, "How many patterns a pass has, and how many of them a target.")
        .def("shard", &takeShard, py::arg("index"), py::arg("count"), py::arg("by") = py::none(),
             R"(The index-th, from 0, of count generators that deliver each pattern once, together.

by  unless given: a stretch of a list of recordings, of about as many bytes as the others, and nothing else of it
    is read, so that successive shards deliver what the whole does; of what is no list as "sequence"
    "sequence": whole sequences in turn, such as recordings
    "pattern": every count-th pattern, for files without marks of sequences, each the first of a sequence)")
        .def_property_readonly("status", &getStatus, "Where it is, as text.")
        .def(py::pickle(&getState, &fromState));
    io_module.def("open", &open, py::arg("configuration"), py::arg("input_file") = py::none(), py::kw_only(),
                  py::arg("cached") = false, py::arg("scaling") = py::none(), R"(Opens a generator.

configuration  file of a generator's configuration, or of a detector
input_file     recording, list of recordings or pattern file that it reads
cached         keep the patterns of the first complete pass in memory
scaling        a Scaling, or the file of one; such a file may say that it is to be learnt in the first pass)");
    io_module.def("open_patterns", &openPatterns, py::arg("file"), py::kw_only(), py::arg("cached") = false,
                  py::arg("scaling") = py::none(),
                  "Opens a pattern file, text or binary; otherwise as open.");
}

} // namespace Vexalor::Python
