#include "ml-config/ScalingLearner.h"

#include "MLDataGeneratorFactory.h"
#include "MLFileSetDataGenerator.h"
#include "MLScalingDataGenerator.h"
#include "ml-config/JoinedDataGenerator.h"
#include "quillcast-core/ConsoleLog.h"
#include "quillcast-core/Logger.h"

#include <algorithm>
#include <cmath>

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.app.Config");

using TrainingParam = VectorScalingTrainer::Config::TrainingParam;

constexpr TreatmentKind KINDS[] = {
    {"none", false, false}, {"standardize", true, false}, {"min-max", false, true}};

/// Null, with the reason logged, when there is no such generator.
CountedObjPtr<JoinedDataGenerator> newSource(const ScalingRequest& in_request)
{
    const CountedObjPtr<JoinedDataGenerator> pSource(new JoinedDataGenerator);
    StringVector vFiles = in_request.m_vInputFiles;
    if (vFiles.empty())
        vFiles.emplace_back();
    for (const std::string& strFile : vFiles)
    {
        const CountedObjPtr<DataGenerator> pGenerator =
            newDataGenerator(in_request.m_strConfigFile.c_str(), strFile.c_str(), {}, false, nullptr);
        if (pGenerator.isNull())
            return {};
        pSource->add(pGenerator);
    }
    return pSource;
}

/// Sizes of the first pattern that has a target. False, with the reason logged, when there is none.
bool measurePattern(DataGenerator& io_generator, std::size_t& out_uiInputs, std::size_t& out_uiTargets)
{
    if (!io_generator.gotoStart())
    {
        QC_ERROR("Cannot go to the start of the data set");
        return false;
    }
    DoubleVector vInput;
    DoubleVector vTarget;
    while (io_generator.generateNext())
    {
        if (!io_generator.getInput(vInput) || !io_generator.getTarget(vTarget))
            continue;
        out_uiInputs = vInput.size();
        out_uiTargets = vTarget.size();
        return true;
    }
    QC_ERROR("There is no pattern with a target to learn from");
    return false;
}

TrainingParam makeParam(const std::string& in_strKind, const ScalingRequest& in_request)
{
    TrainingParam param;
    param.m_bStandardize = findTreatmentKind(in_strKind)->m_bStandardize;
    param.m_bMinMax = findTreatmentKind(in_strKind)->m_bMinMax;
    if (param.m_bMinMax)
    {
        param.m_dScaledMinValue = in_request.m_dMin;
        param.m_dScaledMaxValue = in_request.m_dMax;
    }
    return param;
}

/// For patterns of these sizes.
VectorScalingTrainer::Config makeTraining(const ScalingRequest& in_request, std::size_t in_uiInputs,
                                          std::size_t in_uiTargets)
{
    VectorScalingTrainer::Config config;
    config.m_vTrainingParam.assign(in_uiInputs, makeParam(in_request.m_strInputs, in_request));
    config.m_vTrainingParam.resize(in_uiInputs + in_uiTargets,
                                   makeParam(in_request.m_strTargets, in_request));
    return config;
}

/// With learning off.
CountedObjPtr<DataGenerator> newScaling(ScalingDataGenerator::Config in_config,
                                        const VectorScaler::Config& in_scaling)
{
    in_config.m_bLearnScalingParameters = false;
    in_config.m_scalerConfig = in_scaling;
    const CountedObjPtr<ScalingDataGenerator> pScaling(new ScalingDataGenerator);
    return pScaling->configure(in_config) ? pScaling : CountedObjPtr<ScalingDataGenerator>();
}

/// The lists of all input files, with the classes that each of them annotates. False, with the reason logged,
/// when one cannot be read.
bool readLists(const StringVector& in_vFiles, const FileSetDataGeneratorImpl& in_set,
               std::vector<RecordingPart>& out_vLists)
{
    for (const std::string& strFile : in_vFiles)
    {
        RecordingPart& list = out_vLists.emplace_back();
        if (!list.read(strFile.c_str()))
            return false;
        list.m_vSizes = getFileSizes(list.m_vFilenames);
        list.m_classes = in_set.findClasses(list.m_vFilenames);
        list.m_place = RecordingList::Place::LATER_PART; // which may have no recording that can be used
    }
    return true;
}

/// The lists, taken for one, from one place to another.
ScalingTask cutOut(const std::vector<RecordingPart>& in_vLists, std::size_t in_uiFirst, std::size_t in_uiEnd)
{
    ScalingTask task;
    std::size_t uiBefore = 0;
    for (const RecordingPart& list : in_vLists)
    {
        const std::size_t uiAfter = uiBefore + list.m_vFilenames.size();
        task.m_vParts.push_back(list.cutOut(std::clamp(in_uiFirst, uiBefore, uiAfter) - uiBefore,
                                            std::clamp(in_uiEnd, uiBefore, uiAfter) - uiBefore));
        uiBefore = uiAfter;
    }
    return task;
}

/// Null, with the reason logged, when there is no such generator.
CountedObjPtr<DataGenerator> loadSet(const ScalingRequest& in_request)
{
    const CountedObjPtr<DataGenerator> pGenerator = loadDataGenerator(in_request.m_strConfigFile.c_str());
    if (pGenerator.isNull() || dynamic_cast<FileSetDataGeneratorImpl*>(pGenerator.get()) != nullptr)
        return pGenerator;
    QC_ERROR("There are no shares of what " << in_request.m_strConfigFile
                                            << " reads: only lists of recordings are shared out");
    return {};
}

} // namespace

std::span<const TreatmentKind> getTreatmentKinds()
{
    return KINDS;
}

const TreatmentKind* findTreatmentKind(const std::string& in_strName)
{
    const auto* itKind =
        std::find_if(std::begin(KINDS), std::end(KINDS),
                     [&](const TreatmentKind& in_kind) { return in_strName == in_kind.m_name; });
    return itKind == std::end(KINDS) ? nullptr : itKind;
}

CountedObjPtr<DataGenerator> newLearntScaling(const ScalingRequest& in_request)
{
    QC_TRACE("MachineLearning::newLearntScaling");
    const CountedObjPtr<JoinedDataGenerator> pSource = newSource(in_request);
    std::size_t uiInputs = 0;
    std::size_t uiTargets = 0;
    if (pSource.isNull() || !measurePattern(*pSource, uiInputs, uiTargets))
        return {};
    ScalingDataGenerator::Config config;
    config.m_bLearnScalingParameters = true;
    config.m_scalingTrainerConfig = makeTraining(in_request, uiInputs, uiTargets);
    const CountedObjPtr<ScalingDataGenerator> pScaling(new ScalingDataGenerator);
    pScaling->setDataGenerator(pSource);
    if (!pScaling->configure(config) || !pScaling->gotoStart())
    {
        QC_ERROR("The scaling could not be learnt");
        return {};
    }
    if (!pSource->endedCleanly())
    {
        QC_ERROR("The data set stopped before its end");
        return {};
    }
    return newScaling(config, pScaling->getScalingParameters());
}

bool readScalingTasks(const ScalingRequest& in_request, std::size_t in_uiShares,
                      std::vector<ScalingTask>& out_vTasks, JobDigest& io_job)
{
    QC_TRACE("MachineLearning::readScalingTasks");
    const CountedObjPtr<DataGenerator> pSet = loadSet(in_request);
    std::vector<RecordingPart> vLists;
    if (pSet.isNull() ||
        !readLists(in_request.m_vInputFiles, dynamic_cast<FileSetDataGeneratorImpl&>(*pSet), vLists))
        return false;
    std::vector<std::uint64_t> vSizes;
    for (const RecordingPart& list : vLists)
    {
        io_job.addList(list.m_vFilenames, list.m_vSizes);
        vSizes.insert(vSizes.end(), list.m_vSizes.begin(), list.m_vSizes.end());
    }
    const std::vector<std::size_t> vStarts = findShares(vSizes, in_uiShares);
    for (std::size_t i = 0; i < in_uiShares; ++i)
        out_vTasks.push_back(cutOut(vLists, vStarts[i], vStarts[i + 1]));
    return true;
}

bool sumUp(const ScalingRequest& in_request, const ScalingTask& in_task, const ScalingWatch& in_watch,
           ScalingShare& out_share)
{
    QC_TRACE("MachineLearning::sumUp");
    const CountedObjPtr<DataGenerator> pGenerator = loadSet(in_request);
    if (pGenerator.isNull())
        return false;
    VectorScalingTrainer trainer;
    for (const RecordingPart& part : in_task.m_vParts)
        for (const std::string& strFilename : part.m_vFilenames)
        {
            const RecordingList one = {part.m_strName, {strFilename}, part.m_place, part.m_classes, {}};
            dynamic_cast<FileSetDataGeneratorImpl&>(*pGenerator).setRecordings(one);
            if (!trainer.sumUp(*pGenerator, out_share.m_vRecordings.emplace_back()))
                return false;
            if (!pGenerator->endedCleanly())
            {
                QC_ERROR("The data set stopped before its end, in " << strFilename);
                return false;
            }
            ConsoleLog::settleErrors(); // of a recording that was skipped
            if (in_watch)
                in_watch(out_share.m_vRecordings.back().m_uiPatterns);
        }
    return true;
}

CountedObjPtr<DataGenerator> newJoinedScaling(const ScalingRequest& in_request, const ScalingShare& in_all)
{
    QC_TRACE("MachineLearning::newJoinedScaling");
    const auto itFirst =
        std::find_if(in_all.m_vRecordings.begin(), in_all.m_vRecordings.end(),
                     [](const VectorScalingTrainer::Sums& in_sums) { return in_sums.m_uiPatterns > 0; });
    if (itFirst == in_all.m_vRecordings.end())
    {
        QC_ERROR("There is no pattern with a target to learn from");
        return {};
    }
    ScalingDataGenerator::Config config;
    config.m_scalingTrainerConfig =
        makeTraining(in_request, itFirst->m_input.m_vSum.size(), itFirst->m_target.m_vSum.size());
    VectorScalingTrainer trainer;
    VectorScaler::Config scaling;
    if (trainer.configure(config.m_scalingTrainerConfig) &&
        trainer.computeScalingParam(in_all.m_vRecordings, scaling))
        return newScaling(config, scaling);
    QC_ERROR("The scaling could not be learnt");
    return {};
}

} // namespace Vexalor::MachineLearning
