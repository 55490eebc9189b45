#pragma once

#include "MLDataGenerator.h"
#include "MLVectorScaler.h"

#include <array>
#include <cstdint>
#include <vector>

namespace Vexalor::MachineLearning
{

/// Learns, in two passes over a stream of patterns, how to scale each component of its inputs and targets:
/// not at all, to mean 0 and standard deviation 1, or into an interval. Call order: configure
/// computeScalingParam*.
///
/// Sums are taken in the order of the patterns, each component for itself: the results are the same bits on
/// every machine.
class VectorScalingTrainer : public virtual Object
{
public:
    /// What to do with each component. The layout of the files is in doc/formats.md, "Scaling".
    class Config : public virtual Object
    {
    public:
        /// Of one component; neither flag: it stays as it is. Both: refused.
        class TrainingParam
        {
        public:
            bool m_bMinMax = false;         ///< from [least, greatest value] to the interval
            double m_dScaledMinValue = 0.0; ///< lower end of the interval
            double m_dScaledMaxValue = 1.0; ///< upper end of the interval
            bool m_bStandardize = false;    ///< to mean 0 and standard deviation 1

        private:
            friend class boost::serialization::access;
            template <class Archive>
            void serialize(Archive& io_archive, unsigned int in_uiVersion);
        };

        /// One for each component of an input, then one for each of a target.
        std::vector<TrainingParam> m_vTrainingParam;

    private:
        friend class boost::serialization::access;
        template <class Archive>
        void serialize(Archive& io_archive, unsigned int in_uiVersion);
    };

    /// What the patterns of a part of a data set, such as a recording, add up to; a value a component.
    struct Sums
    {
        /// Of all inputs, or of all targets.
        struct Side
        {
            std::vector<double> m_vMax;
            std::vector<double> m_vMin;
            std::vector<double> m_vSum;
            std::vector<double> m_vSquares; ///< squared deviations from the mean of the part

            template <class Self, class Bytes>
            static void exchange(Self& io_self, Bytes& io_bytes)
            {
                io_bytes(io_self.m_vMax, io_self.m_vMin, io_self.m_vSum, io_self.m_vSquares);
            }
        };

        std::uint64_t m_uiPatterns = 0; ///< with a target; 0: the sides are empty
        Side m_input;
        Side m_target;

        /// As ByteWriter and ByteReader take it.
        template <class Self, class Bytes>
        static void exchange(Self& io_self, Bytes& io_bytes)
        {
            io_bytes(io_self.m_uiPatterns, io_self.m_input, io_self.m_target);
        }
    };

    VectorScalingTrainer();
    VectorScalingTrainer(const VectorScalingTrainer&) = default;
    VectorScalingTrainer& operator=(const VectorScalingTrainer&) = default;

    /// Takes over a copy; always true.
    virtual bool configure(const Config& in_config);

    /// Appends one slope and one y-intercept for each component to the four vectors, which the caller has
    /// emptied; leaves the generator at its end. Patterns without target do not count. The standard deviation
    /// is that of a sample, with the divisor n - 1. What has one value only, or values that are not finite,
    /// too large, too close to each other or too far apart, gives a warning and parameters that make no
    /// sense.
    ///
    /// False, with the reason logged at error level and the vectors in no particular state, when a pass
    /// cannot start, when the configuration is not for patterns of the first one's size, when a component is
    /// to be standardized whose deviation is 0, or when both flags are set. A stream that stops before its
    /// end gives a warning.
    bool computeScalingParam(DataGenerator& io_generator, VectorScaler::Config& io_scalerConfig);

    /// The two passes over a part; what is asked of the generator is as above. Needs no configuration. False,
    /// with the reason logged, when a pass cannot start.
    bool sumUp(DataGenerator& io_generator, Sums& out_sums);
    /// The scaling of a data set from its parts, which are folded in their order: the same bits however many
    /// processes summed them up. Of n values x both this sum and the one of a single pass are within (n - 1)
    /// u sum |x| of the exact one, u = 2^-53; squared deviations add up by T. F. Chan, G. H. Golub and R. J.
    /// LeVeque, Stanford STAN-CS-79-773 (1979). False as above, and for parts whose patterns differ in size.
    bool computeScalingParam(const std::vector<Sums>& in_vParts, VectorScaler::Config& io_scalerConfig);

private:
    /// Patterns that are folded in together, so that sums need not go to memory and back for each of them.
    static constexpr std::size_t BATCH_SIZE = 16;

    struct Pattern
    {
        DoubleVector m_vInput;
        DoubleVector m_vTarget;
    };

    /// Of all inputs, or of all targets; a value a component. Sums become the mean and the deviation in
    /// place.
    struct Statistics
    {
        DoubleVector m_vMax;
        DoubleVector m_vMin;
        DoubleVector m_vSlope; ///< of min-max scaling
        DoubleVector m_vAvg;
        DoubleVector m_vStdDev;
    };

    void resetData();
    bool readMeans(DataGenerator& io_generator);
    bool readDeviations(DataGenerator& io_generator);
    static bool addPart(std::uint64_t in_uiPatterns, const Sums::Side& in_part, Statistics& io_whole);
    static void addDeviations(std::uint64_t in_uiPatterns, const Sums::Side& in_part, Statistics& io_whole);
    /// Calls in_fold with each batch of patterns that count; those of a batch have the same sizes.
    template <class Fold>
    void readBatches(DataGenerator& io_generator, Fold in_fold);
    std::size_t getNbCommonInputs() const;
    std::size_t getNbCommonTargets() const;
    void computeMinAndMax();
    void updateMeanCounter();
    void computeMean();
    void updateStdDevCounter();
    void computeStdDev();
    void computeSlope();
    void computeSlope(const char* in_name, Statistics& io_statistics, std::size_t in_uiFirstParam) const;
    bool computeResultingParam(VectorScaler::Config& io_scalerConfig) const;
    static const char* findFault(const Statistics& in_statistics, std::size_t in_uiIndex,
                                 bool in_bStandardize);
    bool computeResultingParam(const char* in_name, const Statistics& in_statistics,
                               std::size_t in_uiFirstParam, DoubleVector& io_vSlope,
                               DoubleVector& io_vYIntercept) const;
    bool isForTheseSizes() const;

    Config m_config;
    std::array<Pattern, BATCH_SIZE> m_vBatch;
    std::size_t m_uiBatch = 0;                         ///< patterns in it
    std::array<const double*, BATCH_SIZE> m_vInputs{}; ///< where theirs are
    std::array<const double*, BATCH_SIZE> m_vTargets{};
    Statistics m_input;
    Statistics m_target;
    std::uint64_t m_uiInputSize = 0;
    std::uint64_t m_uiTargetSize = 0;
    std::uint64_t m_uiNumberData = 0;
};

} // namespace Vexalor::MachineLearning

BOOST_CLASS_EXPORT_KEY2(Vexalor::MachineLearning::VectorScalingTrainer::Config,
                        "MLVectorScalingTrainerConfig")
BOOST_CLASS_TRACKING(Vexalor::MachineLearning::VectorScalingTrainer::Config::TrainingParam,
                     boost::serialization::track_never)
