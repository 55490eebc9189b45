#pragma once

#include "MLTester.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

struct fann;

namespace Vexalor::MachineLearning
{

/// A feed-forward neural network of the FANN library, in double precision, as the entity under test. Inputs
/// and outputs are taken and given as they are; nothing scales them.
class FannNetwork : public MLTester::TestedEntity
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

    std::size_t getInputSize() const;
    std::size_t getOutputSize() const;

    /// False for an input of another size than getInputSize, logged at error level the first time. Allocates
    /// nothing once out_vOutput has its size.
    bool compute(const double* in_begin, const double* in_end, DoubleVector& out_vOutput) const override;

    /// Takes the scaling (x - in_vMean) * in_vFactor of every input into the weights of the first layer: the
    /// network then gives for x what it gave for the scaled x. For a network of newLayered.
    bool foldInputScaling(const DoubleVector& in_vMean, const DoubleVector& in_vFactor);

    /// The text of the network file.
    std::string getText() const;

    /// The library's own network, for training.
    fann& getFann() { return *m_pFann; }

private:
    struct Destroy
    {
        void operator()(fann* io_pFann) const;
    };

    explicit FannNetwork(fann* io_pFann);

    std::unique_ptr<fann, Destroy> m_pFann;
    mutable bool m_bSizeReported = false;
};

} // namespace Vexalor::MachineLearning
