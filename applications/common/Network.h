#pragma once

#include "MLTester.h"
#include "quillcast-core/Object.h"

#include <cstddef>

namespace Vexalor::MachineLearning
{

/// A trained network: an entity of fixed sizes that is copied for every stream it is used on.
///
/// Call order: (reset compute*)*. One thread at a time; clones may be used on different threads, whatever
/// they share.
class Network
    : public MLTester::TestedEntity
    , public virtual Resettable
    , public virtual Cloneable
{
public:
    virtual std::size_t getInputSize() const = 0;
    virtual std::size_t getOutputSize() const = 0;
    /// Whether an output depends on earlier inputs.
    virtual bool hasState() const { return false; }
    /// Bytes that a further clone takes.
    virtual std::size_t getCloneSize() const = 0;

    /// Shares the weights and has states of its own, which are those of the original; owned by the caller.
    Network* clone() const override = 0;

    /// Back to the states that the network starts with; always true.
    bool reset() override { return true; }
};

} // namespace Vexalor::MachineLearning
