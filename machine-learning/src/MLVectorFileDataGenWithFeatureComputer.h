#pragma once

#include "MLDataGeneratorWithConfig.h"
#include "MLVectorFileDataGenerator.h"
#include "quillcast-core/CloneableObjPtr.h"
#include "quillcast-math/FeatureComputer.h"

namespace Vexalor::MachineLearning
{

/// Reads a text vector pattern file whose inputs are windows of audio, or whatever else a feature computer
/// takes as its input "audio": the features of each are the input of the pattern, the target is that of the
/// file. A line of which no features can be computed is skipped as one that is no pattern. The computer is
/// reset at the start of each pass and of each sequence.
///
/// Call order: configure setCurrentFilename, then as of any generator.
class VectorFileDataGenWithFeatureComputer
    : public VectorFileDataGenerator
    , public virtual DataGeneratorWithConfig
{
public:
    class Config : public DataGeneratorWithConfig::Config
    {
    public:
        CloneableObjPtr<FeatureComputer> m_pFeatureComputer;

    private:
        friend class boost::serialization::access;
        template <class Archive>
        void serialize(Archive& io_archive, unsigned int in_uiVersion);
    };

    /// Takes over a VectorFileDataGenWithFeatureComputer::Config. False, with the reason logged and the
    /// generator as it was, for another kind of configuration and for one whose computer is missing or takes
    /// no inputs.
    bool configure(const DataGeneratorWithConfig::Config& in_config) override;
    const Config& getConfig() const { return m_config; }
    GeneratorFacts getFacts() const override;

    bool gotoStart() override;

protected:
    bool makeInput_i(bool in_bNewSequence, DoubleVector& io_vInput) override;
    DataGeneratorWithConfig::Config& getConcreteConfig_i() const override { return m_config; }

private:
    friend class boost::serialization::access;
    template <class Archive>
    void serialize(Archive& io_archive, unsigned int in_uiVersion);

    mutable Config m_config;
    CloneableObjPtr<FeatureComputer> m_pFeatureComputer;
    FeatureComputerWithInputs* m_pComputerInputs = nullptr; ///< the same; null before configure
    DoubleVector m_vFeatures;
};

} // namespace Vexalor::MachineLearning

BOOST_CLASS_EXPORT_KEY2(Vexalor::MachineLearning::VectorFileDataGenWithFeatureComputer::Config,
                        "MLVectorFileDataGenWithFeatureComputerConfig")
BOOST_CLASS_EXPORT_KEY2(Vexalor::MachineLearning::VectorFileDataGenWithFeatureComputer,
                        "MLVectorFileDataGenWithFeatureComputer")
