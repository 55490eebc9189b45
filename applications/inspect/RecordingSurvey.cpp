#include "inspect/RecordingSurvey.h"

#include "MLAudioFileDataGenerator.h"
#include "MLFileSetDataGenerator.h"
#include "quillcast-audio/AnnotatedFile.h"
#include "quillcast-core/InputFile.h"
#include "quillcast-core/LogListener.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace Vexalor::MachineLearning
{

namespace
{

/// Seconds by which an annotation may reach past the end: one sample, for editors that round.
double getTolerance(const AudioFileDataGenerator& in_generator)
{
    return 1.0 / in_generator.getSamplingRate();
}

/// No class takes the label of the class of the rest, but that class is what it means.
bool isRest(const AudioFileDataGenerator& in_generator, const std::string& in_strLabel)
{
    const StringVector& vClasses = in_generator.getConfig().m_vClasses;
    return in_strLabel == AudioClassStatistics::OTHER &&
           std::find(vClasses.begin(), vClasses.end(), in_strLabel) != vClasses.end();
}

} // namespace

void RecordingSurvey::add(DataGenerator& io_generator)
{
    if (auto* pSet = dynamic_cast<FileSetDataGeneratorImpl*>(&io_generator))
    {
        addListed(*pSet);
    }
    else if (const auto* pAudio = dynamic_cast<const AudioFileDataGenerator*>(&io_generator))
    {
        const LogListener listener;
        m_vListed.emplace_back(pAudio->getCurrentFilename());
        addRecording(*pAudio, pAudio->getCurrentFilename());
    }
}

/// By a generator of its own, one recording after the other.
void RecordingSurvey::addListed(FileSetDataGeneratorImpl& io_set)
{
    LogListener listener;
    const CountedObjPtr<FileDataGenerator> pGenerator = io_set.newFileGenerator();
    auto* pAudio = dynamic_cast<AudioFileDataGenerator*>(pGenerator.get());
    if (pAudio == nullptr)
        return;
    for (const std::string& strName : io_set.getListedFilenames())
    {
        m_vListed.push_back(strName);
        listener.takeReason();
        if (pAudio->setCurrentFilename(strName.c_str()))
            addRecording(*pAudio, strName);
        else
            m_vSkipped.push_back({strName, listener.takeReason()});
    }
}

void RecordingSurvey::addRecording(const AudioFileDataGenerator& in_generator, const std::string& in_strName)
{
    InputFile input;
    AnnotatedFile file;
    if (!input.openRegular(in_strName.c_str()) || !file.readFromWAV(input))
    {
        m_vSkipped.push_back({in_strName, "it cannot be read any more"});
        return;
    }
    const std::size_t uiWindow = in_generator.getWindowSize().m_uiLength;
    if (file.getFrameCount() != 0 && file.getFrameCount() < uiWindow)
    {
        m_vSkipped.push_back(
            {in_strName, "it is shorter than a window: " + std::to_string(file.getFrameCount()) +
                             " samples of " + std::to_string(uiWindow)});
        return;
    }
    m_vUsable.push_back(in_strName);
    Rate& rate = m_rates[in_generator.getSamplingRate()];
    if (rate.m_uiRecordings++ == 0)
        rate.m_strFirst = in_strName;
    if (file.getAnnotations().empty())
        m_vWithoutAnnotation.push_back(in_strName);
    const double dSeconds = static_cast<double>(file.getFrameCount()) / in_generator.getSamplingRate();
    if (file.getFrameCount() != 0 &&
        std::any_of(file.getAnnotations().begin(), file.getAnnotations().end(),
                    [&](const Annotation& in_annotation)
                    { return in_annotation.getStopTime() > dSeconds + getTolerance(in_generator); }))
        m_vBeyond.push_back(in_strName);
    addAnnotations(in_generator, file);
}

void RecordingSurvey::addAnnotations(const AudioFileDataGenerator& in_generator, const AnnotatedFile& in_file)
{
    for (const Annotation& annotation : in_file.getAnnotations())
    {
        const std::string& strLabel = annotation.getLabel();
        if (m_labels.size() == MAX_LABELS && strLabel > m_labels.rbegin()->first)
        {
            ++m_uiFurtherLabels;
            continue;
        }
        const auto [itLabel, bNew] = m_labels.try_emplace(strLabel);
        if (bNew)
            itLabel->second.m_bTaken = in_generator.takesLabel(strLabel) || isRest(in_generator, strLabel);
        ++itLabel->second.m_uiAnnotations;
        itLabel->second.m_dSeconds += annotation.getStopTime() - annotation.getStartTime();
        keepFirstLabels();
    }
}

/// What is left does not depend on the order in which labels came.
void RecordingSurvey::keepFirstLabels()
{
    for (; m_labels.size() > MAX_LABELS; m_labels.erase(std::prev(m_labels.end())))
        m_uiFurtherLabels += m_labels.rbegin()->second.m_uiAnnotations;
}

void RecordingSurvey::append(const RecordingSurvey& in_next)
{
    const auto addNames = [](auto& io_vNames, const auto& in_vNext)
    {
        io_vNames.insert(io_vNames.end(), in_vNext.begin(), in_vNext.end());
    };
    addNames(m_vListed, in_next.m_vListed);
    addNames(m_vUsable, in_next.m_vUsable);
    addNames(m_vSkipped, in_next.m_vSkipped);
    addNames(m_vWithoutAnnotation, in_next.m_vWithoutAnnotation);
    addNames(m_vBeyond, in_next.m_vBeyond);
    for (const auto& [strLabel, next] : in_next.m_labels)
    {
        Label& label = m_labels.try_emplace(strLabel, Label{0, {}, next.m_bTaken}).first->second;
        label.m_uiAnnotations += next.m_uiAnnotations;
        label.m_dSeconds += next.m_dSeconds;
    }
    m_uiFurtherLabels += in_next.m_uiFurtherLabels;
    keepFirstLabels();
    for (const auto& [uiRate, next] : in_next.m_rates)
        m_rates.try_emplace(uiRate, Rate{0, next.m_strFirst}).first->second.m_uiRecordings +=
            next.m_uiRecordings;
}

StringVector RecordingSurvey::findRepeated() const
{
    std::set<std::string_view> names;
    StringVector vRepeated;
    std::copy_if(m_vListed.begin(), m_vListed.end(), std::back_inserter(vRepeated),
                 [&](const std::string& in_strName) { return !names.insert(in_strName).second; });
    return vRepeated;
}

StringVector RecordingSurvey::findWithoutPattern(const std::set<std::string>& in_delivered) const
{
    StringVector vNames;
    std::copy_if(m_vUsable.begin(), m_vUsable.end(), std::back_inserter(vNames),
                 [&](const std::string& in_strName) { return in_delivered.count(in_strName) == 0; });
    return vNames;
}

StringVector getClasses(const DataGenerator& in_generator)
{
    const auto* pWithFacts = dynamic_cast<const GeneratorWithFacts*>(&in_generator);
    return pWithFacts == nullptr ? StringVector() : pWithFacts->getFacts().m_vClasses;
}

} // namespace Vexalor::MachineLearning
