#pragma once

#include "quillcast-core/CloneableObjPtr.h"
#include "quillcast-math/DoubleVector.h"
#include "quillcast-math/FeatureComputer.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Vexalor
{

/// What the feature computers share that put the features of another computer into the context of the windows
/// before. None looks ahead, so that a decision is as early with them as without. The windows since the last
/// reset are their context: reset where a sequence begins, in training as in use. At its first window the
/// windows before it are taken to have been equal to it. A clone has the context of its original, and goes on
/// by itself.
class ContextFeatureComputer : public virtual FeatureComputerWithInputs
{
public:
    /// Most values that are kept by this computer and all that are set into each other with it.
    static constexpr std::size_t MAX_VALUES = std::size_t(1) << 18;

    ContextFeatureComputer() = default;
    ContextFeatureComputer(const ContextFeatureComputer& in_other);
    ContextFeatureComputer& operator=(const ContextFeatureComputer&) = delete;
    ContextFeatureComputer* clone() const override = 0;

    /// Takes ownership of the computer whose features are taken, and begins anew. Null is refused: reported,
    /// false.
    bool setComputer(FeatureComputer* in_pComputer);

    bool reset() override;
    /// Handed on to the computer, if that takes inputs.
    bool setInput(const char* in_name, const DoubleVector& in_vInput) override;
    /// False, with the reason logged at error level, when the computer fails, when there are no features or
    /// not as many as at the window before, and when the settings make no sense or ask for more values than
    /// MAX_VALUES. A window that failed is no
    /// part of the context.
    bool computeFeatures(DoubleVector& out_vFeatures) override;

protected:
    /// A reason not to begin with so many features; null for none.
    virtual const char* findFault(std::size_t in_uiFeatures) const = 0;
    /// Values that are kept for so many features, which are without fault; no fewer than are given out.
    virtual std::uint64_t countValues(std::size_t in_uiFeatures) const = 0;
    /// The first window since the reset has these features.
    virtual void begin(const DoubleVector& in_vFeatures) = 0;
    /// The features of a window, the first included, in its context.
    virtual void computeFeatures_i(const DoubleVector& in_vFeatures, DoubleVector& out_vFeatures) = 0;
    /// To be called when an archive has been read.
    void forget();

    CloneableObjPtr<FeatureComputer> m_pComputer;

private:
    const char* findReason(std::size_t in_uiFeatures) const;

    FeatureComputerWithInputs* m_pWithInputs = nullptr; ///< m_pComputer; null: not looked for, or takes none
    DoubleVector m_vFeatures;
    std::size_t m_uiFeatures = 0; ///< 0: no window since the reset
};

/// The features of the latest windows, as many as they were told to hold. Call order: fill (push | at)*.
class FeatureHistory
{
public:
    /// So many windows, all of them with these features.
    void fill(std::size_t in_uiWindows, const DoubleVector& in_vFeatures);
    /// Takes the place of the oldest.
    void push(const DoubleVector& in_vFeatures);
    /// Those of so many windows ago; 0 is the latest.
    const double* at(std::size_t in_uiAgo) const
    {
        const std::size_t uiRow =
            m_uiLatest >= in_uiAgo ? m_uiLatest - in_uiAgo : m_uiLatest + m_uiWindows - in_uiAgo;
        return m_vValues.data() + uiRow * m_uiFeatures;
    }

private:
    std::size_t m_uiWindows = 0;
    std::size_t m_uiFeatures = 0;
    std::size_t m_uiLatest = 0;
    std::vector<double> m_vValues; ///< a row a window
};

/// Deltas, how fast features change: for each of D features its value, then for each its slope a window, then
/// the slope of the slope and so on; the same with twice the reach for each further scale, D (order S + 1)
/// features. The slope is that of the regression line through the last 2 N + 1 windows,
///     d[t] = sum over n = -N .. N of n c[t - N + n] / sum over n of n^2
/// (S. Furui, "Speaker-independent isolated word recognition using dynamic features of speech spectrum", IEEE
/// Trans. ASSP 34, 1986); higher orders apply it again. It is that of the window N before the last, so slopes
/// come N windows an order late; the values themselves do not. Sums run from the oldest window to the latest.
class DeltaFeatureComputer final : public ContextFeatureComputer
{
public:
    class Config
    {
    public:
        unsigned int m_uiReach = 2;  ///< N, windows; 1 or more, the longest scale at most MAX_REACH
        unsigned int m_uiOrder = 1;  ///< 1: slopes, 2: slopes of slopes too, ... to 4
        unsigned int m_uiScales = 1; ///< S: reaches N, 2 N, 4 N, ... side by side; 1 to 16

    private:
        friend class boost::serialization::access;
        template <class Archive>
        void serialize(Archive& io_archive, unsigned int in_uiVersion);
    };

    DeltaFeatureComputer() = default;
    explicit DeltaFeatureComputer(const Config& in_config);
    DeltaFeatureComputer* clone() const override { return new DeltaFeatureComputer(*this); }
    const Config& getConfig() const { return m_config; }

private:
    static constexpr unsigned int MAX_ORDER = 4;
    static constexpr unsigned int MAX_SCALES = 16;
    /// Windows: weights of higher orders take time that grows with its square.
    static constexpr std::uint64_t MAX_REACH = 1024;

    const char* findFault(std::size_t in_uiFeatures) const override;
    std::uint64_t countValues(std::size_t in_uiFeatures) const override;
    void begin(const DoubleVector& in_vFeatures) override;
    std::uint64_t getLongestReach() const;
    void addSlopes(std::size_t in_uiReach);
    void computeFeatures_i(const DoubleVector& in_vFeatures, DoubleVector& out_vFeatures) override;

    friend class boost::serialization::access;
    template <class Archive>
    void serialize(Archive& io_archive, unsigned int in_uiVersion);

    Config m_config;
    std::vector<std::vector<double>>
        m_vWeights; ///< for each slope those of the last windows, the oldest first
    FeatureHistory m_history;
};

/// Splicing, windows side by side: the features of K windows before, the oldest first, then those of the
/// window itself, D (K + 1) features. With a step S they are those of the windows t - K S, ..., t - S and t,
/// since windows that overlap have little new to tell.
class SpliceFeatureComputer final : public ContextFeatureComputer
{
public:
    class Config
    {
    public:
        unsigned int m_uiWindowsBefore = 4; ///< K
        unsigned int m_uiStep = 1;          ///< S, windows; 1 or more

    private:
        friend class boost::serialization::access;
        template <class Archive>
        void serialize(Archive& io_archive, unsigned int in_uiVersion);
    };

    SpliceFeatureComputer() = default;
    explicit SpliceFeatureComputer(const Config& in_config);
    SpliceFeatureComputer* clone() const override { return new SpliceFeatureComputer(*this); }
    const Config& getConfig() const { return m_config; }

private:
    const char* findFault(std::size_t in_uiFeatures) const override;
    std::uint64_t countValues(std::size_t in_uiFeatures) const override;
    void begin(const DoubleVector& in_vFeatures) override;
    void computeFeatures_i(const DoubleVector& in_vFeatures, DoubleVector& out_vFeatures) override;

    friend class boost::serialization::access;
    template <class Archive>
    void serialize(Archive& io_archive, unsigned int in_uiVersion);

    Config m_config;
    FeatureHistory m_history;
};

/// Running normalisation: each feature less its running mean and, if so set, divided by its running standard
/// deviation; D features. Of the t-th window since the reset the mean and the variance are
///     m[t] = m[t-1] + a (x - m[t-1]), v[t] = (1 - a) (v[t-1] + a (x - m[t-1])^2), a = max(1 / t, 1 / T)
/// (D. H. D. West, "Updating mean and variance estimates", Comm. ACM 22, 1979, with weights): those of all
/// windows so far during the first T, then an exponential window with the time constant T. The window itself
/// is part of them, so that the first one gives 0. A value that is not finite gives what is not finite, and
/// leaves its mean and variance as they are.
class NormalisationFeatureComputer final : public ContextFeatureComputer
{
public:
    class Config
    {
    public:
        double m_dTimeConstant = 300.0;  ///< T, windows; 1 or more
        bool m_bVariance = true;         ///< divide by the deviation
        double m_dLeastDeviation = 0.01; ///< that it is taken to have at least; positive

    private:
        friend class boost::serialization::access;
        template <class Archive>
        void serialize(Archive& io_archive, unsigned int in_uiVersion);
    };

    NormalisationFeatureComputer() = default;
    explicit NormalisationFeatureComputer(const Config& in_config);
    NormalisationFeatureComputer* clone() const override { return new NormalisationFeatureComputer(*this); }
    const Config& getConfig() const { return m_config; }

private:
    const char* findFault(std::size_t in_uiFeatures) const override;
    std::uint64_t countValues(std::size_t in_uiFeatures) const override;
    void begin(const DoubleVector& in_vFeatures) override;
    void computeFeatures_i(const DoubleVector& in_vFeatures, DoubleVector& out_vFeatures) override;

    friend class boost::serialization::access;
    template <class Archive>
    void serialize(Archive& io_archive, unsigned int in_uiVersion);

    struct Running
    {
        double m_dMean = 0.0;
        double m_dVariance = 0.0;
        double m_dWindows = 0.0; ///< since the reset, those with a finite value
    };

    Config m_config;
    std::vector<Running> m_vRunning; ///< of each feature
};

} // namespace Vexalor

BOOST_CLASS_EXPORT_KEY2(Vexalor::DeltaFeatureComputer, "DeltaFeatureComputer")
BOOST_CLASS_EXPORT_KEY2(Vexalor::SpliceFeatureComputer, "SpliceFeatureComputer")
BOOST_CLASS_EXPORT_KEY2(Vexalor::NormalisationFeatureComputer, "NormalisationFeatureComputer")
