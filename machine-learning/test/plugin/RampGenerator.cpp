// A generator as a plug-in defines it: class, Config and an object held by the Config, known by their keys
// alone.

#include "MLDataGeneratorWithConfig.h"
#include "quillcast-core/Assertion.h"
#include "quillcast-core/SerializationArchives.h"
#include "quillcast-math/FeatureComputer.h"

#include <ostream>

namespace Ramp
{

using namespace Vexalor;
using namespace Vexalor::MachineLearning;

namespace
{
constinit Logger s_logger("quillcast.ml.generator.RampGenerator");
}

/// What is added to every input.
class Offset : public virtual Cloneable
{
public:
    Offset* clone() const override = 0;
    virtual double get() const = 0;

private:
    friend class boost::serialization::access;
    template <class Archive>
    void serialize(Archive&, unsigned int)
    {
    }
};

class ConstantOffset : public virtual Offset
{
public:
    ConstantOffset* clone() const override { return new ConstantOffset(*this); }
    double get() const override { return m_dValue; }

private:
    friend class boost::serialization::access;
    template <class Archive>
    void serialize(Archive& io_archive, unsigned int in_uiVersion);

    double m_dValue = 0.0;
};

/// Input n: start + n x step + offset, for each start; target: n.
class RampGenerator
    : public virtual DataGeneratorWithConfig
    , public virtual MultiPassDataGenerator
{
public:
    class Config : public virtual DataGeneratorWithConfig::Config
    {
    public:
        std::string m_strTitle;
        unsigned int m_uiNbPattern = 0;
        double m_dStep = 1.0;
        std::vector<double> m_vStart;
        CloneableObjPtr<Offset> m_pOffset;

    private:
        friend class boost::serialization::access;
        template <class Archive>
        void serialize(Archive& io_archive, unsigned int in_uiVersion);
    };

    bool configure(const DataGeneratorWithConfig::Config& in_config) override
    {
        const auto* pConfig = dynamic_cast<const Config*>(&in_config);
        if (!QC_CHECK(pConfig != nullptr) || !QC_CHECK(!pConfig->m_vStart.empty()))
            return false;
        m_config = *pConfig;
        return true;
    }

    bool gotoStart() override
    {
        m_uiNext = 0;
        return m_pEntityToReset.isNull() || m_pEntityToReset->reset();
    }

    bool generateNext() override
    {
        if (m_uiNext <= m_config.m_uiNbPattern)
            ++m_uiNext;
        return isValid();
    }

    bool atEnd() const override { return m_uiNext > m_config.m_uiNbPattern; }

    bool getInput(DoubleVector& out_vInput) override
    {
        if (!isValid())
            return false;
        out_vInput.clear();
        for (const double dStart : m_config.m_vStart)
            out_vInput.push_back(dStart + (m_uiNext - 1) * m_config.m_dStep +
                                 (m_config.m_pOffset.isNull() ? 0.0 : m_config.m_pOffset->get()));
        return true;
    }

    bool getTarget(DoubleVector& out_vTarget) override
    {
        if (!isValid())
            return false;
        out_vTarget.resize(1);
        out_vTarget[0] = double(m_uiNext - 1);
        return true;
    }

    std::ostream& dumpStatus(std::ostream& out_stream) override { return out_stream << "Ramp " << m_uiNext; }

    bool setEntityToReset(Handle<Resettable, ReferenceCount> in_entity) override
    {
        m_pEntityToReset = in_entity;
        return true;
    }

protected:
    DataGeneratorWithConfig::Config& getConcreteConfig_i() const override { return m_config; }

private:
    friend class boost::serialization::access;
    template <class Archive>
    void serialize(Archive& io_archive, unsigned int in_uiVersion);

    bool isValid() const { return m_uiNext > 0 && m_uiNext <= m_config.m_uiNbPattern; }

    mutable Config m_config;
    std::uint64_t m_uiNext = 0;
    Handle<Resettable, ReferenceCount> m_pEntityToReset;
};

/// One feature: the last sample times a gain.
class Feature : public virtual FeatureComputerWithInputs
{
public:
    Feature* clone() const override { return new Feature(*this); }
    bool setInput(const char*, const DoubleVector& in_vInput) override
    {
        m_dLast = in_vInput.empty() ? 0.0 : in_vInput.back();
        return true;
    }
    bool computeFeatures(DoubleVector& out_vFeatures) override
    {
        out_vFeatures = {m_dLast * m_dGain};
        return true;
    }
    bool reset() override { return true; }

private:
    friend class boost::serialization::access;
    template <class Archive>
    void serialize(Archive& io_archive, unsigned int in_uiVersion);

    double m_dGain = 1.0;
    double m_dLast = 0.0;
};

} // namespace Ramp

BOOST_CLASS_EXPORT_KEY2(Ramp::Feature, "RampFeature")
BOOST_CLASS_EXPORT_KEY2(Ramp::Offset, "RampOffset")
BOOST_CLASS_EXPORT_KEY2(Ramp::ConstantOffset, "RampConstantOffset")
BOOST_CLASS_EXPORT_KEY2(Ramp::RampGenerator, "RampGenerator")
BOOST_CLASS_EXPORT_KEY2(Ramp::RampGenerator::Config, "RampGeneratorConfig")

namespace Ramp
{

template <class Archive>
void ConstantOffset::serialize(Archive& io_archive, unsigned int)
{
    serializeBase<Offset>(io_archive, *this);
    QC_FIELD(m_dValue);
}

template <class Archive>
void Feature::serialize(Archive& io_archive, unsigned int)
{
    serializeBase<FeatureComputerWithInputs>(io_archive, *this);
    QC_FIELD(m_dGain);
}

template <class Archive>
void RampGenerator::Config::serialize(Archive& io_archive, unsigned int)
{
    serializeBase<DataGeneratorWithConfig::Config>(io_archive, *this);
    QC_FIELD(m_strTitle);
    QC_FIELD(m_uiNbPattern, "", "number of patterns");
    QC_FIELD(m_dStep);
    QC_FIELD(m_vStart);
    QC_FIELD(m_pOffset);
}

template <class Archive>
void RampGenerator::serialize(Archive& io_archive, unsigned int)
{
    serializeBase<DataGeneratorWithConfig>(io_archive, *this);
}

} // namespace Ramp

BOOST_CLASS_EXPORT_IMPLEMENT(Ramp::Feature)
BOOST_CLASS_EXPORT_IMPLEMENT(Ramp::ConstantOffset)
BOOST_CLASS_EXPORT_IMPLEMENT(Ramp::RampGenerator)
BOOST_CLASS_EXPORT_IMPLEMENT(Ramp::RampGenerator::Config)
