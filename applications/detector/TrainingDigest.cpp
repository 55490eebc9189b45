#include "detector/TrainingDigest.h"

#include "MLDataGeneratorFactory.h"
#include "MLGeneratorFacts.h"
#include "MLScalingDataGenerator.h"
#include "quillcast-core/SerializationArchives.h"

#include <bit>
#include <charconv>

namespace Vexalor::MachineLearning
{

namespace
{

constexpr std::string_view BEGINNING = "# trained with configuration ";
constexpr std::string_view MIDDLE = " and scaling ";
constexpr std::size_t DIGITS = 16;

/// FNV-1a.
class Digest
{
public:
    void add(std::string_view in_bytes)
    {
        for (const char c : in_bytes)
            m_uiValue = (m_uiValue ^ static_cast<unsigned char>(c)) * 0x100000001b3;
    }
    void add(std::uint64_t in_uiNumber)
    {
        for (int i = 0; i < 64; i += 8)
            m_uiValue = (m_uiValue ^ (in_uiNumber >> i & 255)) * 0x100000001b3;
    }
    void add(const DoubleVector& in_vVector)
    {
        add(in_vVector.size());
        for (const double dValue : in_vVector)
            add(std::bit_cast<std::uint64_t>(dValue));
    }
    std::uint64_t get() const { return m_uiValue; }

private:
    std::uint64_t m_uiValue = 0xcbf29ce484222325;
};

std::uint64_t digestConfiguration(const DataGenerator& in_generator)
{
    Digest digest;
    DescribingArchive archive;
    const auto* pSource = dynamic_cast<const GeneratorWithFacts*>(&in_generator);
    if (pSource == nullptr)
    {
        describeDataGenerator(archive, {}, in_generator);
        digest.add(archive.finish().m_strText);
        return digest.get();
    }
    const GeneratorFacts facts = pSource->getFacts();
    const LinearAudioWindower::Config windows = facts.m_windows.value_or(LinearAudioWindower::Config());
    digest.add(facts.m_windows.has_value());
    digest.add(windows.m_uiSamplingRate);
    digest.add(windows.m_uiWindowLength);
    digest.add(windows.m_uiWindowShift);
    if (facts.m_pFeatureComputer.has_value())
        saveObject<FeatureComputer>(archive.get(), "features", facts.m_pFeatureComputer->get());
    digest.add(archive.finish().m_strText);
    for (const std::string& strClass : facts.m_vClasses)
    {
        digest.add(strClass.size());
        digest.add(strClass);
    }
    return digest.get();
}

std::uint64_t digestScaling(const DataGenerator& in_wrapped, bool in_bRead)
{
    const auto* pScaling = dynamic_cast<const ScalingDataGenerator*>(&in_wrapped);
    if (pScaling == nullptr)
        return 0;
    const bool bLearn = pScaling->getConfig().m_bLearnScalingParameters && !in_bRead;
    const VectorScaler::Config scaling =
        in_bRead ? pScaling->getScalingParameters() : pScaling->getConfig().m_scalerConfig;
    Digest digest;
    digest.add(bLearn);
    for (const DoubleVector* pVector : {&scaling.m_vInputSlope, &scaling.m_vInputYIntercept,
                                        &scaling.m_vTargetSlope, &scaling.m_vTargetYIntercept})
        digest.add(*pVector);
    return digest.get();
}

std::string toHex(std::uint64_t in_uiNumber)
{
    char digits[DIGITS];
    char* const pEnd = std::to_chars(digits, digits + DIGITS, in_uiNumber, 16).ptr;
    const std::string strNumber(+digits, pEnd);
    return std::string(DIGITS - strNumber.size(), '0') + strNumber;
}

bool takeText(std::string_view in_text, std::string_view& io_line)
{
    const bool bHere = io_line.starts_with(in_text);
    io_line.remove_prefix(bHere ? in_text.size() : 0);
    return bHere;
}

bool takeHex(std::string_view& io_line, std::uint64_t& out_uiNumber)
{
    if (io_line.size() < DIGITS)
        return false;
    const auto result = std::from_chars(io_line.data(), io_line.data() + DIGITS, out_uiNumber, 16);
    io_line.remove_prefix(DIGITS);
    return result.ec == std::errc() && result.ptr == io_line.data();
}

} // namespace

TrainingDigest TrainingDigest::of(const DataGenerator& in_generator, const DataGenerator& in_wrapped,
                                  bool in_bRead)
{
    return {digestConfiguration(in_generator), digestScaling(in_wrapped, in_bRead)};
}

std::optional<TrainingDigest> TrainingDigest::find(std::string_view in_text)
{
    TrainingDigest digest;
    const std::size_t uiLine = in_text.rfind(BEGINNING);
    if (uiLine == std::string_view::npos)
        return {};
    std::string_view line = in_text.substr(uiLine + BEGINNING.size());
    if (!takeHex(line, digest.m_uiConfiguration) || !takeText(MIDDLE, line) ||
        !takeHex(line, digest.m_uiScaling))
        return {};
    return digest;
}

std::string TrainingDigest::toLine() const
{
    return std::string(BEGINNING) + toHex(m_uiConfiguration) + std::string(MIDDLE) + toHex(m_uiScaling) +
           '\n';
}

std::string TrainingDigest::findDifference(const TrainingDigest& in_other) const
{
    if (m_uiConfiguration != in_other.m_uiConfiguration)
        return m_uiScaling == in_other.m_uiScaling ? "another configuration"
                                                   : "another configuration and another scaling";
    if (m_uiScaling == in_other.m_uiScaling)
        return {};
    return in_other.m_uiScaling == 0 ? "no scaling" : m_uiScaling == 0 ? "a scaling" : "another scaling";
}

} // namespace Vexalor::MachineLearning
