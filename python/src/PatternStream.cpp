#include "PatternStream.h"

#include "Arrays.h"
#include "Generators.h"
#include "MLBinaryFileDataGenerator.h"
#include "MLDataGeneratorFactory.h"
#include "MLFileSetDataGenerator.h"
#include "MLInMemoryDataGenerator.h"
#include "MLVectorFileDataGenerator.h"
#include "common/Shard.h"
#include "detector/Detector.h"
#include "quillcast-core/InputFile.h"
#include "quillcast-core/Logger.h"

#include <algorithm>

namespace Vexalor::Python
{

using namespace MachineLearning;

namespace
{

constinit Logger s_logger("quillcast.python");

/// Patterns that are read between two looks at signals.
constexpr std::size_t PIECE = 1024;

CountedObjPtr<DataGenerator> newPatternFileGenerator(const std::string& in_strFile)
{
    InputFile file;
    if (!file.openRegular(in_strFile.c_str()))
    {
        QC_ERROR("Cannot read " << in_strFile << ": " << file.getReason());
        return {};
    }
    if (BinaryFileDataGenerator::isFileBinary(in_strFile.c_str()))
        return CountedObjPtr<DataGenerator>(new BinaryFileDataGenerator);
    return CountedObjPtr<DataGenerator>(new VectorFileDataGenerator);
}

CountedObjPtr<DataGenerator> newGenerator(const Recipe& in_recipe)
{
    switch (in_recipe.m_kind)
    {
    case Recipe::Kind::PATTERN_FILE:
        return newPatternFileGenerator(in_recipe.m_strInput);
    case Recipe::Kind::DETECTOR:
    {
        const auto pDetector = Detector::newFromFile(in_recipe.m_strConfiguration.c_str());
        return pDetector == nullptr ? CountedObjPtr<DataGenerator>()
                                    : pDetector->takeGeneratorFor(in_recipe.m_strInput.c_str());
    }
    default:
        return loadDataGenerator(in_recipe.m_strConfiguration.c_str());
    }
}

} // namespace

PatternStream::PatternStream(const Recipe& in_recipe)
    : m_recipe(in_recipe)
    , m_batch(PIECE)
{
    open();
}

/// Files that were open before a fork share their position with another process. A cache that is complete has
/// none.
bool PatternStream::isForked() const
{
    return m_uiForks != getForkCount() && !(m_recipe.m_bCached && m_pInner.getCount() == 1);
}

/// A cache whose first pass ended early cannot go on from there: the next pass is a first one. One that is
/// complete has let go what it was filled from.
bool PatternStream::isCutShort() const
{
    return m_recipe.m_bCached && m_uiPass > 1 && m_pInner.getCount() != 1;
}

void PatternStream::fillCache()
{
    if (m_recipe.m_bCached && m_pInner.getCount() != 1)
        count();
}

void PatternStream::open()
{
    require([&] { return build(); }, "the generator cannot be opened");
    m_uiForks = getForkCount();
}

bool PatternStream::build()
{
    keepScaling();
    m_pInner = newGenerator(m_recipe);
    if (m_pInner.isNull() || !takeInput(*m_pInner))
        return false;
    m_pGenerator = takeShare(m_pInner);
    if (m_recipe.m_bCached)
    {
        const CountedObjPtr<InMemoryDataGenerator> pCache(new InMemoryDataGenerator);
        pCache->setDataGenerator(m_pGenerator);
        m_pGenerator = pCache;
    }
    if (m_recipe.m_scaling)
    {
        m_pScaling = CountedObjPtr<ScalingDataGenerator>(new ScalingDataGenerator);
        m_pScaling->configure(*m_recipe.m_scaling);
        // Learning takes whole passes.
        m_pScaling->setDataGenerator(
            m_recipe.m_scaling->m_bLearnScalingParameters
                ? CountedObjPtr<DataGenerator>(new InterruptibleGenerator(m_pGenerator))
                : m_pGenerator);
        m_pGenerator = m_pScaling;
    }
    return m_batch.attachTo(*m_pGenerator);
}

/// Whether the share is a stretch of a list.
bool PatternStream::isStretch() const
{
    return m_recipe.m_uiShares != 1 && m_recipe.m_unit == Recipe::Unit::STRETCH &&
           dynamic_cast<const FileSetDataGeneratorImpl*>(m_pInner.get()) != nullptr;
}

bool PatternStream::takeInput(DataGenerator& io_generator) const
{
    auto* pSet = dynamic_cast<FileSetDataGeneratorImpl*>(&io_generator);
    if (pSet != nullptr) // of recordings without patterns any number may lie between two patterns
        pSet->setFileWatcher([](const std::string&, std::size_t, std::size_t) { checkSignals(); });
    if (!isStretch())
        return prepareDataGenerator(io_generator, m_recipe.m_strInput.c_str(), {});
    RecordingList list;
    if (!list.read(m_recipe.m_strInput.c_str()))
        return false;
    const Shard shard{m_recipe.m_uiShare + 1, m_recipe.m_uiShares};
    const auto [uiFirst, uiEnd] = findShare(getFileSizes(list.m_vFilenames), shard);
    const auto itFirst = list.m_vFilenames.begin();
    list.m_classes = pSet->findClasses(list.m_vFilenames);
    list.m_vFilenames = StringVector(itFirst + static_cast<std::ptrdiff_t>(uiFirst),
                                     itFirst + static_cast<std::ptrdiff_t>(uiEnd));
    list.m_place =
        m_recipe.m_uiShare == 0 ? RecordingList::Place::FIRST_PART : RecordingList::Place::LATER_PART;
    return pSet->setRecordings(list);
}

CountedObjPtr<DataGenerator> PatternStream::takeShare(const CountedObjPtr<DataGenerator>& in_pSource)
{
    if (m_recipe.m_uiShares == 1 || isStretch())
        return in_pSource;
    // It may pass over many patterns for one of its own.
    const CountedObjPtr<DataGenerator> pSource(new InterruptibleGenerator(in_pSource));
    return CountedObjPtr<DataGenerator>(new ShareGenerator(pSource, m_recipe.m_uiShare, m_recipe.m_uiShares,
                                                           m_recipe.m_unit == Recipe::Unit::PATTERN));
}

/// What was learnt holds in another process as well.
void PatternStream::keepScaling()
{
    if (m_pScaling.isNull() || !m_recipe.m_scaling->m_bLearnScalingParameters)
        return;
    const VectorScaler::Config learnt = m_pScaling->getScalingParameters();
    if (learnt == VectorScaler::Config())
        return;
    m_recipe.m_scaling->m_scalerConfig = learnt;
    m_recipe.m_scaling->m_bLearnScalingParameters = false;
}

std::uint64_t PatternStream::startPass()
{
    const Exclusive use(m_bUsed);
    ++m_uiPass;
    if (isForked() || isCutShort())
        open();
    m_bAtEnd = true; // until the pass has begun
    m_strFailure.clear();
    require([&] { return m_pGenerator->gotoStart(); }, "the generator cannot go to its start");
    m_batch.startPass();
    m_bAtEnd = false;
    return m_uiPass;
}

py::object PatternStream::nextBatch(std::uint64_t in_uiPass, std::size_t in_uiSize)
{
    const Exclusive use(m_bUsed);
    if (in_uiPass != m_uiPass)
        throw Failure("a later pass of the generator has begun: this one is over");
    if (!m_bAtEnd && isForked())
        throw Failure("the pass began before this process was forked: begin one here");
    if (!m_bAtEnd)
        fill(in_uiSize);
    if (m_batch.size() != 0)
        return takeBatch();
    if (!m_strFailure.empty())
        throw Failure(std::exchange(m_strFailure, {}));
    return py::none();
}

void PatternStream::fill(std::size_t in_uiSize)
{
    m_batch.setCapacity(in_uiSize);
    while (!m_bAtEnd && m_batch.size() < in_uiSize)
    {
        m_batch.pauseAt(std::min(in_uiSize, m_batch.size() + PIECE));
        m_bAtEnd = !callQuietly([&] { return m_pGenerator->generateBatch(m_batch); });
        if (m_bAtEnd)
            noteEnd();
        else
            handMessagesOn();
        checkSignals();
    }
}

void PatternStream::noteEnd()
{
    if (m_batch.hasFailed() || !m_pGenerator->endedCleanly())
        m_strFailure = takeReason("the stream stopped before its end");
    else
        handMessagesOn();
}

std::pair<std::uint64_t, std::uint64_t> PatternStream::count()
{
    startPass();
    const Exclusive use(m_bUsed);
    std::uint64_t uiPatterns = 0;
    std::uint64_t uiTargets = 0;
    while (!m_bAtEnd)
    {
        m_bAtEnd = !callQuietly([&] { return countPiece(uiPatterns, uiTargets); });
        if (m_bAtEnd)
            noteEnd();
        else
            handMessagesOn();
        checkSignals();
    }
    if (!m_strFailure.empty())
        throw Failure(std::exchange(m_strFailure, {}));
    return {uiPatterns, uiTargets};
}

/// False at the end.
bool PatternStream::countPiece(std::uint64_t& io_uiPatterns, std::uint64_t& io_uiTargets)
{
    for (std::size_t i = 0; i < PIECE; ++i)
    {
        if (!m_pGenerator->generateNext() || !m_pGenerator->getInput(m_vInput))
            return false;
        ++io_uiPatterns;
        io_uiTargets += m_pGenerator->getTarget(m_vTarget) ? 1 : 0;
    }
    return true;
}

py::object PatternStream::takeBatch()
{
    const std::size_t uiSize = m_batch.size();
    PatternBatch::Rows rows = m_batch.take();
    return imports().m_batch(toArray(std::move(rows.m_pInputs), uiSize, m_batch.getInputSize()),
                             toArray(std::move(rows.m_pTargets), uiSize, m_batch.getTargetSize()),
                             toArray(std::move(rows.m_pValid), uiSize),
                             toArray(std::move(rows.m_pFirst), uiSize));
}

CountedObjPtr<DataGenerator> PatternStream::newInterruptible()
{
    ++m_uiPass;
    if (isForked() || isCutShort())
        open();
    return CountedObjPtr<DataGenerator>(new InterruptibleGenerator(m_pGenerator, m_batch.getMark()));
}

} // namespace Vexalor::Python
