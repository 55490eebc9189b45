#include "MLPatternBatch.h"

#include "MLDataGenerator.h"
#include "quillcast-core/Assertion.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.ml.PatternBatch");

/// Memory for more values than this (32 MiB) is taken as patterns come: a batch may be meant to hold all
/// there are.
constexpr std::size_t VALUES_AT_ONCE = std::size_t(1) << 22;

constexpr double NO_VALUE = std::numeric_limits<double>::quiet_NaN();

/// New memory for so many values, with the first ones of the old.
template <class Value>
void grow(std::unique_ptr<Value[]>& io_pValues, std::size_t in_uiKept, std::size_t in_uiSize)
{
    auto pGrown = std::make_unique_for_overwrite<Value[]>(in_uiSize);
    std::copy_n(io_pValues.get(), in_uiKept, pGrown.get());
    io_pValues = std::move(pGrown);
}

} // namespace

PatternBatch::PatternBatch(std::size_t in_uiCapacity)
    : m_uiCapacity(in_uiCapacity)
    , m_uiPause(in_uiCapacity)
    , m_pMark(new SequenceMark)
{
}

bool PatternBatch::attachTo(DataGenerator& io_generator) const
{
    QC_TRACE("MachineLearning::PatternBatch::attachTo");
    auto* pSequences = dynamic_cast<SequenceDataGenerator*>(&io_generator);
    return pSequences == nullptr || pSequences->setEntityToReset(m_pMark);
}

void PatternBatch::startPass()
{
    clear();
    m_bFailed = false;
    m_pMark->reset();
}

PatternBatch::Rows PatternBatch::take()
{
    Rows rows = std::move(m_rows);
    m_rows = Rows();
    m_uiSize = 0;
    m_uiReserved = 0;
    return rows;
}

bool PatternBatch::addFrom(DataGenerator& io_generator)
{
    if (!QC_CHECK(io_generator.getInput(m_vInput)))
    {
        m_bFailed = true;
        return false;
    }
    if (!io_generator.getTarget(m_vTarget))
        m_vTarget.clear();
    double* pInput = nullptr;
    double* pTarget = nullptr;
    if (!add(m_vInput.size(), m_vTarget.size(), pInput, pTarget))
        return false;
    std::copy_n(m_vInput.begin(), m_vInput.size(), pInput);
    std::copy_n(m_vTarget.begin(), m_vTarget.size(), pTarget);
    return true;
}

/// For the first pattern, one without a target, the first target, a pattern that there is no memory for yet,
/// or one of another size.
bool PatternBatch::prepare(std::size_t in_uiInputSize, std::size_t in_uiTargetSize)
{
    if (!m_bSized)
        m_uiInputSize = in_uiInputSize;
    m_bSized = true;
    if (in_uiInputSize != m_uiInputSize)
        return refuse("input", in_uiInputSize, m_uiInputSize);
    if (m_uiTargetSize == 0 && in_uiTargetSize != 0)
        addTargetColumns(in_uiTargetSize);
    if (in_uiTargetSize != 0 && in_uiTargetSize != m_uiTargetSize)
        return refuse("target", in_uiTargetSize, m_uiTargetSize);
    if (m_uiSize == m_uiReserved)
        reserve();
    if (in_uiTargetSize == 0)
        std::fill_n(m_rows.m_pTargets.get() + m_uiSize * m_uiTargetSize, m_uiTargetSize, NO_VALUE);
    return true;
}

bool PatternBatch::refuse(const char* in_what, std::size_t in_uiSize, std::size_t in_uiExpected)
{
    QC_ERROR("The " << in_what << " of a pattern has size " << in_uiSize << ", those before it "
                    << in_uiExpected << ": they do not fit into one matrix");
    m_bFailed = true;
    return false;
}

void PatternBatch::reserve()
{
    const std::size_t uiAtOnce =
        std::max<std::size_t>(1, VALUES_AT_ONCE / (m_uiInputSize + m_uiTargetSize + 1));
    const std::size_t uiRows =
        std::min(std::max(m_uiSize + 1, m_uiCapacity), std::max(uiAtOnce, 2 * m_uiSize));
    grow(m_rows.m_pInputs, m_uiSize * m_uiInputSize, uiRows * m_uiInputSize);
    grow(m_rows.m_pTargets, m_uiSize * m_uiTargetSize, uiRows * m_uiTargetSize);
    grow(m_rows.m_pValid, m_uiSize, uiRows);
    grow(m_rows.m_pFirst, m_uiSize, uiRows);
    m_uiReserved = uiRows;
}

/// The patterns so far have no target.
void PatternBatch::addTargetColumns(std::size_t in_uiTargetSize)
{
    m_rows.m_pTargets = std::make_unique_for_overwrite<double[]>(m_uiReserved * in_uiTargetSize);
    m_uiTargetSize = in_uiTargetSize;
    std::fill_n(m_rows.m_pTargets.get(), m_uiSize * m_uiTargetSize, NO_VALUE);
}

bool DataGenerator::generateBatch(PatternBatch& io_batch)
{
    while (!io_batch.isFull())
    {
        if (!generateNext() || !io_batch.addFrom(*this))
            return false;
    }
    return true;
}

} // namespace Vexalor::MachineLearning
