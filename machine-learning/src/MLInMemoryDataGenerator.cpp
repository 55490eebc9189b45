#include "MLInMemoryDataGenerator.h"

#include "MLPatternBatch.h"
#include "quillcast-core/Assertion.h"

#include <algorithm>
#include <limits>
#include <ostream>

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.ml.generator.InMemoryDataGenerator");

constexpr std::int64_t MAX_ENTRIES = std::numeric_limits<std::int32_t>::max();

/// Blocks grow from the least to the greatest size, so that a short stream takes little: 4 and 512 KiB.
constexpr std::size_t MIN_BLOCK_SIZE = 512;
constexpr std::size_t MAX_BLOCK_SIZE = 65536;

} // namespace

InMemoryDataGenerator::MiddlemanToReset::MiddlemanToReset(InMemoryDataGenerator& io_dataGenParent)
    : m_pDataGenParent(&io_dataGenParent)
{
}

bool InMemoryDataGenerator::MiddlemanToReset::reset()
{
    QC_TRACE("InMemoryDataGenerator::MiddlemanToReset::reset");
    return m_pDataGenParent == nullptr || m_pDataGenParent->noteReset();
}

double* InMemoryDataGenerator::Values::take(std::size_t in_uiSize)
{
    if (in_uiSize > m_uiLeft)
    {
        m_uiBlockSize = std::clamp(2 * m_uiBlockSize, MIN_BLOCK_SIZE, MAX_BLOCK_SIZE);
        m_uiLeft = std::max(m_uiBlockSize, in_uiSize);
        m_vBlocks.push_back(std::make_unique_for_overwrite<double[]>(m_uiLeft));
        m_pNext = m_vBlocks.back().get();
    }
    double* const pValues = m_pNext;
    m_pNext += in_uiSize;
    m_uiLeft -= in_uiSize;
    return pValues;
}

InMemoryDataGenerator::InMemoryDataGenerator()
    : m_hMiddleman(new MiddlemanToReset(*this))
{
    QC_TRACE("InMemoryDataGenerator ctor");
}

InMemoryDataGenerator::InMemoryDataGenerator(const InMemoryDataGenerator& in_other)
    : InMemoryDataGenerator()
{
    QC_TRACE("InMemoryDataGenerator cctor");
    *this = in_other;
}

InMemoryDataGenerator& InMemoryDataGenerator::operator=(const InMemoryDataGenerator& in_other)
{
    QC_TRACE("InMemoryDataGenerator::operator=");
    m_pDataGenerator = in_other.m_pDataGenerator;
    if (this == &in_other)
        return *this;
    m_vInputTarget = in_other.m_vInputTarget;
    m_values = Values();
    for (InputTarget& entry : m_vInputTarget)
        keepValues(entry, entry.m_pValues, entry.getTarget());
    m_iCurrentIndex = in_other.m_iCurrentIndex;
    m_hEntityToReset = in_other.m_hEntityToReset;
    m_bAllInMemory = in_other.m_bAllInMemory;
    m_bEntryWaits = in_other.m_bEntryWaits;
    m_bClean = in_other.m_bClean;
    m_bRewound = in_other.m_bRewound;
    m_strLibName = in_other.m_strLibName;
    return *this;
}

InMemoryDataGenerator::~InMemoryDataGenerator()
{
    QC_TRACE("InMemoryDataGenerator dtor");
    m_hMiddleman->detach();
}

void InMemoryDataGenerator::setDataGenerator(const CountedObjPtr<DataGenerator>& in_generator)
{
    QC_TRACE("InMemoryDataGenerator::setDataGenerator");
    m_pDataGenerator = in_generator;
}

bool InMemoryDataGenerator::configure(const DataGeneratorWithConfig::Config& in_config)
{
    QC_TRACE("InMemoryDataGenerator::configure");
    // blank after the exclamation mark: text kept
    if (!QC_CHECK_TEXT("! m_pDataGenerator.isNull()", !m_pDataGenerator.isNull()))
        return false;
    auto* pConfigured = dynamic_cast<DataGeneratorWithConfig*>(m_pDataGenerator.get());
    if (pConfigured == nullptr)
        QC_ERROR("The generator to be held in memory takes no configuration");
    return pConfigured != nullptr && pConfigured->configure(in_config);
}

bool InMemoryDataGenerator::setCurrentFilename(const char* in_filename)
{
    QC_TRACE("InMemoryDataGenerator::setCurrentFilename");
    if (!QC_CHECK(!m_pDataGenerator.isNull()))
        return false;
    auto* pFileGenerator = dynamic_cast<FileDataGenerator*>(m_pDataGenerator.get());
    if (pFileGenerator == nullptr)
        QC_ERROR("The generator to be held in memory reads no file");
    return pFileGenerator != nullptr && pFileGenerator->setCurrentFilename(in_filename);
}

const char* InMemoryDataGenerator::getCurrentFilename() const
{
    QC_TRACE("InMemoryDataGenerator::getCurrentFilename");
    if (!QC_CHECK(!m_pDataGenerator.isNull()))
        return "";
    const auto* pFileGenerator = dynamic_cast<const FileDataGenerator*>(m_pDataGenerator.get());
    return pFileGenerator == nullptr ? "" : pFileGenerator->getCurrentFilename();
}

void InMemoryDataGenerator::releaseFile()
{
    QC_TRACE("InMemoryDataGenerator::releaseFile");
    auto* pFileGenerator = dynamic_cast<FileDataGenerator*>(m_pDataGenerator.get());
    if (pFileGenerator == nullptr)
        return;
    pFileGenerator->releaseFile();
    forgetEntries();
    currentIndexAtStart();
}

DataGeneratorWithConfig::Config& InMemoryDataGenerator::getConcreteConfig_i() const
{
    QC_TRACE("InMemoryDataGenerator::getConcreteConfig_i");
    if (!QC_CHECK(!m_pDataGenerator.isNull()))
        return m_noConfig;
    const auto* pConfigured = dynamic_cast<const DataGeneratorWithConfig*>(m_pDataGenerator.get());
    return pConfigured == nullptr ? m_noConfig : getConcreteConfigOf(*pConfigured);
}

bool InMemoryDataGenerator::gotoStart()
{
    QC_TRACE("InMemoryDataGenerator::gotoStart");
    currentIndexAtStart();
    m_bRewound = false;
    if (m_bAllInMemory)
        return true;
    if (!QC_CHECK(!m_pDataGenerator.isNull()))
        return false;
    // Again in each pass: the wrapped generator may have the middleman of a copy.
    if (!m_hEntityToReset.isNull() && !handMiddlemanOn())
        return false;
    return m_pDataGenerator->gotoStart();
}

bool InMemoryDataGenerator::handMiddlemanOn()
{
    auto* pSequenceGenerator = dynamic_cast<SequenceDataGenerator*>(m_pDataGenerator.get());
    return pSequenceGenerator == nullptr || pSequenceGenerator->setEntityToReset(m_hMiddleman);
}

bool InMemoryDataGenerator::generateNext()
{
    QC_TRACE("InMemoryDataGenerator::generateNext");
    return m_bAllInMemory ? replayNext() : streamNext();
}

bool InMemoryDataGenerator::replayNext()
{
    if (m_iCurrentIndex < getNbEntries())
        ++m_iCurrentIndex;
    doResetIfNeeded();
    return !isAfterLast();
}

bool InMemoryDataGenerator::doResetIfNeeded()
{
    if (!currentIndexValid() || !currentEntry().m_bReset)
        return true;
    return QC_CHECK(!m_hEntityToReset.isNull()) && m_hEntityToReset->reset();
}

/// In memory is always a beginning of the stream: what cannot be appended to it is dropped again.
bool InMemoryDataGenerator::streamNext()
{
    if (!QC_CHECK(!m_pDataGenerator.isNull()))
        return false;
    if (!m_pDataGenerator->generateNext())
    {
        finishPass();
        return false;
    }
    if (!m_bEntryWaits && !addEntry())
        return false;
    m_bEntryWaits = false;
    if (fillEntry())
        return true;
    dropEntry();
    return false;
}

bool InMemoryDataGenerator::addEntry()
{
    if (getNbEntries() == MAX_ENTRIES)
    {
        QC_ERROR("More than " << MAX_ENTRIES << " patterns cannot be held in memory");
        m_bClean = false;
        return false;
    }
    if (m_vInputTarget.size() == m_vInputTarget.capacity())
        m_vInputTarget.reserve(2 * m_vInputTarget.capacity());
    m_vInputTarget.emplace_back();
    QC_DEBUG("New m_vInputTarget size is: " << m_vInputTarget.size());
    return true;
}

bool InMemoryDataGenerator::fillEntry()
{
    // blank after the arrow: text kept
    if (!QC_CHECK_TEXT("m_pDataGenerator-> getInput(m_vInputTarget.back().m_vInput)",
                       m_pDataGenerator->getInput(m_vInput)))
    {
        m_bClean = false;
        return false;
    }
    m_vTarget.clear();
    m_pDataGenerator->getTarget(m_vTarget);
    if (m_iCurrentIndex < getNbEntries())
        ++m_iCurrentIndex;
    if (!QC_CHECK_TEXT("m_iCurrentIndex == (m_vInputTarget.size()-1)", m_iCurrentIndex == getNbEntries() - 1))
    {
        m_bRewound = true;
        return false;
    }
    InputTarget& entry = m_vInputTarget.back();
    entry.m_uiInputSize = m_vInput.size();
    entry.m_uiTargetSize = m_vTarget.size();
    keepValues(entry, m_vInput.begin(), m_vTarget.begin());
    return true;
}

void InMemoryDataGenerator::keepValues(InputTarget& io_entry, const double* in_pInput,
                                       const double* in_pTarget)
{
    double* const pValues = m_values.take(io_entry.getSize());
    std::copy_n(in_pInput, io_entry.m_uiInputSize, pValues);
    std::copy_n(in_pTarget, io_entry.m_uiTargetSize, pValues + io_entry.m_uiInputSize);
    io_entry.m_pValues = pValues;
}

void InMemoryDataGenerator::dropEntry()
{
    m_vInputTarget.pop_back();
    m_bEntryWaits = false;
}

/// The next pass streams from the beginning.
void InMemoryDataGenerator::forgetEntries()
{
    m_vInputTarget.clear();
    m_values = Values();
    m_bEntryWaits = false;
    m_bClean = true;
}

void InMemoryDataGenerator::finishPass()
{
    if (m_bEntryWaits)
        dropEntry();
    if (m_pDataGenerator->atEnd())
    {
        QC_DEBUG("All data is in memory now");
        m_bAllInMemory = true;
        m_bClean = m_bClean && m_pDataGenerator->endedCleanly();
        const Fallible<const char*> libName = m_pDataGenerator->getLibName();
        if (libName.isValid())
            m_strLibName = Fallible<std::string>(libName.getValue());
        m_pDataGenerator = {};
    }
    else
    {
        forgetEntries();
    }
    m_iCurrentIndex = static_cast<std::int32_t>(getNbEntries());
}

/// The request comes while the wrapped generator makes its next pattern: the entry is made here and filled by
/// generateNext. A further request before that is for the same pattern.
bool InMemoryDataGenerator::noteReset()
{
    if (!QC_CHECK_TEXT("!m_dataGenParent.m_hEntityToReset.isNull()", !m_hEntityToReset.isNull()))
        return false;
    QC_DEBUG("Middleman called. Will be a reset issued for pattern " << std::int64_t(m_iCurrentIndex) + 1);
    // Somebody else may go on with the wrapped generator when it has been let go here.
    if (!m_bAllInMemory && !m_bEntryWaits)
    {
        if (!addEntry())
            return false;
        m_vInputTarget.back().m_bReset = true;
        m_bEntryWaits = true;
    }
    return m_hEntityToReset->reset();
}

bool InMemoryDataGenerator::atEnd() const
{
    QC_TRACE("InMemoryDataGenerator::atEnd");
    if (m_bAllInMemory)
        return isAfterLast();
    return QC_CHECK(!m_pDataGenerator.isNull()) && m_pDataGenerator->atEnd();
}

bool InMemoryDataGenerator::getInput(DoubleVector& out_vInput)
{
    QC_TRACE("InMemoryDataGenerator::getInput");
    if (!QC_CHECK(currentIndexValid()))
        return false;
    const InputTarget& entry = currentEntry();
    out_vInput.assign(entry.m_pValues, entry.getTarget());
    return true;
}

bool InMemoryDataGenerator::getTarget(DoubleVector& out_vTarget)
{
    QC_TRACE("InMemoryDataGenerator::getTarget");
    if (!QC_CHECK(currentIndexValid()))
        return false;
    const InputTarget& entry = currentEntry();
    if (entry.m_uiTargetSize == 0)
        return false;
    out_vTarget.assign(entry.getTarget(), entry.getTarget() + entry.m_uiTargetSize);
    return true;
}

bool InMemoryDataGenerator::generateBatch(PatternBatch& io_batch)
{
    QC_TRACE("InMemoryDataGenerator::generateBatch");
    if (!m_bAllInMemory)
        return DataGenerator::generateBatch(io_batch);
    while (!io_batch.isFull())
    {
        double* pInput = nullptr;
        double* pTarget = nullptr;
        if (!replayNext())
            return false;
        const InputTarget& entry = currentEntry();
        if (!io_batch.add(entry.m_uiInputSize, entry.m_uiTargetSize, pInput, pTarget))
            return false;
        std::copy_n(entry.m_pValues, entry.m_uiInputSize, pInput);
        std::copy_n(entry.getTarget(), entry.m_uiTargetSize, pTarget);
    }
    return true;
}

Fallible<const char*> InMemoryDataGenerator::getLibName()
{
    QC_TRACE("InMemoryDataGenerator::getLibName");
    if (!m_pDataGenerator.isNull())
        return m_pDataGenerator->getLibName();
    return m_strLibName.isValid() ? Fallible<const char*>(m_strLibName.getValue().c_str())
                                  : Fallible<const char*>();
}

std::ostream& InMemoryDataGenerator::dumpStatus(std::ostream& out_stream)
{
    QC_TRACE("InMemoryDataGenerator::dumpStatus");
    if (!m_pDataGenerator.isNull())
        return m_pDataGenerator->dumpStatus(out_stream);
    out_stream << "Pattern " << std::int64_t(m_iCurrentIndex) + 1;
    if (currentIndexValid() && s_logger.isEnabledFor(LogLevel::DEBUGGING))
    {
        const InputTarget& entry = currentEntry();
        DoubleVector vVector;
        vVector.assign(entry.m_pValues, entry.getTarget());
        out_stream << "\nInput: " << vVector;
        vVector.assign(entry.getTarget(), entry.getTarget() + entry.m_uiTargetSize);
        out_stream << "\nTarget: " << vVector;
    }
    return out_stream;
}

bool InMemoryDataGenerator::endedCleanly() const
{
    QC_TRACE("InMemoryDataGenerator::endedCleanly");
    return m_bClean && !m_bRewound &&
           (m_bAllInMemory || (!m_pDataGenerator.isNull() && m_pDataGenerator->endedCleanly()));
}

Fallible<double> InMemoryDataGenerator::getShareRead() const
{
    QC_TRACE("InMemoryDataGenerator::getShareRead");
    if (!m_bAllInMemory)
        return m_pDataGenerator.isNull() ? Fallible<double>() : m_pDataGenerator->getShareRead();
    if (isAfterLast())
        return 1.0;
    return (m_iCurrentIndex + 1.0) / static_cast<double>(std::max<std::int64_t>(1, getNbEntries()));
}

bool InMemoryDataGenerator::setEntityToReset(Handle<Resettable, ReferenceCount> in_entity)
{
    QC_TRACE("InMemoryDataGenerator::setEntityToReset");
    const bool bInForce = in_entity == m_hEntityToReset;
    if (m_bAllInMemory && !bInForce)
        QC_WARN("All data is in memory: it is too late to set the entity to reset");
    if (!QC_CHECK(!m_pDataGenerator.isNull()))
        return m_bAllInMemory && bInForce;
    m_hEntityToReset = in_entity;
    auto* pSequenceGenerator = dynamic_cast<SequenceDataGenerator*>(m_pDataGenerator.get());
    if (m_hEntityToReset.isNull())
    {
        QC_DEBUG("Entity is not resetable");
        return pSequenceGenerator == nullptr || pSequenceGenerator->setEntityToReset({});
    }
    if (pSequenceGenerator == nullptr)
    {
        QC_DEBUG("Entity is resetable but data generator does not need to reset it.");
        m_hEntityToReset = {};
        return true;
    }
    return handMiddlemanOn();
}

} // namespace Vexalor::MachineLearning
