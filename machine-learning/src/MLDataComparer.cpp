#include "MLDataComparer.h"

#include "quillcast-core/Logger.h"

#include <algorithm>
#include <bit>
#include <iomanip>

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.ml.DataConvertApplication");

bool isSameValue(const DoubleVector& in_vLeft, const DoubleVector& in_vRight)
{
    return in_vLeft == in_vRight;
}

bool isSameBits(const DoubleVector& in_vLeft, const DoubleVector& in_vRight)
{
    const auto sameBits = [](double in_dLeft, double in_dRight)
    {
        return std::bit_cast<std::uint64_t>(in_dLeft) == std::bit_cast<std::uint64_t>(in_dRight);
    };
    return std::equal(in_vLeft.begin(), in_vLeft.end(), in_vRight.begin(), in_vRight.end(), sameBits);
}

/// The finalizer of SplitMix64: for any digest so far, another word gives another digest.
void mix(std::uint64_t in_uiWord, std::uint64_t& io_uiDigest)
{
    std::uint64_t uiMixed = (io_uiDigest ^ in_uiWord) + 0x9E3779B97F4A7C15;
    uiMixed = (uiMixed ^ (uiMixed >> 30)) * 0xBF58476D1CE4E5B9;
    uiMixed = (uiMixed ^ (uiMixed >> 27)) * 0x94D049BB133111EB;
    io_uiDigest = uiMixed ^ (uiMixed >> 31);
}

void mix(const DoubleVector& in_vVector, std::uint64_t& io_uiDigest)
{
    mix(in_vVector.size(), io_uiDigest);
    for (const double dValue : in_vVector)
        mix(std::bit_cast<std::uint64_t>(dValue), io_uiDigest);
}

} // namespace

DataComparer::Stream::Stream(DataGenerator& io_generator)
    : m_generator(io_generator)
    , m_pResettable(new DataConverter::MyResettable)
{
}

bool DataComparer::Stream::start()
{
    return DataConverter::MyResettable::handTo(m_generator, m_pResettable) && m_generator.gotoStart();
}

bool DataComparer::Stream::next()
{
    m_vInput.clear();
    m_vTarget.clear();
    if (!m_generator.generateNext())
        return false;
    ++m_uiPatterns;
    m_bReset = m_pResettable->isPending();
    m_pResettable->clear();
    m_bInput = m_generator.getInput(m_vInput);
    m_bTarget = m_generator.getTarget(m_vTarget);
    return true;
}

void DataComparer::Stream::digest()
{
    mix(m_vInput, m_digest.m_uiInputs);
    mix(m_vTarget, m_digest.m_uiTargets);
    mix(m_bTarget ? 1 : 0, m_digest.m_uiValidities);
    mix(m_bReset ? 1 : 0, m_digest.m_uiResets);
}

DataComparer::DataComparer(DataGenerator& io_reference, DataGenerator& io_tested)
    : m_reference(io_reference)
    , m_tested(io_tested)
{
    QC_TRACE("DataComparer ctor");
}

bool DataComparer::start()
{
    m_uiPattern = 0;
    // both, whatever the first one says
    const bool bReference = m_reference.start();
    if (m_tested.start() && bReference)
        return true;
    QC_ERROR("Could not go to the start of one file");
    return false;
}

bool DataComparer::compare()
{
    QC_TRACE("DataComparer::compare");
    if (!start())
        return false;
    while (m_reference.next() && m_tested.next())
    {
        if (!isPatternEqual(isSameValue))
            return false;
        ++m_uiPattern;
        if (!watch())
            return false;
    }
    m_watch = {};
    QC_INFO("Number of lines read : " << m_uiPattern);
    QC_INFO("Files equal");
    return endedCleanly();
}

bool DataComparer::compareStrictly()
{
    QC_TRACE("DataComparer::compareStrictly");
    if (!start())
        return false;
    m_reference.m_pResettable->clear();
    m_tested.m_pResettable->clear();
    const bool bEqual = compareToTheEnds();
    m_watch = {};
    QC_INFO("Number of lines read : " << m_uiPattern);
    logDigest("reference", m_reference);
    logDigest("tested", m_tested);
    if (m_reference.m_uiPatterns != m_tested.m_uiPatterns)
    {
        QC_ERROR("Files not equal: numbers of patterns are not equal. Reference has: "
                 << m_reference.m_uiPatterns << ", tested has: " << m_tested.m_uiPatterns);
        return false;
    }
    if (!bEqual || !endedCleanly())
        return false;
    QC_INFO("Files equal");
    return true;
}

/// True when the patterns that have a counterpart are equal to it.
bool DataComparer::compareToTheEnds()
{
    bool bEqual = true;
    bool bReference = m_reference.next();
    bool bTested = m_tested.next();
    while (bReference || bTested)
    {
        if (bReference && bTested)
        {
            bEqual = bEqual && isPatternEqual(isSameBits);
            ++m_uiPattern;
        }
        if (bReference)
            m_reference.digest();
        if (bTested)
            m_tested.digest();
        if (!watch())
            return false;
        bReference = bReference && m_reference.next();
        bTested = bTested && m_tested.next();
    }
    return bEqual;
}

bool DataComparer::watch()
{
    if (!m_watch || m_watch(m_uiPattern))
        return true;
    QC_ERROR("Comparison stopped after " << m_uiPattern << " patterns");
    return false;
}

bool DataComparer::isPatternEqual(Equal in_equal) const
{
    if (m_reference.m_bReset != m_tested.m_bReset)
    {
        QC_ERROR("Files not equal: resets of pattern "
                 << m_uiPattern << " are not equal. Reference is: " << m_reference.m_bReset);
        return false;
    }
    const auto never = [](const DoubleVector&, const DoubleVector&)
    {
        return false;
    };
    const Equal inputsEqual = m_reference.m_bInput && m_tested.m_bInput ? in_equal : Equal(never);
    if (!areVectorsEqual("inputs", inputsEqual, m_reference.m_vInput, m_tested.m_vInput))
        return false;
    if (m_reference.m_bTarget != m_tested.m_bTarget)
    {
        QC_ERROR("Files not equal: target validities of pattern "
                 << m_uiPattern << " are different. Reference is: " << m_reference.m_bTarget);
        return false;
    }
    return !m_reference.m_bTarget ||
           areVectorsEqual("targets", in_equal, m_reference.m_vTarget, m_tested.m_vTarget);
}

bool DataComparer::areVectorsEqual(const char* in_what, Equal in_equal, const DoubleVector& in_vReference,
                                   const DoubleVector& in_vTested) const
{
    if (in_equal(in_vReference, in_vTested))
        return true;
    QC_ERROR("Files not equal: " << in_what << " of pattern " << m_uiPattern << " are not equal");
    QC_ERROR("Reference is: " << in_vReference);
    QC_ERROR("Tested is: " << in_vTested);
    return false;
}

bool DataComparer::endedCleanly() const
{
    const auto check = [](const char* in_what, const DataGenerator& in_generator)
    {
        if (!in_generator.endedCleanly())
            QC_ERROR("The " << in_what << " stopped before its end");
        return in_generator.endedCleanly();
    };
    const bool bReference = check("reference", m_reference.m_generator);
    return check("tested stream", m_tested.m_generator) && bReference;
}

void DataComparer::logDigest(const char* in_what, const Stream& in_stream)
{
    const Digest& digest = in_stream.m_digest;
    QC_INFO("Digest of " << in_what << " : " << in_stream.m_uiPatterns << " patterns" << std::hex
                         << std::setfill('0') << ", inputs " << std::setw(16) << digest.m_uiInputs
                         << ", targets " << std::setw(16) << digest.m_uiTargets << ", validities "
                         << std::setw(16) << digest.m_uiValidities << ", resets " << std::setw(16)
                         << digest.m_uiResets);
}

} // namespace Vexalor::MachineLearning
