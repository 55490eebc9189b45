#pragma once

#include "MLDataGeneratorWithConfig.h"
#include "MLVectorScaler.h"
#include "MLVectorScalingTrainer.h"

namespace Vexalor::MachineLearning
{

/// Hands out the patterns of another generator, scaled. If its configuration says so, it learns the scaling
/// from that generator first, once, in its first gotoStart.
///
/// Call order: (configure setDataGenerator | setDataGenerator configure), then as of any generator. Without a
/// generator every operation fails. What it knows of sequences it hands on, so it resets the entity when the
/// wrapped generator does, in the two passes of learning as well.
class ScalingDataGenerator
    : public virtual DataGeneratorWithConfig
    , public virtual SequenceDataGenerator
{
public:
    class Config : public DataGeneratorWithConfig::Config
    {
    public:
        /// The scaling; learning appends to it, so leave it empty then.
        VectorScaler::Config m_scalerConfig;
        /// What to do with each component when learning.
        VectorScalingTrainer::Config m_scalingTrainerConfig;
        /// Learn m_scalerConfig in the first gotoStart.
        bool m_bLearnScalingParameters = false;

    private:
        friend class boost::serialization::access;
        template <class Archive>
        void serialize(Archive& io_archive, unsigned int in_uiVersion);
    };

    ScalingDataGenerator();
    ~ScalingDataGenerator() override;

    /// Takes over a ScalingDataGenerator::Config; false, with the reason logged and the generator as it was,
    /// for another kind of configuration. The scaling is in force from the next gotoStart on. A generator
    /// that has learnt does not learn again.
    bool configure(const DataGeneratorWithConfig::Config& in_config) override;
    const Config& getConfig() const { return m_config; }

    /// Takes a share of the generator, in place of the share of an earlier one.
    void setDataGenerator(const CountedObjPtr<DataGenerator>& in_generator);

    /// Takes over the scaling of that scaler, at once and for the following passes.
    virtual void setScaler(const VectorScaler& in_scaler);
    /// The scaling in force; empty before the first gotoStart or setScaler.
    VectorScaler::Config getScalingParameters() const;

    /// Learns if that is due. False, with nothing learnt and the reason logged, if that failed; the next call
    /// tries again.
    bool gotoStart() override;
    bool generateNext() override;
    bool atEnd() const override;
    bool getInput(DoubleVector& out_vInput) override;
    bool getTarget(DoubleVector& out_vTarget) override;
    /// That of the wrapped generator.
    Fallible<const char*> getLibName() override;
    std::ostream& dumpStatus(std::ostream& out_stream) override;
    bool endedCleanly() const override;
    Fallible<double> getShareRead() const override;

    /// Hands the entity to the wrapped generator if that forms sequences.
    bool setEntityToReset(Handle<Resettable, ReferenceCount> in_entity) override;

protected:
    DataGeneratorWithConfig::Config& getConcreteConfig_i() const override { return m_config; }

private:
    friend class boost::serialization::access;
    template <class Archive>
    void serialize(Archive& io_archive, unsigned int in_uiVersion);

    bool learn();

    mutable Config m_config;
    VectorScaler m_scaler;
    VectorScalingTrainer m_trainer;
    CountedObjPtr<DataGenerator> m_pDataGenerator;
    bool m_bTrained = false;
};

} // namespace Vexalor::MachineLearning

BOOST_CLASS_EXPORT_KEY2(Vexalor::MachineLearning::ScalingDataGenerator::Config,
                        "MLScalingDataGeneratorConfig")
BOOST_CLASS_EXPORT_KEY2(Vexalor::MachineLearning::ScalingDataGenerator, "MLScalingDataGenerator")
