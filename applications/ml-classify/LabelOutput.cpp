#include "ml-classify/LabelOutput.h"

#include "common/ListedNames.h"
#include "common/OutputFile.h"
#include "labels/LabelFile.h"
#include "quillcast-audio/AnnotatedFile.h"
#include "quillcast-core/InputFile.h"
#include "quillcast-core/Logger.h"
#include "quillcast-infra/ApplicationImpl.h"
#include "quillcast-infra/CommandLineError.h"

#include <algorithm>
#include <cmath>
#include <iostream>
#include <limits>

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.app.LabelOutput");

constexpr const char* LABELS_OPTION = "labels";
constexpr const char* FORMAT_OPTION = "labels-format";
constexpr const char* THRESHOLD_OPTION = "threshold";
constexpr const char* LOW_OPTION = "low-threshold";
constexpr const char* GAP_OPTION = "min-gap";
constexpr const char* DURATION_OPTION = "min-duration";
constexpr const char* STANDARD_STREAM = "-";
constexpr const char* NO_CLASS = "OTHER";
/// Of the times that are written, at least.
constexpr unsigned int DECIMALS = 6;
/// Seconds: a year.
constexpr double MOST_SECONDS = 366.0 * 86400.0;

std::uint64_t toSamples(double in_dSeconds, double in_dRate)
{
    return static_cast<std::uint64_t>(std::llround(in_dSeconds * in_dRate));
}

} // namespace

void LabelOutput::addOptions(options_description& io_options)
{
    auto addOption = io_options.add_options();
    addOption(
        LABELS_OPTION, value<std::string>()->value_name("FILE"),
        "write labels of what was decided, in place of the results of windows: to a file, to standard output "
        "for -, or, for a file .wav, into a copy of the recording");
    addOption(FORMAT_OPTION, value<std::string>()->value_name("FORMAT"),
              (LabelFormat::listNames() + "; as the extension says unless given, text for -").c_str());
    addOption(THRESHOLD_OPTION, value<std::string>()->value_name("X"),
              "an output holds from this value on; the largest output unless given");
    addOption(LOW_OPTION, value<std::string>()->value_name("X"),
              "until it is below this value; the same unless given");
    addOption(GAP_OPTION, value<std::string>()->value_name("S")->default_value("0"),
              "bridge gaps between two labels of a class that are shorter, in seconds");
    addOption(DURATION_OPTION, value<std::string>()->value_name("S")->default_value("0"),
              "then drop labels that are shorter, in seconds");
    addOption(CLASS_NAMES_OPTION, value<std::string>()->value_name("LIST"),
              "labels of the outputs, separated by commas; none is written for OTHER");
}

void LabelOutput::takeOptions(const variables_map& in_map, const StringVector& in_vScripts)
{
    ApplicationImpl::checkNeeds(
        in_map,
        {FORMAT_OPTION, THRESHOLD_OPTION, LOW_OPTION, GAP_OPTION, DURATION_OPTION, CLASS_NAMES_OPTION},
        {LABELS_OPTION});
    ApplicationImpl::checkNeeds(in_map, {LOW_OPTION}, {THRESHOLD_OPTION});
    if (in_map.count(LABELS_OPTION) == 0)
        return;
    m_strTarget = in_map[LABELS_OPTION].as<std::string>();
    m_vScripts = in_vScripts;
    if (m_strTarget.empty())
        throw CommandLineError(std::string("option '--") + LABELS_OPTION + "' needs a value");
    const bool bFormat = in_map.count(FORMAT_OPTION) != 0;
    const bool bCopy = !bFormat && m_strTarget.size() > 4 && m_strTarget.ends_with(".wav");
    if (!bCopy)
        m_pFormat = bFormat
                        ? LabelFormat::find(in_map[FORMAT_OPTION].as<std::string>())
                        : LabelFormat::findForFile(m_strTarget == STANDARD_STREAM ? "-.txt" : m_strTarget);
    if (!bCopy && m_pFormat == nullptr)
        throw CommandLineError(bFormat ? std::string("option '--") + FORMAT_OPTION + "': there is only " +
                                             LabelFormat::listNames()
                                       : "the extension of " + m_strTarget +
                                             " tells no format of labels: --" + FORMAT_OPTION + " is needed");
    m_vClasses = getListedNames(in_map, CLASS_NAMES_OPTION);
    takeRule(in_map);
}

bool LabelOutput::hasFile() const
{
    return isWanted() && m_strTarget != STANDARD_STREAM;
}

void LabelOutput::takeRule(const variables_map& in_map)
{
    constexpr double MOST = std::numeric_limits<double>::max();
    if (in_map.count(THRESHOLD_OPTION) != 0)
        m_rule.m_threshold = ApplicationImpl::getReal(in_map, THRESHOLD_OPTION, -MOST, MOST);
    if (in_map.count(LOW_OPTION) == 0)
        m_rule.m_dLowThreshold = m_rule.m_threshold.value_or(0.0);
    else
        m_rule.m_dLowThreshold = ApplicationImpl::getReal(in_map, LOW_OPTION, -MOST, *m_rule.m_threshold);
    m_dMinGap = ApplicationImpl::getReal(in_map, GAP_OPTION, 0.0, MOST_SECONDS);
    m_dMinDuration = ApplicationImpl::getReal(in_map, DURATION_OPTION, 0.0, MOST_SECONDS);
}

bool LabelOutput::start(const std::string& in_strInput, const OverwriteGuard& in_guard,
                        const AudioClassifierSet& in_set)
{
    QC_TRACE("LabelOutput::start");
    m_strInput = in_strInput;
    m_dRate = in_set.getSamplingRate();
    m_uiShift = in_set.getWindowSize().m_uiShift;
    m_rule.m_uiMinGap = toSamples(m_dMinGap, m_dRate);
    m_rule.m_uiMinDuration = toSamples(m_dMinDuration, m_dRate);
    if (m_pFormat == nullptr && in_strInput == STANDARD_STREAM)
    {
        QC_ERROR("Labels go into a copy of a recording that is a file, not of standard input");
        return false;
    }
    if (m_strTarget != STANDARD_STREAM && !in_guard.allows(m_strTarget))
        return false;
    if (m_pFormat == nullptr)
        return true;
    m_pWriter = m_pFormat->m_newWriter({LabelFile::getName(in_strInput), 0.0, DECIMALS});
    m_pWriter->begin(m_strText);
    if (m_strTarget != STANDARD_STREAM)
    {
        m_pFile = std::make_unique<FileReplacer>(m_strTarget);
        if (!reportOutput(*m_pFile, m_pFile->open()))
            return false;
    }
    return send();
}

/// What the outputs are called. False, with the reason logged, when that does not fit.
bool LabelOutput::nameOutputs(const std::string& in_strClassifier, const Classifier::Result& in_result,
                              StringVector& out_vLabels) const
{
    const bool bScript =
        std::find(m_vScripts.begin(), m_vScripts.end(), in_strClassifier) != m_vScripts.end();
    if (in_result.size() == 1 && !m_rule.m_threshold)
    {
        QC_ERROR(in_strClassifier << " has a single output: --" << THRESHOLD_OPTION
                                  << " tells where it holds");
        return false;
    }
    if (!m_vClasses.empty() && m_vClasses.size() != in_result.size())
    {
        QC_ERROR(in_strClassifier << " has " << in_result.size() << " outputs, --" << CLASS_NAMES_OPTION
                                  << " names " << m_vClasses.size());
        return false;
    }
    out_vLabels = m_vClasses;
    for (std::size_t i = 0; m_vClasses.empty() && i < in_result.size(); ++i)
        out_vLabels.push_back(!bScript                ? in_result.begin()[i].m_strName
                              : in_result.size() == 1 ? in_strClassifier
                                                      : in_strClassifier + '[' + std::to_string(i) + ']');
    return true;
}

/// Null, with the reason logged, for results that cannot be labelled.
LabelOutput::Source* LabelOutput::findSource(const std::string& in_strClassifier,
                                             const Classifier::Result& in_result)
{
    const auto itSource = m_sources.find(in_strClassifier);
    StringVector vLabels;
    if (itSource != m_sources.end() && itSource->second.m_decider.getClassCount() == in_result.size())
        return &itSource->second;
    if (itSource != m_sources.end())
    {
        QC_ERROR("The number of outputs of " << in_strClassifier << " changes from "
                                             << itSource->second.m_decider.getClassCount() << " to "
                                             << in_result.size());
        return nullptr;
    }
    if (!nameOutputs(in_strClassifier, in_result, vLabels))
        return nullptr;
    const SpanDecider decider(m_rule, in_result.size(), m_uiShift);
    return &m_sources.emplace(in_strClassifier, Source{decider, std::move(vLabels)}).first->second;
}

bool LabelOutput::add(const AudioClassifierSet& in_set)
{
    for (const auto& [strName, pClassifier] : in_set)
    {
        if (!pClassifier->isStarted())
            continue;
        const Classifier::Result& result = pClassifier->getResult();
        Source* pSource = findSource(strName, result);
        if (pSource == nullptr)
            return false;
        m_vOutputs.clear();
        for (const Classifier::SingleOutputResult& entry : result)
            m_vOutputs.push_back(entry.m_dValue);
        pSource->m_decider.add(m_vOutputs.data(), in_set.getLastWindowEnd(), m_vDecided);
        if (!take(pSource->m_vLabels))
            return false;
    }
    return m_strText.empty() || send();
}

/// Makes labels of what was decided.
bool LabelOutput::take(const StringVector& in_vLabels)
{
    for (const DecidedSpan& decided : m_vDecided)
    {
        LabelSpan span{static_cast<double>(decided.m_uiStart) / m_dRate,
                       static_cast<double>(decided.m_uiStop) / m_dRate,
                       in_vLabels[decided.m_uiClass],
                       {},
                       {}};
        if (span.m_strLabel == NO_CLASS)
            continue;
        if (m_pWriter == nullptr)
            m_vSpans.push_back(std::move(span));
        else if (!m_pWriter->add(span, m_strText))
        {
            QC_ERROR("Cannot write " << m_strTarget << ": " << m_pWriter->getError());
            return false;
        }
    }
    m_vDecided.clear();
    return true;
}

/// At once: somebody may wait for it.
bool LabelOutput::send()
{
    if (m_pFile == nullptr)
    {
        std::cout << m_strText << std::flush;
        m_strText.clear();
        return std::cout.good();
    }
    const bool bWritten = m_pFile->write(m_strText);
    m_strText.clear();
    return reportOutput(*m_pFile, bWritten);
}

bool LabelOutput::writeCopy()
{
    InputFile file;
    AnnotatedFile annotated;
    std::vector<Annotation> vAnnotations;
    std::vector<Annotation> vMarkers;
    if (!file.openRegular(m_strInput.c_str()))
    {
        QC_ERROR("Cannot read " << m_strInput << ": " << file.getReason());
        return false;
    }
    if (!annotated.readFromWAV(file))
        return false;
    LabelFile::toAnnotations(m_vSpans, vAnnotations, vMarkers);
    annotated.setAnnotations(std::move(vAnnotations));
    return annotated.writeToWAV(m_strInput.c_str(), m_strTarget.c_str());
}

bool LabelOutput::end(double in_dSeconds)
{
    QC_TRACE("LabelOutput::end");
    for (auto& [strName, source] : m_sources)
    {
        source.m_decider.end(m_vDecided);
        if (!take(source.m_vLabels))
            return false;
    }
    if (m_pWriter == nullptr)
        return writeCopy();
    m_pWriter->setSeconds(in_dSeconds);
    m_pWriter->end(m_strText);
    return send() && (m_pFile == nullptr || reportOutput(*m_pFile, m_pFile->commit()));
}

} // namespace Vexalor::MachineLearning
