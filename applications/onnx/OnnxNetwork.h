#pragma once

#include "common/Network.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace Vexalor::MachineLearning
{

namespace Onnx
{
struct Program;
}

/// A neural network from an ONNX file as the entity under test, computed in single precision. doc/onnx.md has
/// the operators that it may have.
///
/// An output named like an input followed by "_next" is what that input is for the next pattern: a state.
/// States start at 0, or at the initializer of the input's name, and go back there with reset. The one other
/// input takes the pattern, the one other output is the result, both as rows of numbers whatever their shape.
///
/// A network is used by one thread at a time. Clones share the weights and may be used on different threads.
class OnnxNetwork final : public Network
{
public:
    /// True for the first bytes of an ONNX file: the version of its format comes first.
    static bool isOnnx(std::string_view in_content) { return !in_content.empty() && in_content[0] == '\x08'; }

    /// From the bytes of a file, which messages call in_name; they are not needed after this. The
    /// caller owns the network. Null, with file, node and reason logged at error level, for a file that is
    /// damaged, and for a network that asks for anything that is not supported. Takes less than 16 MiB
    /// and eight times the size of the file.
    static OnnxNetwork* newFromContent(std::string_view in_content, const char* in_name);

    OnnxNetwork(const OnnxNetwork&) = delete;
    OnnxNetwork& operator=(const OnnxNetwork&) = delete;
    ~OnnxNetwork() override;

    OnnxNetwork* clone() const override;

    std::size_t getInputSize() const override;
    std::size_t getOutputSize() const override;
    bool hasState() const override;
    std::size_t getCloneSize() const override;

    /// Moves the states on. False for an input of another size than getInputSize and for one with a number
    /// that is not finite in single precision, logged at error level the first time; the states then stay as
    /// they are. Allocates nothing once out_vOutput has its size.
    bool compute(const double* in_begin, const double* in_end, DoubleVector& out_vOutput) const override;

    bool reset() override;

private:
    explicit OnnxNetwork(std::shared_ptr<const Onnx::Program> in_pProgram);

    bool takeInput(const double* in_begin, const double* in_end) const;

    std::shared_ptr<const Onnx::Program> m_pProgram;
    mutable std::vector<float> m_vMemory;
    mutable bool m_bReported = false;
};

} // namespace Vexalor::MachineLearning
