#pragma once

#include "quillcast-core/Handle.h"
#include "quillcast-core/Object.h"
#include "quillcast-math/DoubleVector.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace Vexalor::Math::Xpr
{

class Core;

/// A named vector of an evaluator: the value of an expression or an input.
class Variable : public virtual Object
{
public:
    /// As Evaluator::getVariable takes it: "script.name", or "name" for inputs and single expressions.
    virtual const std::string& getName() const = 0;

    /// The value for the present inputs. False, with file and line of the expression logged at error level,
    /// when it cannot be computed: lengths that do not match, an index out of range.
    virtual bool evaluate(DoubleVector& out_vValue) = 0;

    /// Gives an input its value for a window. A window begins with the first assignment and with that of an
    /// input that has had its value in this window already; states advance when the next one begins. False,
    /// reported, when the variable is no input or the vector is longer than Limits allow.
    virtual bool assign(const DoubleVector& in_vValue) = 0;
};

/// Handle onto a variable. It shares what the evaluator computes with, so it may outlive the evaluator, and
/// what is added to the evaluator later does not move it.
class VariableImpl : public virtual Variable
{
public:
    VariableImpl(std::shared_ptr<Core> in_pCore, std::uint32_t in_uiSymbol);
    ~VariableImpl() override;

    const std::string& getName() const override { return m_strName; }
    bool evaluate(DoubleVector& out_vValue) override;
    bool assign(const DoubleVector& in_vValue) override;

protected:
    static constexpr std::uint32_t NO_INPUT = ~std::uint32_t(0);

    VariableImpl();
    void bind(std::shared_ptr<Core> in_pCore, std::uint32_t in_uiSymbol);

    std::shared_ptr<Core> m_pCore; ///< null: belongs to no evaluator yet
    std::size_t m_uiLookedUp = 0;
    std::uint32_t m_uiInput = NO_INPUT;
    std::string m_strName;
};

/// An input: setName, Evaluator::addVariable, (assign evaluate*)*.
class DomainVariableImpl final : public VariableImpl
{
public:
    DomainVariableImpl();

    /// False, reported, for what is no name, and once the variable belongs to an evaluator.
    bool setName(const char* in_szName);

    /// Gives the value that holds outside of windows, before the first one and after a reset: no window
    /// begins and no state advances. Otherwise as assign.
    bool preset(const DoubleVector& in_vValue);

private:
    friend class Evaluator;
};

} // namespace Vexalor::Math::Xpr
