#include "Plan.h"

#include <cmath>

namespace Vexalor::Math::Xpr
{

namespace
{

std::string lengths(std::size_t in_uiLeft, std::size_t in_uiRight)
{
    return "lengths " + std::to_string(in_uiLeft) + " and " + std::to_string(in_uiRight) + " do not match";
}

/// Where lengths fit as those of operators do, the length of the result.
bool join(std::uint32_t in_uiLeft, std::uint32_t in_uiRight, std::uint32_t& out_uiLength)
{
    out_uiLength = in_uiLeft == 1 ? in_uiRight : in_uiLeft;
    return in_uiLeft == in_uiRight || in_uiLeft == 1 || in_uiRight == 1;
}

/// The lengths of states that depend on themselves are tried until they settle.
class Lengths
{
public:
    explicit Lengths(Plan& io_plan)
        : m_program(io_plan.m_program)
        , m_plan(io_plan)
        , m_vTrials(m_program.getSymbols().size())
    {
    }

    /// In rounds: all lengths that may have changed are found anew, then all states take theirs.
    void settle(const std::vector<std::uint32_t>& in_vComponent)
    {
        const std::size_t uiNbStates = open(in_vComponent);
        std::set<std::uint32_t> pending; // positions in the component: users come after what they use
        for (std::uint32_t i = 0; i < in_vComponent.size(); ++i)
            pending.insert(pending.end(), i);
        while (!pending.empty())
        {
            std::vector<std::uint32_t> vStates;
            while (!pending.empty())
            {
                const std::uint32_t uiSymbol = in_vComponent[*pending.begin()];
                pending.erase(pending.begin());
                measure(uiSymbol);
                const Trial& trial = m_vTrials[uiSymbol];
                pending.insert(trial.m_vUsers.begin(), trial.m_vUsers.end());
                if (!trial.m_vLaterUsers.empty())
                    vStates.push_back(uiSymbol);
            }
            for (const std::uint32_t uiSymbol : vStates)
                if (resize(uiSymbol, uiNbStates))
                    pending.insert(m_vTrials[uiSymbol].m_vLaterUsers.begin(),
                                   m_vTrials[uiSymbol].m_vLaterUsers.end());
        }
        for (const std::uint32_t uiSymbol : in_vComponent)
            m_vTrials[uiSymbol].m_bOpen = false;
    }

private:
    static constexpr std::uint32_t UNSET = ~std::uint32_t(0);

    /// Of a symbol, while its component is settled.
    struct Trial
    {
        std::uint32_t m_uiLength = UNSET; ///< of its state; UNSET: that of the initial value
        std::size_t m_uiResized = 0;
        bool m_bRefused = false;
        bool m_bOpen = false; ///< belongs to the component that is being settled
        // Positions in the component.
        std::vector<std::uint32_t> m_vUsers;
        std::vector<std::uint32_t> m_vLaterUsers; ///< through prev
    };

    /// Finds who uses whom inside of a component. Returns the number of its states.
    std::size_t open(const std::vector<std::uint32_t>& in_vComponent)
    {
        for (const std::uint32_t uiSymbol : in_vComponent)
            m_vTrials[uiSymbol].m_bOpen = true;
        std::size_t uiNbStates = 0;
        for (std::uint32_t i = 0; i < in_vComponent.size(); ++i)
            for (const Use& use : m_program.getDefinition(in_vComponent[i]).m_vUses)
            {
                Trial& trial = m_vTrials[use.m_uiSymbol];
                const bool bLater = use.m_kind == Use::Kind::EARLIER;
                if (!trial.m_bOpen)
                    continue;
                uiNbStates += bLater && trial.m_vLaterUsers.empty() ? 1 : 0;
                (bLater ? trial.m_vLaterUsers : trial.m_vUsers).push_back(i);
            }
        return uiNbStates;
    }

    /// True when the length of a state changes, or is refused because it has changed too often.
    bool resize(std::uint32_t in_uiSymbol, std::size_t in_uiMost)
    {
        Trial& trial = m_vTrials[in_uiSymbol];
        const Shape& shape = m_plan.getShape(in_uiSymbol);
        if (trial.m_bRefused || shape.isFailed() || shape.m_uiLength == trial.m_uiLength)
            return false;
        trial.m_uiLength = shape.m_uiLength;
        trial.m_bRefused = ++trial.m_uiResized > in_uiMost;
        return true;
    }

    void measure(std::uint32_t in_uiSymbol)
    {
        const Definition& definition = m_program.getDefinition(in_uiSymbol);
        for (m_uiNode = definition.m_uiFirstNode; m_uiNode <= definition.m_uiRoot; ++m_uiNode)
        {
            m_plan.m_constants.forget(m_uiNode);
            m_plan.m_vShapes[m_uiNode] = shape(m_program.getNode(m_uiNode));
        }
    }

    Shape shape(const Node& in_node)
    {
        if (in_node.m_op == Op::NUMBER)
            return {1, true};
        if (in_node.m_op == Op::NAME)
            return m_plan.getShape(in_node.m_uiSymbol);
        if (in_node.m_op == Op::SELECT)
            return shapeOfSelect();
        for (std::uint32_t i = 0; i < in_node.m_uiNbArguments; ++i)
            if (argument(i).isFailed())
                return argument(i);
        switch (in_node.m_op)
        {
        case Op::PREVIOUS:
            return shapeOfPrevious(in_node);
        case Op::VECTOR:
            return shapeOfVector();
        case Op::INDEX:
            return shapeOfIndex();
        case Op::SLICE:
            return shapeOfSlice();
        case Op::CALL:
            return shapeOfCall(*in_node.m_pFunction);
        default:
            return shapeOfOperator();
        }
    }

    Shape shapeOfPrevious(const Node& in_node)
    {
        const Shape& initial = argument(0);
        if (!initial.m_bKnown)
            return fail("the initial value of a state must not depend on inputs or states");
        const std::string& strName = m_program.getSymbol(in_node.m_uiSymbol).m_strName;
        const Shape& named = m_plan.getShape(in_node.m_uiSymbol);
        const Trial& trial = m_vTrials[in_node.m_uiSymbol];
        if (trial.m_bRefused)
            return fail("the length of '" + strName + "' depends on itself");
        const std::uint32_t uiLength =
            trial.m_bOpen || named.isFailed() ? trial.m_uiLength : named.m_uiLength;
        if (uiLength == UNSET)
            return {initial.m_uiLength};
        if (initial.m_uiLength != 1 && initial.m_uiLength != uiLength)
            return fail("initial value of '" + strName + "': " + lengths(initial.m_uiLength, uiLength));
        return {uiLength};
    }

    Shape shapeOfSelect()
    {
        const Shape& condition = argument(0);
        if (condition.isFailed())
            return condition;
        if (condition.m_uiLength != 1)
            return fail("the condition before '?' has " + std::to_string(condition.m_uiLength) +
                        " values instead of 1");
        const Shape& yes = argument(1);
        const Shape& no = argument(2);
        std::uint32_t uiLength = yes.isFailed() ? no.m_uiLength : yes.m_uiLength;
        if (!yes.isFailed() && !no.isFailed() && !join(yes.m_uiLength, no.m_uiLength, uiLength))
            return fail("values around ':': " + lengths(yes.m_uiLength, no.m_uiLength));
        if (!condition.m_bKnown)
            return yes.isFailed() && no.isFailed() ? yes : Shape{uiLength};
        const Constants::Values* pCondition = constant(0);
        if (pCondition == nullptr)
            return fail("");
        const Shape& chosen = isTrue(pCondition->front()) ? yes : no;
        return chosen.isFailed() ? chosen : Shape{uiLength, chosen.m_bKnown};
    }

    Shape shapeOfOperator()
    {
        const std::uint32_t uiLeft = argument(0).m_uiLength;
        const std::uint32_t uiRight = lastArgument().m_uiLength;
        std::uint32_t uiLength = 0;
        return join(uiLeft, uiRight, uiLength) ? Shape{uiLength, areKnown(0)}
                                               : fail(lengths(uiLeft, uiRight));
    }

    Shape shapeOfVector()
    {
        std::size_t uiLength = 0;
        for (std::uint32_t i = 0; i < m_program.getNode(m_uiNode).m_uiNbArguments; ++i)
            uiLength += argument(i).m_uiLength;
        if (uiLength > Limits::MAX_VECTOR)
            return fail("a vector of " + std::to_string(uiLength) + " values; at most " +
                        std::to_string(Limits::MAX_VECTOR) + " are allowed");
        return {static_cast<std::uint32_t>(uiLength), areKnown(0)};
    }

    Shape shapeOfIndex()
    {
        const std::uint32_t uiLength = argument(0).m_uiLength;
        const Shape& index = argument(1);
        if (index.m_uiLength != 1)
            return fail("an index of " + std::to_string(index.m_uiLength) + " values");
        std::uint32_t uiIndex = 0;
        if (index.m_bKnown && (!toWhole(1, uiLength, uiIndex) || uiIndex == uiLength))
            return fail("index out of range or not whole: there are " + std::to_string(uiLength) + " values");
        return {1, areKnown(0)};
    }

    Shape shapeOfSlice()
    {
        const std::uint32_t uiLength = argument(0).m_uiLength;
        if (!areKnown(1))
            return fail("the bounds of a slice must not depend on inputs or states");
        std::uint32_t uiFirst = 0;
        std::uint32_t uiEnd = 0;
        if (!toWhole(1, uiLength, uiFirst) || !toWhole(2, uiLength, uiEnd) || uiFirst > uiEnd)
            return fail("bounds of a slice out of range or not whole: there are " + std::to_string(uiLength) +
                        " values");
        return {uiEnd - uiFirst, areKnown(0)};
    }

    Shape shapeOfCall(const Function& in_function)
    {
        const std::uint32_t uiLength = argument(0).m_uiLength;
        std::uint32_t uiRange = 0;
        switch (in_function.m_kind)
        {
        case Function::Kind::SIZE:
            return {1, true};
        case Function::Kind::RANGE:
            if (!areKnown(0) || !toWhole(0, Limits::MAX_VECTOR, uiRange))
                return fail("'range' takes a whole number from 0 to " + std::to_string(Limits::MAX_VECTOR) +
                            " that does not depend on inputs or states");
            return {uiRange, true};
        case Function::Kind::REDUCE:
            if (uiLength != lastArgument().m_uiLength)
                return fail(lengths(uiLength, lastArgument().m_uiLength));
            if (uiLength == 0 && !in_function.m_bTakesEmpty)
                return fail("'" + std::string(in_function.m_strName) + "' of no values");
            return {1, areKnown(0)};
        default:
            return shapeOfKernel(in_function);
        }
    }

    Shape shapeOfKernel(const Function& in_function)
    {
        const std::string strName = "'" + std::string(in_function.m_strName) + "'";
        const bool bTones = in_function.m_kind == Function::Kind::TONE_ENERGY;
        if (!areKnown(1))
            return fail("the settings of " + strName + " must not depend on inputs or states");
        for (std::uint32_t i = bTones ? 2 : 1; i < m_program.getNode(m_uiNode).m_uiNbArguments; ++i)
            if (argument(i).m_uiLength != 1)
                return fail("a setting of " + strName + " is no single number");
        std::uint32_t uiLength = argument(1).m_uiLength;
        if (!bTones && !toWhole(1, Limits::MAX_VECTOR, uiLength))
            return fail(strName + ": the settings do not fit a window of " +
                        std::to_string(argument(0).m_uiLength) + " values");
        return {uiLength, argument(0).m_bKnown};
    }

    /// The reason that a constant has, if one could not be computed.
    Shape fail(const std::string& in_strReason)
    {
        const std::string* pFailure = m_plan.m_constants.takeFailure();
        return {0, false, pFailure ? pFailure : m_plan.keep(m_program.where(m_uiNode) + in_strReason)};
    }

    // Of the node that is measured.

    const Shape& argument(std::uint32_t in_uiIndex) const
    {
        return m_plan.m_vShapes[m_program.getArgument(m_uiNode, in_uiIndex)];
    }

    const Shape& lastArgument() const { return argument(m_program.getNode(m_uiNode).m_uiNbArguments - 1); }

    /// From that argument on.
    bool areKnown(std::uint32_t in_uiFirst) const
    {
        for (std::uint32_t i = in_uiFirst; i < m_program.getNode(m_uiNode).m_uiNbArguments; ++i)
            if (!argument(i).m_bKnown)
                return false;
        return true;
    }

    const Constants::Values* constant(std::uint32_t in_uiIndex)
    {
        return m_plan.m_constants.find(m_program.getArgument(m_uiNode, in_uiIndex));
    }

    /// A single whole number from 0 to the most, of a known argument.
    bool toWhole(std::uint32_t in_uiIndex, std::size_t in_uiMost, std::uint32_t& out_uiNumber)
    {
        if (argument(in_uiIndex).m_uiLength != 1)
            return false;
        const Constants::Values* pValues = constant(in_uiIndex);
        if (pValues == nullptr)
            return false;
        const double dNumber = pValues->front();
        if (!(dNumber >= 0.0 && dNumber <= static_cast<double>(in_uiMost) && std::floor(dNumber) == dNumber))
            return false;
        out_uiNumber = static_cast<std::uint32_t>(dNumber);
        return true;
    }

    const Program& m_program;
    Plan& m_plan;
    std::vector<Trial> m_vTrials; ///< one a symbol
    std::uint32_t m_uiNode = 0;   ///< that is measured
};

} // namespace

void findLengths(Plan& io_plan)
{
    Lengths finder(io_plan);
    for (const std::vector<std::uint32_t>& vComponent : io_plan.m_program.getStructure().m_vComponents)
        finder.settle(vComponent);
}

} // namespace Vexalor::Math::Xpr
