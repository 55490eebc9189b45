#include "ml-config/ScalingLearner.h"

#include "MLDataGeneratorFactory.h"
#include "MLScalingDataGenerator.h"
#include "ml-config/JoinedDataGenerator.h"
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
    auto& vParams = config.m_scalingTrainerConfig.m_vTrainingParam;
    vParams.assign(uiInputs, makeParam(in_request.m_strInputs, in_request));
    vParams.resize(uiInputs + uiTargets, makeParam(in_request.m_strTargets, in_request));
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
    config.m_bLearnScalingParameters = false;
    config.m_scalerConfig = pScaling->getScalingParameters();
    const CountedObjPtr<ScalingDataGenerator> pLearnt(new ScalingDataGenerator);
    return pLearnt->configure(config) ? pLearnt : CountedObjPtr<ScalingDataGenerator>();
}

} // namespace Vexalor::MachineLearning
