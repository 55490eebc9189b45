#pragma once

#include "common/Network.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

struct fann;

namespace Vexalor::MachineLearning
{

/// A feed-forward neural network of the FANN library, in double precision. Inputs and outputs are taken and
/// given as they are; nothing scales them.
class FannNetwork final : public Network
{
public:
    /// Values that an output neuron can give: all, (0, 1) or (-1, 1).
    enum class Output
    {
        LINEAR,
        SIGMOID,
        SYMMETRIC
    };

    /// Most connections of a new network: what fits into a file of the greatest size that is read, at 40
    /// characters each.
    static constexpr std::uint64_t MAX_CONNECTIONS = 1'600'000;

    /// Reads a network file; the caller owns the network. Null, with file, line and reason logged at error
    /// level, for a file that cannot be read or is damaged in any way.
    static FannNetwork* newFromFile(const char* in_filename);

    /// The same from the text of a file, which messages call in_name.
    static FannNetwork* newFromText(const std::string& in_strText, const char* in_name);

    /// A fully connected network with layers of in_vSizes (input first) and symmetric sigmoid hidden neurons;
    /// the caller owns it. Start weights are drawn uniformly by in_uiSeed alone, within sqrt(3 / connections
    /// of the neuron). Null, with the reason logged at error level, if a layer is empty or there are more
    /// than MAX_CONNECTIONS.
    static FannNetwork* newLayered(const std::vector<unsigned int>& in_vSizes, Output in_output,
                                   std::uint64_t in_uiSeed);

    FannNetwork(const FannNetwork&) = delete;
    FannNetwork& operator=(const FannNetwork&) = delete;
    ~FannNetwork() override;

    std::size_t getInputSize() const override;
    std::size_t getOutputSize() const override;
    std::size_t getCloneSize() const override;

    /// Shares the weights, which must not change any more, and has layers and neurons of its own: a
    /// computation writes into these.
    FannNetwork* clone() const override;

    /// False for an input of another size than getInputSize, and for one with a number that is not finite,
    /// for which FANN would give an output that looks like any other; logged at error level the first time.
    /// Allocates nothing once out_vOutput has its size.
    bool compute(const double* in_begin, const double* in_end, DoubleVector& out_vOutput) const override;

    /// Takes the scaling (x - in_vMean) * in_vFactor of every input into the weights of the first layer: the
    /// network then gives for x what it gave for the scaled x. For a network of newLayered that has no
    /// clones.
    bool foldInputScaling(const DoubleVector& in_vMean, const DoubleVector& in_vFactor);
    /// Takes y * in_dDeviation + in_vMean of every output into the weights of the last layer. For a network
    /// of newLayered with linear outputs, or a scaling that changes nothing, that has no clones.
    bool foldTargetScaling(const DoubleVector& in_vMean, double in_dDeviation);
    /// As foldInputScaling, for x * in_vSlope + in_vIntercept and any network. False, with the network as it
    /// was and nothing logged, for other numbers of inputs, and where an input with an intercept leads to a
    /// neuron without bias.
    bool foldLinearScaling(const DoubleVector& in_vSlope, const DoubleVector& in_vIntercept);

    /// The text of the network file.
    std::string getText() const;

    /// The library's own network, for training.
    fann& getFann() { return *m_pRun; }

private:
    struct Copy;

    explicit FannNetwork(fann* io_pFann);
    FannNetwork(const FannNetwork& in_other, std::unique_ptr<Copy> in_pCopy);

    bool isUsable(const double* in_begin, const double* in_end) const;

    std::shared_ptr<fann> m_pFann; ///< owns the weights
    std::unique_ptr<Copy> m_pCopy; ///< of what a computation writes into; null: that of m_pFann
    fann* m_pRun;                  ///< what computes
    mutable bool m_bReported = false;
};

} // namespace Vexalor::MachineLearning
