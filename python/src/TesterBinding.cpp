#include "Arrays.h"
#include "DetectorHandle.h"
#include "Library.h"
#include "MLTester.h"
#include "Module.h"
#include "PatternStream.h"
#include "quillcast-core/ByteArchive.h"

#include <memory>
#include <optional>
#include <pybind11/stl.h>
#include <sstream>

namespace Vexalor::Python
{

using namespace MachineLearning;

namespace
{

using TesterStats = MLTester::TesterStats;

/// Something that Python calls: an array of an input gives an array of the output. An exception of it goes
/// through the library, back to who called the test.
class CalledEntity final
    : public MLTester::TestedEntity
    , public virtual Resettable
{
public:
    explicit CalledEntity(const py::object& in_entity)
        : m_entity(in_entity)
        , m_bResettable(py::hasattr(in_entity, "reset"))
    {
    }

    bool compute(const double* in_begin, const double* in_end, DoubleVector& out_vOutput) const override
    {
        checkSignals();
        const py::gil_scoped_acquire lock;
        const py::object output =
            m_entity(py::array_t<double>(static_cast<py::ssize_t>(in_end - in_begin), in_begin));
        out_vOutput = toVector(DoubleArray(output), "the output of the entity");
        return true;
    }

    bool reset() override
    {
        const py::gil_scoped_acquire lock;
        if (m_bResettable)
            m_entity.attr("reset")();
        return true;
    }

private:
    py::object m_entity;
    bool m_bResettable;
};

/// What is tested; the two are one object.
struct Entity
{
    CountedObjPtr<MLTester::TestedEntity> m_pTested;
    Handle<Resettable, ReferenceCount> m_pToReset;
};

Entity makeEntity(const py::object& in_entity)
{
    if (py::isinstance<DetectorHandle>(in_entity))
    {
        const CountedObjPtr<Network> pNetwork(
            in_entity.cast<const DetectorHandle&>().m_pDetector->getNetwork().clone());
        return {pNetwork, pNetwork};
    }
    if (!PyCallable_Check(in_entity.ptr()))
        throw py::type_error("the entity must be a Detector, or be called with an input");
    const CountedObjPtr<CalledEntity> pCalled(new CalledEntity(in_entity));
    return {pCalled, pCalled};
}

/// With the display names of its error measures.
struct Statistics
{
    std::unique_ptr<TesterStats> m_pStats;
    std::vector<std::string> m_vNames;
    bool m_bClassification = false;
    mutable bool m_bUsed = false; ///< the statistics
};

Statistics makeStatistics(const std::vector<std::string>& in_vErrors, bool in_bClassification)
{
    Statistics statistics;
    statistics.m_bClassification = in_bClassification;
    if (in_bClassification)
        statistics.m_pStats = std::make_unique<MLTester::ClassifierTesterStats>();
    else
        statistics.m_pStats = std::make_unique<TesterStats>();
    for (const std::string& strError : in_vErrors)
    {
        const auto type = ErrorFunction::parseErrorFuncType(strError.c_str());
        if (!type.isValid())
            throw py::value_error("there is no error measure '" + strError + "'");
        const auto pFunction = ErrorFunction::newErrorFunction(type.getValue());
        statistics.m_pStats->addErrorFunction(pFunction);
        statistics.m_vNames.emplace_back(pFunction->getErrFuncName());
    }
    return statistics;
}

Statistics test(PatternStream& io_stream, const py::object& in_entity,
                const std::vector<std::string>& in_vErrors, bool in_bClassification)
{
    Statistics statistics = makeStatistics(in_vErrors, in_bClassification);
    const Entity entity = makeEntity(in_entity);
    const Exclusive use(io_stream.getUse());
    const CountedObjPtr<DataGenerator> pGenerator = io_stream.newInterruptible();
    require(
        [&]
        {
            auto* pSequences = dynamic_cast<SequenceDataGenerator*>(pGenerator.get());
            return pSequences->setEntityToReset(entity.m_pToReset) &&
                   entity.m_pTested->configure(*pGenerator) &&
                   MLTester().test(*entity.m_pTested, *pGenerator, *statistics.m_pStats, false) &&
                   pGenerator->endedCleanly();
        },
        "the test failed");
    return statistics;
}

/// Of the arrays that a network and a generator have made.
struct Rows
{
    std::size_t m_uiSize;
    const double* m_pOutputs;
    std::size_t m_uiOutputSize;
    const double* m_pTargets;
    std::size_t m_uiTargetSize;
    const bool* m_pValid; ///< null: all have a target
};

bool addRows(const Rows& in_rows, TesterStats& io_stats)
{
    DoubleVector vOutput;
    DoubleVector vTarget;
    for (std::size_t i = 0; i < in_rows.m_uiSize; ++i)
    {
        const double* const pOutput = in_rows.m_pOutputs + i * in_rows.m_uiOutputSize;
        vOutput.assign(pOutput, pOutput + in_rows.m_uiOutputSize);
        io_stats.noteOutput(vOutput);
        if (in_rows.m_pValid != nullptr && !in_rows.m_pValid[i])
            continue;
        const double* const pTarget = in_rows.m_pTargets + i * in_rows.m_uiTargetSize;
        vTarget.assign(pTarget, pTarget + in_rows.m_uiTargetSize);
        io_stats.update(vOutput, vTarget);
    }
    return true;
}

void update(const Statistics& in_statistics, const DoubleArray& in_outputs, const DoubleArray& in_targets,
            const std::optional<BoolArray>& in_valid)
{
    if (in_outputs.ndim() != 2 || in_targets.ndim() != 2 || in_outputs.shape(0) != in_targets.shape(0) ||
        (in_valid && (in_valid->ndim() != 1 || in_valid->shape(0) != in_outputs.shape(0))))
        throw py::value_error(
            "outputs and targets must be matrices of as many rows, valid has an element a row");
    const Exclusive use(in_statistics.m_bUsed);
    const Rows rows{static_cast<std::size_t>(in_outputs.shape(0)), in_outputs.data(),
                    static_cast<std::size_t>(in_outputs.shape(1)), in_targets.data(),
                    static_cast<std::size_t>(in_targets.shape(1)), in_valid ? in_valid->data() : nullptr};
    call([&] { return addRows(rows, *in_statistics.m_pStats); });
}

void merge(const Statistics& in_statistics, const Statistics& in_next)
{
    if (&in_statistics == &in_next)
        throw py::value_error("statistics are not merged with themselves");
    const Exclusive use(in_statistics.m_bUsed);
    const Exclusive useOfNext(in_next.m_bUsed);
    if (!in_statistics.m_pStats->merge(*in_next.m_pStats))
        fail("the statistics are of different kinds");
    handMessagesOn();
}

py::tuple getState(const Statistics& in_statistics)
{
    const Exclusive use(in_statistics.m_bUsed);
    ByteWriter bytes;
    in_statistics.m_pStats->save(bytes);
    return py::make_tuple(in_statistics.m_vNames, in_statistics.m_bClassification,
                          py::bytes(bytes.getBytes()));
}

Statistics fromState(const py::tuple& in_state)
{
    Statistics statistics = makeStatistics({}, in_state[1].cast<bool>());
    statistics.m_vNames = in_state[0].cast<std::vector<std::string>>();
    const auto strBytes = in_state[2].cast<std::string>();
    ByteReader bytes(strBytes);
    if (!statistics.m_pStats->load(bytes) || !bytes.isAtEnd())
        fail("the bytes are no statistics");
    return statistics;
}

/// Of the errors of all patterns, by the names of the measures.
py::dict getSums(const Statistics& in_statistics)
{
    const Exclusive use(in_statistics.m_bUsed);
    py::dict sums;
    for (std::size_t i = 0; i < in_statistics.m_vNames.size(); ++i)
        sums[py::str(in_statistics.m_vNames[i])] = in_statistics.m_pStats->getCumulError(i);
    return sums;
}

std::string toReport(const Statistics& in_statistics)
{
    const Exclusive use(in_statistics.m_bUsed);
    std::ostringstream report;
    report << *in_statistics.m_pStats;
    return report.str();
}

template <auto getter>
std::uint64_t getCount(const Statistics& in_statistics)
{
    const Exclusive use(in_statistics.m_bUsed);
    return (in_statistics.m_pStats.get()->*getter)();
}

} // namespace

void bindTester(py::module_& io_module)
{
    py::class_<Statistics>(io_module, "Statistics",
                           R"(What a test found; str gives the report of ml-tester.)")
        .def(
            py::init(&makeStatistics), py::arg("errors") = py::tuple(), py::kw_only(),
            py::arg("classification") = false,
            R"(errors          error measures by their keywords: "mse", "lse", "sse", "ce", "mce", or their long names
classification  count what was taken for another class: the one element of the target that is 1 is the class)")
        .def("update", &update, py::arg("outputs"), py::arg("targets"), py::arg("valid") = py::none(),
             R"(Adds patterns, all of them: Ctrl-C is seen afterwards.

outputs, targets  shape (n, K)
valid             shape (n,), bool: which patterns have a target; all unless given)")
        .def_property_readonly("patterns", &getCount<&TesterStats::getNumData>, "Patterns with a target.")
        .def_property_readonly("misfits", &getCount<&TesterStats::getNumMisfits>,
                               "Those of them whose output and target differ in size.")
        .def_property_readonly("outputs", &getCount<&TesterStats::getNumOutputs>, "Outputs, of all patterns.")
        .def_property_readonly("nan_outputs", &getCount<&TesterStats::getNumNanOutputs>,
                               "Those of them with a nan.")
        .def_property_readonly("wrong", &getCount<&TesterStats::getNumError>,
                               "Patterns taken for another class.")
        .def_property_readonly("sums", &getSums,
                               "Of the errors of all patterns, by the names of the measures.")
        .def("merge", &merge, py::arg("next"),
             "Adds what a test of other patterns found: an Error when it was for other errors. Sums are "
             "those of one "
             "test but for rounding.")
        .def("__str__", &toReport)
        .def(py::pickle(&getState, &fromState));
    io_module.def("test", &test, py::arg("generator"), py::arg("entity"), py::kw_only(),
                  py::arg("errors") = py::tuple(), py::arg("classification") = false,
                  R"(Runs what was trained over a pass of a generator and returns the Statistics.

entity  a Detector, or anything that is called with an input, shape (N,), and gives an output, shape (K,); its
        method reset, if it has one, is called at the start and before each sequence
The others are those of Statistics.)");
}

} // namespace Vexalor::Python
