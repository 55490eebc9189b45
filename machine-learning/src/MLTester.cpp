#include "MLTester.h"

#include "quillcast-core/Assertion.h"
#include "quillcast-core/ByteArchive.h"

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <limits>
#include <ostream>
#include <sstream>
#include <string_view>

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.ml.tester");

/// Gives a stream's number formatting back when it goes.
class FormatSaver
{
public:
    explicit FormatSaver(std::ostream& io_stream)
        : m_stream(io_stream)
        , m_flags(io_stream.flags())
        , m_precision(io_stream.precision())
    {
    }
    ~FormatSaver()
    {
        m_stream.flags(m_flags);
        m_stream.precision(m_precision);
    }
    FormatSaver(const FormatSaver&) = delete;
    FormatSaver& operator=(const FormatSaver&) = delete;

private:
    std::ostream& m_stream;
    std::ios_base::fmtflags m_flags;
    std::streamsize m_precision;
};

/// A nan without a sign, which prints the same on every machine.
double withoutSignOfNan(double in_dValue)
{
    return std::isnan(in_dValue) ? std::numeric_limits<double>::quiet_NaN() : in_dValue;
}

double divide(double in_dDividend, std::uint64_t in_uiDivisor)
{
    return withoutSignOfNan(in_dDividend / static_cast<double>(in_uiDivisor));
}

/// "count/total (percentage%)"
void writeShare(std::ostream& out_stream, std::uint64_t in_uiCount, std::uint64_t in_uiTotal)
{
    out_stream << in_uiCount << '/' << in_uiTotal << " (" << std::fixed << std::setprecision(2)
               << divide(static_cast<double>(in_uiCount * 100), in_uiTotal) << "%)";
}

} // namespace

void MLTester::TesterStats::addErrorFunction(CountedObjPtr<ErrorFunction> in_pErrorFunc)
{
    QC_TRACE("MLTester::TesterStats::addErrorFunction");
    if (!QC_CHECK(m_uiNumData == 0))
        return;
    if (!QC_CHECK_TEXT("! in_pErrorFunc.isNull()", !in_pErrorFunc.isNull())) // text kept
        return;
    m_vErrorFunction.push_back(in_pErrorFunc);
    m_vCumulError.push_back(0.0);
    m_vErrors.emplace_back();
}

bool MLTester::TesterStats::update(const DoubleVector& in_vOutput, const DoubleVector& in_vTarget)
{
    QC_TRACE("MLTester::TesterStats::update");
    if (!QC_CHECK(m_vErrorFunction.size() == m_vCumulError.size()))
        return true;
    for (std::size_t i = 0; i < m_vErrorFunction.size(); ++i)
    {
        if (!QC_CHECK_TEXT("! errorFuncIter->isNull()", !m_vErrorFunction[i].isNull())) // text kept
            return true;
        const double dError = (*m_vErrorFunction[i])(in_vTarget, in_vOutput);
        m_vCumulError[i] += dError;
        if (m_bErrorsKept)
            m_vErrors[i].push_back(dError);
    }
    ++m_uiNumData;
    if (in_vOutput.size() != in_vTarget.size())
        ++m_uiNumMisfits;
    return true;
}

void MLTester::TesterStats::noteOutput(const DoubleVector& in_vOutput)
{
    ++m_uiNumOutputs;
    if (std::any_of(in_vOutput.begin(), in_vOutput.end(), [](double in_d) { return std::isnan(in_d); }))
        ++m_uiNumNanOutputs;
}

void MLTester::TesterStats::reset()
{
    QC_TRACE("MLTester::TesterStats::reset");
    m_uiNumData = 0;
    m_uiNumMisfits = 0;
    m_uiNumOutputs = 0;
    m_uiNumNanOutputs = 0;
    m_vCumulError.assign(m_vCumulError.size(), 0.0);
    for (std::vector<double>& vErrors : m_vErrors)
        vErrors.clear();
}

void MLTester::TesterStats::keepErrors(bool in_bKeep)
{
    QC_TRACE("MLTester::TesterStats::keepErrors");
    if (!QC_CHECK(!in_bKeep || m_uiNumData == 0))
        return;
    m_bErrorsKept = in_bKeep;
    for (std::vector<double>& vErrors : m_vErrors)
        std::vector<double>().swap(vErrors);
}

bool MLTester::TesterStats::merge(const TesterStats& in_next)
{
    QC_TRACE("MLTester::TesterStats::merge");
    const auto haveOneName = [](const auto& in_pLeft, const auto& in_pRight)
    {
        return std::string_view(in_pLeft->getErrFuncName()) == in_pRight->getErrFuncName();
    };
    if (!std::equal(m_vErrorFunction.begin(), m_vErrorFunction.end(), in_next.m_vErrorFunction.begin(),
                    in_next.m_vErrorFunction.end(), haveOneName))
    {
        QC_ERROR("Errors of different functions cannot be added");
        return false;
    }
    for (std::size_t i = 0; i < m_vCumulError.size(); ++i)
    {
        if (in_next.m_bErrorsKept)
            for (const double dError : in_next.m_vErrors[i])
                m_vCumulError[i] += dError;
        else
            m_vCumulError[i] += in_next.m_vCumulError[i];
        if (m_bErrorsKept)
            m_vErrors[i].insert(m_vErrors[i].end(), in_next.m_vErrors[i].begin(), in_next.m_vErrors[i].end());
    }
    m_bErrorsKept = m_bErrorsKept && in_next.m_bErrorsKept;
    m_uiNumData += in_next.m_uiNumData;
    m_uiNumMisfits += in_next.m_uiNumMisfits;
    m_uiNumOutputs += in_next.m_uiNumOutputs;
    m_uiNumNanOutputs += in_next.m_uiNumNanOutputs;
    return true;
}

void MLTester::TesterStats::save(ByteWriter& io_bytes) const
{
    QC_TRACE("MLTester::TesterStats::save");
    std::vector<std::string> vNames;
    for (const CountedObjPtr<ErrorFunction>& pFunction : m_vErrorFunction)
        vNames.emplace_back(pFunction->getErrFuncName());
    io_bytes(vNames);
    exchangeNumbers(*this, io_bytes);
}

bool MLTester::TesterStats::load(ByteReader& io_bytes)
{
    QC_TRACE("MLTester::TesterStats::load");
    std::vector<std::string> vNames;
    io_bytes(vNames);
    if (!takeFunctions(vNames))
        return false;
    exchangeNumbers(*this, io_bytes);
    if (!io_bytes.hasFailed() && isConsistent())
        return true;
    QC_ERROR("The bytes are no statistics of a test");
    return false;
}

bool MLTester::TesterStats::takeFunctions(const std::vector<std::string>& in_vNames)
{
    m_vErrorFunction.resize(in_vNames.size());
    for (std::size_t i = 0; i < in_vNames.size(); ++i)
    {
        CountedObjPtr<ErrorFunction>& pFunction = m_vErrorFunction[i];
        if (pFunction.isNull() || in_vNames[i] != pFunction->getErrFuncName())
            pFunction = ErrorFunction::newErrorFunctionOfName(in_vNames[i]);
        if (!pFunction.isNull())
            continue;
        QC_ERROR("There is no error function of that name: " << in_vNames[i]);
        return false;
    }
    return true;
}

/// Errors are kept of all patterns, or of none.
bool MLTester::TesterStats::isConsistent() const
{
    const std::uint64_t uiKept = m_bErrorsKept ? m_uiNumData : 0;
    return m_vCumulError.size() == m_vErrorFunction.size() && m_vErrors.size() == m_vErrorFunction.size() &&
           std::all_of(m_vErrors.begin(), m_vErrors.end(),
                       [&](const std::vector<double>& in_vErrors) { return in_vErrors.size() == uiKept; });
}

std::ostream& MLTester::TesterStats::write(std::ostream& out_stream) const
{
    QC_TRACE("MLTester::TesterStats::write");
    const FormatSaver saver(out_stream);
    out_stream << "Number of data pattern(s) processed  : " << m_uiNumData; // two blanks: text kept
    if (!QC_CHECK(m_vErrorFunction.size() == m_vCumulError.size()))
        return out_stream;
    for (std::size_t i = 0; i < m_vErrorFunction.size(); ++i)
        out_stream << '\n'
                   << m_vErrorFunction[i]->getErrFuncName() << " = " << std::scientific
                   << withoutSignOfNan(m_vCumulError[i]) << " (" << divide(m_vCumulError[i], m_uiNumData)
                   << " per pattern)";
    return out_stream;
}

bool MLTester::ClassifierTesterStats::update(const DoubleVector& in_vOutput, const DoubleVector& in_vTarget)
{
    QC_TRACE("MLTester::ClassifierTesterStats::update");
    const bool bUpdated = TesterStats::update(in_vOutput, in_vTarget);
    return m_classificationError.isInError(in_vTarget, in_vOutput) && bUpdated;
}

void MLTester::ClassifierTesterStats::reset()
{
    QC_TRACE("MLTester::ClassifierTesterStats::reset");
    TesterStats::reset();
    m_classificationError.reset();
}

bool MLTester::ClassifierTesterStats::merge(const TesterStats& in_next)
{
    QC_TRACE("MLTester::ClassifierTesterStats::merge");
    const auto* pNext = dynamic_cast<const ClassifierTesterStats*>(&in_next);
    if (pNext == nullptr)
    {
        QC_ERROR("Statistics with and without classes cannot be added");
        return false;
    }
    // A copy, so that a refusal changes nothing.
    ClassificationError merged = m_classificationError;
    if (!merged.merge(pNext->m_classificationError) || !TesterStats::merge(in_next))
        return false;
    m_classificationError = merged;
    return true;
}

void MLTester::ClassifierTesterStats::save(ByteWriter& io_bytes) const
{
    QC_TRACE("MLTester::ClassifierTesterStats::save");
    TesterStats::save(io_bytes);
    io_bytes(m_classificationError);
}

bool MLTester::ClassifierTesterStats::load(ByteReader& io_bytes)
{
    QC_TRACE("MLTester::ClassifierTesterStats::load");
    if (!TesterStats::load(io_bytes))
        return false;
    io_bytes(m_classificationError);
    if (io_bytes.hasFailed())
        QC_ERROR("The bytes are no statistics of a classifier");
    return !io_bytes.hasFailed();
}

std::ostream& MLTester::ClassifierTesterStats::write(std::ostream& out_stream) const
{
    QC_TRACE("MLTester::ClassifierTesterStats::write");
    const FormatSaver saver(out_stream);
    const ClassificationError& error = m_classificationError;
    const std::vector<std::uint64_t>& vNumOfEachClass = error.getNumOfEachClass();
    TesterStats::write(out_stream);
    out_stream << '\n' << ClassificationError::sGetErrFuncName() << " = ";
    writeShare(out_stream, error.getNumError(), error.getNumClassified());
    for (std::size_t i = 0; i < vNumOfEachClass.size(); ++i)
    {
        out_stream << "\nNumber of patterns of class " << i << " = ";
        writeShare(out_stream, vNumOfEachClass[i], getNumData());
    }
    out_stream << "\nNumber of patterns not belonging to a specific class = ";
    writeShare(out_stream, getNumData() - error.getNumClassified(), getNumData());
    if (vNumOfEachClass.size() == 2)
    {
        out_stream << "\nNumber of false positive = ";
        writeShare(out_stream, error.getNumFalsePositive(), getNumData());
        out_stream << "\nNumber of false negative = ";
        writeShare(out_stream, error.getNumFalseNegative(), getNumData());
    }
    return out_stream;
}

namespace
{

void logFailedPattern(DataGenerator& in_dataGen, const DoubleVector& in_vTarget,
                      const DoubleVector& in_vOutput)
{
    std::ostringstream status;
    in_dataGen.dumpStatus(status);
    QC_INFO("Classification failed: " << status.str());
    QC_INFO("\tTarget was: " << in_vTarget);
    QC_INFO("\tComputed output was: " << in_vOutput);
}

} // namespace

bool MLTester::test(const TestedEntity& in_tested, DataGenerator& in_dataGen, TesterStats& io_stats,
                    bool in_bPrintError, PatternObserver* io_pObserver) const
{
    QC_TRACE("NeuralNetwork::MLTester::test"); // text kept
    if (!in_dataGen.gotoStart())
    {
        QC_ERROR("Cannot go to the start of the data set");
        return false;
    }
    DoubleVector vInput;
    DoubleVector vOutput;
    DoubleVector vTarget;
    while (in_dataGen.generateNext())
    {
        if (!QC_CHECK(in_dataGen.getInput(vInput)))
            return false;
        if (!QC_CHECK(in_tested.compute(vInput.begin(), vInput.end(), vOutput)))
            return false;
        io_stats.noteOutput(vOutput);
        QC_DEBUG(vInput << " --> " << vOutput);
        QC_INFO("Computed output: " << vOutput);
        const bool bHasTarget = in_dataGen.getTarget(vTarget);
        if (io_pObserver != nullptr && !io_pObserver->observe(vOutput, bHasTarget ? &vTarget : nullptr))
            return false;
        if (!bHasTarget)
            continue;
        QC_DEBUG("\tTarget : " << vTarget);
        if (!io_stats.update(vOutput, vTarget) && in_bPrintError)
            logFailedPattern(in_dataGen, vTarget, vOutput);
    }
    if (io_stats.getNumNanOutputs() > 0)
        QC_WARN("Outputs with values that are no numbers: " << io_stats.getNumNanOutputs() << " of "
                                                            << io_stats.getNumOutputs());
    if (!in_dataGen.endedCleanly())
        QC_WARN("The data set stopped before its end");
    return true;
}

} // namespace Vexalor::MachineLearning
