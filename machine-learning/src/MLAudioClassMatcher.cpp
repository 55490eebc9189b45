#include "MLAudioClassMatcher.h"

#include "quillcast-audio/ToneAnnotations.h"
#include "quillcast-core/Logger.h"

#include <algorithm>
#include <limits>
#include <stdexcept>

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.ml.generator.AudioFileDataGenerator");

} // namespace

AudioClassMatcher::Expression::Expression(const std::string& in_strClass,
                                          const Fallible<std::string>& in_strExpression)
    : m_strClass(in_strClass)
{
    if (!in_strExpression.isValid())
        return;
    m_strExpression = in_strExpression.getValue();
    try
    {
        m_regex.emplace(m_strExpression, BoostRegex::ICASE);
    }
    catch (const std::runtime_error& exception)
    {
        QC_DEBUG("Class " << m_strClass << " is no regular expression: " << exception.what());
    }
}

void AudioClassMatcher::setFrequencyTolerance(unsigned int in_uiTolerance)
{
    constexpr unsigned int MAX_TOLERANCE = std::numeric_limits<int>::max();
    m_iFrequencyTolerance = static_cast<int>(std::min(in_uiTolerance, MAX_TOLERANCE));
}

bool AudioClassMatcher::hasExpression(const std::string& in_strClass) const
{
    return find(in_strClass) != nullptr;
}

void AudioClassMatcher::setExpression(const std::string& in_strClass,
                                      const Fallible<std::string>& in_strExpression)
{
    m_vExpressions.emplace_back(in_strClass, in_strExpression);
}

const AudioClassMatcher::Expression* AudioClassMatcher::find(const std::string& in_strClass) const
{
    const auto itExpression = std::find_if(m_vExpressions.begin(), m_vExpressions.end(),
                                           [&in_strClass](const Expression& in_expression)
                                           { return in_expression.m_strClass == in_strClass; });
    return itExpression == m_vExpressions.end() ? nullptr : &*itExpression;
}

const AudioClassMatcher::Expression& AudioClassMatcher::findOrCompile(const std::string& in_strClass) const
{
    if (const Expression* pExpression = find(in_strClass))
        return *pExpression;
    if (!m_lastOther.has_value() || m_lastOther->m_strClass != in_strClass)
        m_lastOther.emplace(in_strClass, in_strClass);
    return *m_lastOther;
}

Fallible<std::int64_t> AudioClassMatcher::getToneDifference(const std::string& in_strLabel,
                                                            const std::string& in_strClass)
{
    SingleFrequencyAnnotationImpl labelTone;
    SingleFrequencyAnnotationImpl classTone;
    if (!classTone.setLabel(in_strClass) || !labelTone.setLabel(in_strLabel))
        return {};
    return std::int64_t(labelTone.getFrequency()) - std::int64_t(classTone.getFrequency());
}

bool AudioClassMatcher::matches(const std::string& in_strLabel, const std::string& in_strClass) const
{
    const Fallible<std::int64_t> difference = getToneDifference(in_strLabel, in_strClass);
    if (difference.isValid())
        return -std::int64_t(m_iFrequencyTolerance) <= difference.getValue() &&
               difference.getValue() <= m_iFrequencyTolerance;
    const Expression& expression = findOrCompile(in_strClass);
    try
    {
        if (!expression.m_regex.has_value())
            throw std::runtime_error("not compiled");
        if (!expression.m_regex->match(in_strLabel))
            return false;
    }
    catch (const std::runtime_error&)
    {
        // Names the public operation that is being served: text kept.
        QC_ERROR("Unexpected std::runtime exception caught in AudioFileDataGenerator::setCurrentFilename "
                 "with regex: \""
                 << expression.m_strExpression << "\" for annotation '" << in_strLabel << '\'');
        return false;
    }
    QC_DEBUG(in_strLabel << " matches " << expression.m_strExpression);
    return true;
}

} // namespace Vexalor::MachineLearning
