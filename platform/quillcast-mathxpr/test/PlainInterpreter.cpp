#include "PlainInterpreter.h"

#include <algorithm>
#include <cmath>

namespace Vexalor::Math::Xpr::Testing
{

namespace
{

using Kind = Tree::Kind;
using Values = std::vector<double>;

bool isTrue(double in_dValue)
{
    return in_dValue != 0.0 && !std::isnan(in_dValue);
}

double compute(const std::string& in_strOperator, double a, double b)
{
    const std::map<std::string, double (*)(double, double)> OPERATORS = {
        {"+",
         [](double x, double y)
         {
             return x + y;
         }},
        {"-",
         [](double x, double y)
         {
             return x - y;
         }},
        {"*",
         [](double x, double y)
         {
             return x * y;
         }},
        {"/",
         [](double x, double y)
         {
             return x / y;
         }},
        {"%",
         [](double x, double y)
         {
             return std::fmod(x, y);
         }},
        {"^",
         [](double x, double y)
         {
             return std::pow(x, y);
         }},
        {"<",
         [](double x, double y)
         {
             return double(x < y);
         }},
        {"<=",
         [](double x, double y)
         {
             return double(x <= y);
         }},
        {">",
         [](double x, double y)
         {
             return double(x > y);
         }},
        {">=",
         [](double x, double y)
         {
             return double(x >= y);
         }},
        {"==",
         [](double x, double y)
         {
             return double(x == y);
         }},
        {"!=",
         [](double x, double y)
         {
             return double(!std::isnan(x) && !std::isnan(y) && x != y);
         }},
        {"and",
         [](double x, double y)
         {
             return double(isTrue(x) && isTrue(y));
         }},
        {"or",
         [](double x, double y)
         {
             return double(isTrue(x) || isTrue(y));
         }},
        {"min",
         [](double x, double y)
         {
             return y < x ? y : x;
         }},
        {"max",
         [](double x, double y)
         {
             return y > x ? y : x;
         }},
    };
    return OPERATORS.at(in_strOperator)(a, b);
}

const std::map<std::string, double (*)(double)> FUNCTIONS = {
    {"abs",
     [](double x)
     {
         return std::fabs(x);
     }},
    {"sqrt",
     [](double x)
     {
         return std::sqrt(x);
     }},
    {"exp",
     [](double x)
     {
         return std::exp(x);
     }},
    {"log",
     [](double x)
     {
         return std::log(x);
     }},
    {"tanh",
     [](double x)
     {
         return std::tanh(x);
     }},
    {"floor",
     [](double x)
     {
         return std::floor(x);
     }},
    {"round",
     [](double x)
     {
         return std::round(x);
     }},
    {"isnan",
     [](double x)
     {
         return double(std::isnan(x));
     }},
};

/// Side by side; one of one value is repeated.
Values computeAll(const std::string& in_strOperator, const Values& in_vLeft, const Values& in_vRight)
{
    Values vResult(in_vLeft.size() == 1 ? in_vRight.size() : in_vLeft.size());
    for (std::size_t i = 0; i < vResult.size(); ++i)
        vResult[i] = compute(in_strOperator, in_vLeft[in_vLeft.size() == 1 ? 0 : i],
                             in_vRight[in_vRight.size() == 1 ? 0 : i]);
    return vResult;
}

/// In the order that SignalKernels states.
double energy(const Values& in_vValues)
{
    double s[8] = {};
    for (std::size_t i = 0; i < in_vValues.size(); ++i)
        s[i % 8] += in_vValues[i] * in_vValues[i];
    return ((s[0] + s[4]) + (s[2] + s[6])) + ((s[1] + s[5]) + (s[3] + s[7]));
}

double reduce(const std::string& in_strName, const Values& x)
{
    double dSum = 0.0;
    double dCrossings = 0.0;
    std::size_t uiBest = 0;
    for (std::size_t i = 0; i < x.size(); ++i)
    {
        dSum += x[i];
        if (in_strName.ends_with("min") ? x[i] < x[uiBest] : x[i] > x[uiBest])
            uiBest = i;
        dCrossings += i > 0 && (x[i] >= 0.0) != (x[i - 1] >= 0.0) ? 1.0 : 0.0;
    }
    if (in_strName == "sum")
        return dSum;
    if (in_strName == "mean")
        return dSum / static_cast<double>(x.size());
    if (in_strName == "energy")
        return energy(x);
    if (in_strName == "zero_crossings")
        return dCrossings;
    return in_strName.starts_with("arg") ? static_cast<double>(uiBest) : x[uiBest];
}

/// min and max of several are those of the first ones and the last one.
bool isExtremeOfSeveral(const Tree& in_tree)
{
    return in_tree.m_kind == Kind::CALL && (in_tree.m_strText == "min" || in_tree.m_strText == "max") &&
           in_tree.m_vArguments.size() > 1;
}

Tree asOperator(const Tree& in_tree)
{
    Tree first = in_tree;
    first.m_vArguments.pop_back();
    return {Kind::OPERATOR,
            0.0,
            in_tree.m_strText,
            {isExtremeOfSeveral(first) ? first : in_tree.m_vArguments[0], in_tree.m_vArguments.back()}};
}

void collect(const Tree& in_tree, bool in_bOnlyBefore, std::set<std::string>& io_names)
{
    if (in_tree.m_kind == Kind::PREVIOUS || (in_tree.m_kind == Kind::NAME && !in_bOnlyBefore))
        io_names.insert(in_tree.m_strText);
    for (const Tree& argument : in_tree.m_vArguments)
        collect(argument, in_bOnlyBefore, io_names);
}

} // namespace

PlainInterpreter::PlainInterpreter(const std::vector<PlainDefinition>& in_vDefinitions,
                                   std::map<std::string, double> in_constants)
    : m_vDefinitions(in_vDefinitions)
    , m_constants(std::move(in_constants))
{
}

const PlainDefinition* PlainInterpreter::find(const std::string& in_strName) const
{
    for (const PlainDefinition& definition : m_vDefinitions)
        if (definition.fullName() == in_strName)
            return &definition;
    return nullptr;
}

PlainInterpreter::Names PlainInterpreter::usedBy(const std::string& in_strName, bool in_bOnlyBefore) const
{
    Names names;
    if (const PlainDefinition* pDefinition = find(in_strName))
        collect(pDefinition->m_tree, in_bOnlyBefore, names);
    return names;
}

PlainInterpreter::Names PlainInterpreter::reachedFrom(const std::string& in_strName) const
{
    Names reached;
    std::vector<std::string> vOpen{in_strName};
    while (!vOpen.empty())
    {
        const std::string strName = vOpen.back();
        vOpen.pop_back();
        for (const std::string& strUsed : usedBy(strName, false))
            if (reached.insert(strUsed).second)
                vOpen.push_back(strUsed);
    }
    return reached;
}

/// The names that depend on each other with this one; it alone, if none does.
PlainInterpreter::Names PlainInterpreter::componentOf(const std::string& in_strName) const
{
    Names component{in_strName};
    for (const std::string& strName : reachedFrom(in_strName))
        if (reachedFrom(strName).count(in_strName) != 0)
            component.insert(strName);
    return component;
}

void PlainInterpreter::lookUp(const std::string& in_strName)
{
    m_lookedUp.insert(in_strName);
}

void PlainInterpreter::preset(const std::string& in_strInput, const Values& in_vValue)
{
    m_inputs[in_strInput] = in_vValue;
}

void PlainInterpreter::assign(const std::string& in_strInput, const Values& in_vValue)
{
    if (m_assigned.count(in_strInput) != 0)
    {
        advance();
        m_assigned.clear();
    }
    m_assigned.insert(in_strInput);
    preset(in_strInput, in_vValue);
}

void PlainInterpreter::reset()
{
    m_assigned.clear();
    m_states.clear();
}

void PlainInterpreter::findLengths()
{
    m_shapes.clear();
    m_tried.clear();
    m_refused.clear();
    m_values.clear();
    for (const PlainDefinition& definition : m_vDefinitions)
        shapeOfName(definition.fullName());
}

/// A state whose length changes begins again.
void PlainInterpreter::dropStates()
{
    for (auto itState = m_states.begin(); itState != m_states.end();)
    {
        const Shape shape = shapeOfName(itState->first);
        const bool bSame = shape.m_failures.empty() && shape.m_uiLength == itState->second.size();
        itState = bSame ? std::next(itState) : m_states.erase(itState);
    }
}

void PlainInterpreter::advance()
{
    Names states;
    for (const std::string& strLookedUp : m_lookedUp)
    {
        Names reached = reachedFrom(strLookedUp);
        reached.insert(strLookedUp);
        for (const std::string& strName : reached)
            states.merge(usedBy(strName, true));
    }
    findLengths();
    dropStates();
    std::map<std::string, Values> next = m_states;
    for (const std::string& strName : states)
        try
        {
            next[strName] = valueOfName(strName);
        }
        catch (const Failures&)
        {
        }
    m_states = next;
}

std::optional<Values> PlainInterpreter::evaluate(const std::string& in_strName, Failures& out_failures)
{
    findLengths();
    dropStates();
    try
    {
        return valueOfName(in_strName);
    }
    catch (const Failures& failures)
    {
        out_failures = failures;
        return std::nullopt;
    }
}

PlainInterpreter::Shape PlainInterpreter::fail(const std::string& in_strWord) const
{
    return {0, false, {{m_vPlaces.back(), in_strWord}}};
}

PlainInterpreter::Shape PlainInterpreter::shapeOfName(const std::string& in_strName)
{
    if (m_constants.count(in_strName) != 0)
        return {1, true};
    if (m_inputs.count(in_strName) != 0)
        return {m_inputs.at(in_strName).size(), false};
    if (m_shapes.count(in_strName) == 0 && m_open.count(in_strName) == 0)
        settle(componentOf(in_strName));
    if (m_shapes.count(in_strName) == 0)
    {
        const PlainDefinition& definition = *find(in_strName);
        m_vPlaces.push_back(definition.m_strScript + ".xpr:" + std::to_string(definition.m_uiLine) + ": ");
        m_shapes[in_strName] = shapeOf(definition.m_tree);
        m_vPlaces.pop_back();
    }
    return m_shapes.at(in_strName);
}

/// Tries lengths until none changes; a state that is given one more often than there are states is refused.
void PlainInterpreter::settle(const Names& in_component)
{
    const Names around = std::exchange(m_open, in_component);
    Names states;
    for (const std::string& strName : in_component)
        for (const std::string& strUsed : usedBy(strName, true))
            if (in_component.count(strUsed) != 0)
                states.insert(strUsed);
    std::map<std::string, std::size_t> resized;
    for (bool bAgain = true; bAgain;)
    {
        bAgain = false;
        m_values.clear();
        for (const std::string& strName : in_component)
            m_shapes.erase(strName);
        for (const std::string& strName : in_component)
            shapeOfName(strName);
        for (const std::string& strState : states)
        {
            const Shape& shape = m_shapes.at(strState);
            const auto itTried = m_tried.find(strState);
            if (m_refused.count(strState) != 0 || !shape.m_failures.empty() ||
                (itTried != m_tried.end() && itTried->second == shape.m_uiLength))
                continue;
            bAgain = true;
            m_tried[strState] = shape.m_uiLength;
            if (++resized[strState] > states.size())
                m_refused.insert(strState);
        }
    }
    m_values.clear();
    m_open = around;
}

PlainInterpreter::Shape PlainInterpreter::shapeOf(const Tree& in_tree)
{
    if (in_tree.m_kind == Kind::NUMBER)
        return {1, true};
    if (in_tree.m_kind == Kind::NAME)
        return shapeOfName(in_tree.m_strText);
    if (in_tree.m_kind == Kind::CHOICE)
        return shapeOfChoice(in_tree);
    if (isExtremeOfSeveral(in_tree))
        return shapeOf(asOperator(in_tree));
    Shape all{0, true};
    std::vector<Shape> vShapes;
    for (const Tree& argument : in_tree.m_vArguments)
    {
        vShapes.push_back(shapeOf(argument));
        all.m_uiLength += vShapes.back().m_uiLength;
        all.m_bKnown = all.m_bKnown && vShapes.back().m_bKnown;
        all.m_failures.insert(vShapes.back().m_failures.begin(), vShapes.back().m_failures.end());
    }
    if (!all.m_failures.empty())
        return {0, false, all.m_failures};
    double dFirst = 0.0;
    double dEnd = 0.0;
    switch (in_tree.m_kind)
    {
    case Kind::PREVIOUS:
        return shapeOfPrevious(in_tree, vShapes[0]);
    case Kind::INDEX:
        if (vShapes[1].m_uiLength != 1)
            return fail("an index of");
        if (vShapes[1].m_bKnown &&
            (!isWhole(in_tree.m_vArguments[1], double(vShapes[0].m_uiLength), dFirst) ||
             dFirst == double(vShapes[0].m_uiLength)))
            return fail("index out of range");
        return {1, all.m_bKnown};
    case Kind::SLICE:
        if (!vShapes[1].m_bKnown || !vShapes[2].m_bKnown)
            return fail("bounds of a slice must not depend");
        if (!isWhole(in_tree.m_vArguments[1], double(vShapes[0].m_uiLength), dFirst) ||
            !isWhole(in_tree.m_vArguments[2], double(vShapes[0].m_uiLength), dEnd) || dFirst > dEnd)
            return fail("bounds of a slice out of range");
        return {static_cast<std::size_t>(dEnd - dFirst), vShapes[0].m_bKnown};
    case Kind::CALL:
        return shapeOfCall(in_tree, vShapes);
    case Kind::OPERATOR:
        if (vShapes.size() == 2 && vShapes[0].m_uiLength != vShapes[1].m_uiLength &&
            vShapes[0].m_uiLength != 1 && vShapes[1].m_uiLength != 1)
            return fail("do not match");
        return {vShapes[0].m_uiLength == 1 ? vShapes.back().m_uiLength : vShapes[0].m_uiLength, all.m_bKnown};
    default:
        return all;
    }
}

PlainInterpreter::Shape PlainInterpreter::shapeOfPrevious(const Tree& in_tree, const Shape& in_initial)
{
    if (!in_initial.m_bKnown)
        return fail("initial value of a state must not depend");
    const std::string& strName = in_tree.m_strText;
    std::optional<std::size_t> length;
    if (m_tried.count(strName) != 0)
        length = m_tried.at(strName);
    if (m_open.count(strName) == 0)
    {
        const Shape shape = shapeOfName(strName);
        if (shape.m_failures.empty())
            length = shape.m_uiLength;
    }
    if (m_refused.count(strName) != 0)
        return fail("depends on itself");
    if (!length)
        return {in_initial.m_uiLength, false};
    if (in_initial.m_uiLength != 1 && in_initial.m_uiLength != *length)
        return fail("initial value of");
    return {*length, false};
}

PlainInterpreter::Shape PlainInterpreter::shapeOfChoice(const Tree& in_tree)
{
    const Shape condition = shapeOf(in_tree.m_vArguments[0]);
    const Shape yes = shapeOf(in_tree.m_vArguments[1]);
    const Shape no = shapeOf(in_tree.m_vArguments[2]);
    if (!condition.m_failures.empty())
        return condition;
    if (condition.m_uiLength != 1)
        return fail("condition before");
    Shape result = yes.m_failures.empty() && (yes.m_uiLength != 1 || !no.m_failures.empty()) ? yes : no;
    result.m_bKnown = false;
    if (yes.m_failures.empty() && no.m_failures.empty() && yes.m_uiLength != no.m_uiLength &&
        yes.m_uiLength != 1 && no.m_uiLength != 1)
        return fail("values around");
    if (!condition.m_bKnown)
    {
        if (!yes.m_failures.empty() && !no.m_failures.empty())
            result.m_failures.insert(yes.m_failures.begin(), yes.m_failures.end());
        return result;
    }
    const Shape& taken = isTrue(valueOf(in_tree.m_vArguments[0]).front()) ? yes : no;
    return taken.m_failures.empty() ? Shape{result.m_uiLength, taken.m_bKnown} : taken;
}

PlainInterpreter::Shape PlainInterpreter::shapeOfCall(const Tree& in_tree,
                                                      const std::vector<Shape>& in_vShapes)
{
    const std::string& strName = in_tree.m_strText;
    const bool bKnown = std::all_of(in_vShapes.begin(), in_vShapes.end(),
                                    [](const Shape& in_shape) { return in_shape.m_bKnown; });
    double dLength = 0.0;
    if (strName == "size")
        return {1, true};
    if (strName == "range")
        return bKnown && isWhole(in_tree.m_vArguments[0], 65536.0, dLength)
                   ? Shape{static_cast<std::size_t>(dLength), true}
                   : fail("'range' takes");
    if (strName == "dot")
        return in_vShapes[0].m_uiLength == in_vShapes[1].m_uiLength ? Shape{1, bKnown} : fail("do not match");
    if (FUNCTIONS.count(strName) != 0)
        return {in_vShapes[0].m_uiLength, bKnown};
    const bool bTakesNothing =
        strName == "sum" || strName == "mean" || strName == "energy" || strName == "zero_crossings";
    return in_vShapes[0].m_uiLength == 0 && !bTakesNothing ? fail("of no values") : Shape{1, bKnown};
}

/// Of what is known.
bool PlainInterpreter::isWhole(const Tree& in_tree, double in_dMost, double& out_dNumber)
{
    const Values vValue = valueOf(in_tree);
    if (vValue.size() != 1)
        return false;
    out_dNumber = vValue[0];
    return out_dNumber >= 0.0 && out_dNumber <= in_dMost && std::floor(out_dNumber) == out_dNumber;
}

Values PlainInterpreter::valueOfName(const std::string& in_strName)
{
    if (m_constants.count(in_strName) != 0)
        return {m_constants.at(in_strName)};
    if (m_inputs.count(in_strName) != 0)
        return m_inputs.at(in_strName);
    const auto itKnown = m_values.find(in_strName);
    if (itKnown != m_values.end())
        return itKnown->second;
    const PlainDefinition& definition = *find(in_strName);
    m_vPlaces.push_back(definition.m_strScript + ".xpr:" + std::to_string(definition.m_uiLine) + ": ");
    try
    {
        const Values vValue = valueOf(definition.m_tree);
        m_vPlaces.pop_back();
        return m_values[in_strName] = vValue;
    }
    catch (const Failures&)
    {
        m_vPlaces.pop_back();
        throw;
    }
}

Values PlainInterpreter::valueOf(const Tree& in_tree)
{
    if (isExtremeOfSeveral(in_tree))
        return valueOf(asOperator(in_tree));
    const Shape shape = shapeOf(in_tree);
    if (!shape.m_failures.empty())
        throw shape.m_failures;
    const std::vector<Tree>& vTrees = in_tree.m_vArguments;
    if (in_tree.m_kind == Kind::NUMBER)
        return {in_tree.m_dNumber};
    if (in_tree.m_kind == Kind::NAME)
        return valueOfName(in_tree.m_strText);
    if (in_tree.m_kind == Kind::CALL && in_tree.m_strText == "size")
        return {static_cast<double>(shapeOf(vTrees[0]).m_uiLength)};
    if (in_tree.m_kind == Kind::PREVIOUS || in_tree.m_kind == Kind::CHOICE)
    {
        const auto itState = m_states.find(in_tree.m_strText);
        Values vValue = in_tree.m_kind == Kind::CHOICE
                            ? valueOf(vTrees[isTrue(valueOf(vTrees[0])[0]) ? 1 : 2])
                        : itState != m_states.end() ? itState->second
                                                    : valueOf(vTrees[0]);
        if (vValue.size() == 1)
            vValue.resize(shape.m_uiLength, vValue[0]);
        return vValue;
    }
    std::vector<Values> vArguments;
    Failures failures;
    for (const Tree& argument : vTrees)
        try
        {
            vArguments.push_back(valueOf(argument));
        }
        catch (const Failures& more)
        {
            failures.insert(more.begin(), more.end());
        }
    if (!failures.empty())
        throw failures;
    return in_tree.m_kind == Kind::CALL ? valueOfCall(in_tree.m_strText, vArguments, shape.m_uiLength)
                                        : valueOfPart(in_tree, vArguments);
}

Values PlainInterpreter::valueOfPart(const Tree& in_tree, const std::vector<Values>& in_vArguments)
{
    Values vResult;
    if (in_tree.m_kind == Kind::JOIN)
        for (const Values& vArgument : in_vArguments)
            vResult.insert(vResult.end(), vArgument.begin(), vArgument.end());
    else if (in_tree.m_kind == Kind::SLICE)
        for (double i = in_vArguments[1][0]; i < in_vArguments[2][0]; ++i)
            vResult.push_back(in_vArguments[0][static_cast<std::size_t>(i)]);
    else if (in_tree.m_kind == Kind::INDEX)
    {
        const double dIndex = in_vArguments[1][0];
        if (!(dIndex >= 0.0 && dIndex < static_cast<double>(in_vArguments[0].size()) &&
              std::floor(dIndex) == dIndex))
            throw fail("index out of range").m_failures;
        vResult.push_back(in_vArguments[0][static_cast<std::size_t>(dIndex)]);
    }
    else if (in_vArguments.size() == 2)
        vResult = computeAll(in_tree.m_strText, in_vArguments[0], in_vArguments[1]);
    else
        for (const double dValue : in_vArguments[0])
            vResult.push_back(in_tree.m_strText == "-" ? -dValue : double(!isTrue(dValue)));
    return vResult;
}

Values PlainInterpreter::valueOfCall(const std::string& in_strName, const std::vector<Values>& in_vArguments,
                                     std::size_t in_uiLength)
{
    Values vResult;
    if (in_strName == "range")
        while (vResult.size() < in_uiLength)
            vResult.push_back(static_cast<double>(vResult.size()));
    else if (in_strName == "dot")
    {
        vResult = {0.0};
        for (std::size_t i = 0; i < in_vArguments[0].size(); ++i)
            vResult[0] += in_vArguments[0][i] * in_vArguments[1][i];
    }
    else if (FUNCTIONS.count(in_strName) != 0)
        for (const double dValue : in_vArguments[0])
            vResult.push_back(FUNCTIONS.at(in_strName)(dValue));
    else
        vResult = {reduce(in_strName, in_vArguments[0])};
    return vResult;
}

} // namespace Vexalor::Math::Xpr::Testing
