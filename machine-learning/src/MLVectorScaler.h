#pragma once

#include "quillcast-core/Object.h"
#include "quillcast-core/Serialization.h"
#include "quillcast-math/DoubleVector.h"

namespace Vexalor::MachineLearning
{

/// A linear map of each component of inputs and targets: value x slope + intercept. Call order: configure
/// (scaleInput | scaleTarget)*; without parameters it leaves every vector alone.
class VectorScaler : public virtual Object
{
public:
    /// Slope and y-intercept of each component. The layout of the files is in doc/formats.md, "Scaling".
    class Config : public virtual OutputStreamable
    {
    public:
        DoubleVector m_vInputSlope;
        DoubleVector m_vInputYIntercept;
        DoubleVector m_vTargetSlope;
        DoubleVector m_vTargetYIntercept;

        /// A line with a title, then the four vectors with their names on one line.
        std::ostream& write(std::ostream& out_stream) const override;

        /// Exact, like that of vectors.
        friend bool operator==(const Config& in_left, const Config& in_right);

    private:
        friend class boost::serialization::access;
        template <class Archive>
        void serialize(Archive& io_archive, unsigned int in_uiVersion);
    };

    VectorScaler();
    VectorScaler(const VectorScaler& in_other);
    VectorScaler& operator=(const VectorScaler&) = default;

    /// Takes over a copy of the parameters; always true.
    virtual bool configure(const Config& in_config);
    /// The parameters in force.
    const Config& getConfig() const { return m_config; }

    /// Scale a vector in place: as many components as there are parameters for, the others stay as they are.
    /// A vector of another size than the parameters, where there are any, gives one warning until the next
    /// configure. Always true.
    bool scaleInput(DoubleVector& io_vInput);
    bool scaleTarget(DoubleVector& io_vTarget);

private:
    void warnOfSize(const char* in_what, std::size_t in_uiValues, std::size_t in_uiParameters);

    Config m_config;
    bool m_bWarned = false;
};

} // namespace Vexalor::MachineLearning

BOOST_CLASS_EXPORT_KEY2(Vexalor::MachineLearning::VectorScaler::Config, "MLVectorScalerConfig")
