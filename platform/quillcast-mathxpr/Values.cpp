#include "quillcast-mathxpr/Values.h"

#include "quillcast-mathxpr/Limits.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>

namespace Vexalor::Math::Xpr
{

namespace
{

using Kind = Value::Kind;

/// So many passes, at most, until the lengths of the states are settled.
constexpr unsigned int MOST_PASSES = 64;
constexpr std::uint32_t NONE = Program::NONE;

/// Kinds of keys; operators have their own numbers.
constexpr std::uint32_t KEY_FUNCTION = 1000;
constexpr std::uint32_t KEY_VIEW = 1001;
constexpr std::uint32_t KEY_INPUT = 1002;
constexpr std::uint32_t KEY_STATE = 1003;
constexpr std::uint32_t KEY_REPEAT = 1004;

std::vector<std::uint32_t> makeKey(std::uint32_t in_uiKind, std::uint64_t in_uiWhat)
{
    return {in_uiKind, static_cast<std::uint32_t>(in_uiWhat), static_cast<std::uint32_t>(in_uiWhat >> 32)};
}

std::vector<std::uint32_t> makeKey(std::uint32_t in_uiKind, const void* in_pWhat,
                                   const std::vector<std::uint32_t>& in_vArguments)
{
    std::vector<std::uint32_t> vKey = makeKey(in_uiKind, reinterpret_cast<std::uintptr_t>(in_pWhat));
    vKey.insert(vKey.end(), in_vArguments.begin(), in_vArguments.end());
    return vKey;
}

std::string lengths(std::size_t in_uiLeft, std::size_t in_uiRight)
{
    return "lengths " + std::to_string(in_uiLeft) + " and " + std::to_string(in_uiRight) + " do not match";
}

} // namespace

Values::Values(const Program& in_program, Plan& io_plan)
    : m_program(in_program)
    , m_plan(io_plan)
{
}

void Values::build()
{
    findNeeded();
    for (unsigned int uiPass = 0; uiPass < MOST_PASSES && !buildOnce(); ++uiPass)
        if (uiPass + 2 == MOST_PASSES)
            // What grows for ever is refused in the last pass.
            for (const auto& [uiSymbol, uiSize] : m_stateSizes)
                m_vRefused.push_back(uiSymbol);
}

std::uint32_t Values::getBase(std::uint32_t in_uiValue) const
{
    while (m_vValues[in_uiValue].m_kind == Kind::VIEW)
        in_uiValue = getArgument(m_vValues[in_uiValue], 0);
    return in_uiValue;
}

std::uint32_t Values::getTarget(std::size_t in_uiState) const
{
    return getValueOf(m_plan.m_vStates[in_uiState].m_uiSymbol);
}

/// Everything that the roots reach, through earlier windows too.
void Values::findNeeded()
{
    std::vector<bool> vNeeded(m_program.getSymbols().size());
    std::vector<std::uint32_t> vOpen = m_plan.m_key.m_vRoots;
    for (const std::uint32_t uiSymbol : vOpen)
        vNeeded[uiSymbol] = true;
    while (!vOpen.empty())
    {
        const Symbol& symbol = m_program.getSymbol(vOpen.back());
        vOpen.pop_back();
        if (symbol.m_kind != Symbol::Kind::EXPRESSION)
            continue;
        const Definition& definition = m_program.getDefinition(symbol);
        for (const auto* pReferences : {&definition.m_vNames, &definition.m_vPrevious})
            for (const std::uint32_t uiReference : *pReferences)
            {
                const std::uint32_t uiUsed = m_program.getScriptOf(symbol).m_vSymbols[uiReference];
                if (!vNeeded[uiUsed])
                    vOpen.push_back(uiUsed);
                vNeeded[uiUsed] = true;
            }
    }
    for (const std::uint32_t uiSymbol : m_program.getOrder())
        if (vNeeded[uiSymbol])
            m_vNeeded.push_back(uiSymbol);
}

/// True when the lengths of the states were the right ones.
bool Values::buildOnce()
{
    m_vValues.clear();
    m_vArguments.clear();
    m_known.clear();
    m_uiTableSize = 0;
    m_vSymbolValues.assign(m_program.getSymbols().size(), NONE);
    m_plan.m_vInputs.clear();
    m_plan.m_vStates.clear();
    m_plan.m_vImage.clear();
    m_plan.m_vFailures.clear();
    m_plan.m_vKernels.clear();
    for (const std::uint32_t uiSize : m_plan.m_key.m_vInputs)
        allocate(uiSize, m_plan.m_vInputs.emplace_back());
    number(0.0);
    for (const std::uint32_t uiSymbol : m_vNeeded)
        buildDefinition(uiSymbol);
    for (const std::uint32_t uiSymbol : m_plan.m_key.m_vRoots)
        m_vSymbolValues[uiSymbol] = buildName(uiSymbol);

    bool bSettled = true;
    for (std::size_t i = 0; i < m_plan.m_vStates.size(); ++i)
    {
        Plan::State& state = m_plan.m_vStates[i];
        m_vSymbolValues[state.m_uiSymbol] = buildName(state.m_uiSymbol);
        const std::uint32_t uiTarget = m_vSymbolValues[state.m_uiSymbol];
        state.m_target = m_vValues[uiTarget].m_slot;
        if (isFailed(uiTarget) || state.m_target.m_uiSize == state.m_slot.m_uiSize)
            continue;
        bSettled = false;
        m_stateSizes[state.m_uiSymbol] = state.m_target.m_uiSize;
    }
    return bSettled;
}

void Values::buildDefinition(std::uint32_t in_uiSymbol)
{
    const Symbol& symbol = m_program.getSymbol(in_uiSymbol);
    const LoadedScript& script = m_program.getScriptOf(symbol);
    const Definition& definition = m_program.getDefinition(symbol);
    m_pScript = script.m_pScript.get();
    Ids vResults(definition.m_uiRoot - definition.m_uiFirstNode + 1);
    Ids vArguments;
    for (std::uint32_t i = definition.m_uiFirstNode; i <= definition.m_uiRoot; ++i)
    {
        const Node& node = m_pScript->m_vNodes[i];
        vArguments.clear();
        for (std::uint32_t j = 0; j < node.m_uiNbArguments; ++j)
            vArguments.push_back(
                vResults[m_pScript->m_vArguments[node.m_uiFirstArgument + j] - definition.m_uiFirstNode]);
        m_uiLine = node.m_uiLine;
        vResults[i - definition.m_uiFirstNode] =
            node.m_op == Op::NAME       ? buildName(script.m_vSymbols[node.m_uiReference])
            : node.m_op == Op::PREVIOUS ? buildPrevious(script.m_vSymbols[node.m_uiReference], vArguments[0])
                                        : buildNode(node, vArguments);
    }
    m_vSymbolValues[in_uiSymbol] = vResults.back();
}

std::uint32_t Values::buildNode(const Node& in_node, const Ids& in_vArguments)
{
    if (in_node.m_op == Op::NUMBER)
        return number(in_node.m_dNumber);
    if (in_node.m_op == Op::SELECT)
        return buildSelect(in_vArguments);
    for (const std::uint32_t uiArgument : in_vArguments)
        if (isFailed(uiArgument))
            return uiArgument;
    switch (in_node.m_op)
    {
    case Op::VECTOR:
        return buildVector(in_vArguments);
    case Op::INDEX:
        return buildIndex(in_vArguments);
    case Op::SLICE:
        return buildSlice(in_vArguments);
    case Op::CALL:
        return buildCall(*in_node.m_pFunction, in_vArguments);
    default:
        return buildOperator(in_node.m_op, in_vArguments);
    }
}

std::uint32_t Values::buildName(std::uint32_t in_uiSymbol)
{
    const Symbol& symbol = m_program.getSymbol(in_uiSymbol);
    if (symbol.m_kind == Symbol::Kind::CONSTANT)
        return number(symbol.m_dValue);
    if (symbol.m_kind == Symbol::Kind::EXPRESSION)
        return m_vSymbolValues[in_uiSymbol];
    const auto [itValue, bNew] = m_known.emplace(Ids{KEY_INPUT, symbol.m_uiInput}, NONE);
    if (bNew)
        itValue->second = add({Kind::GIVEN, m_plan.m_vInputs[symbol.m_uiInput], 0, 0, {}}, {});
    return itValue->second;
}

std::uint32_t Values::buildPrevious(std::uint32_t in_uiSymbol, std::uint32_t in_uiInitial)
{
    if (isFailed(in_uiInitial))
        return in_uiInitial;
    if (!isKnown(in_uiInitial))
        return fail("the initial value of a state must not depend on inputs or states");
    const auto itSize = m_stateSizes.find(in_uiSymbol);
    std::uint32_t uiSize = sizeOf(in_uiInitial);
    if (itSize != m_stateSizes.end() && uiSize == 1)
        uiSize = itSize->second;
    const std::string& strName = m_program.getSymbol(in_uiSymbol).m_strName;
    if (std::find(m_vRefused.begin(), m_vRefused.end(), in_uiSymbol) != m_vRefused.end())
        return fail("the length of '" + strName + "' depends on itself");
    if (itSize != m_stateSizes.end() && itSize->second != uiSize)
        return fail("initial value of '" + strName + "': " + lengths(uiSize, itSize->second));
    const Ids vKey{KEY_STATE, in_uiSymbol, in_uiInitial};
    const auto itKnown = m_known.find(vKey);
    if (itKnown != m_known.end())
        return itKnown->second;
    Plan::State state{in_uiSymbol, {}, 0, {}, Plan::NO_BLOCK};
    Slot next;
    if (!allocate(uiSize, state.m_slot) || !allocate(uiSize, next))
        return tooLarge(uiSize);
    state.m_uiNext = next.m_uiAt;
    for (std::uint32_t i = 0; i < uiSize; ++i)
        m_plan.m_vImage[state.m_slot.m_uiAt + i] = dataOf(in_uiInitial)[sizeOf(in_uiInitial) == 1 ? 0 : i];
    m_plan.m_vStates.push_back(state);
    return m_known[vKey] = add({Kind::GIVEN, state.m_slot, 0, 0, {}}, {});
}

std::uint32_t Values::buildOperator(Op in_op, const Ids& in_vArguments)
{
    const Ids vKey = makeKey(static_cast<std::uint32_t>(in_op), nullptr, in_vArguments);
    Instruction instruction;
    const std::size_t uiLeft = sizeOf(in_vArguments[0]);
    if (in_vArguments.size() == 1)
    {
        const bool bNot = in_op == Op::NOT;
        instruction.m_op = in_op;
        if (uiLeft != 1)
            instruction.m_code = bNot ? Code::NOT_ALL : Code::NEGATE_ALL;
        return compute(vKey, instruction, in_vArguments, uiLeft);
    }
    const std::size_t uiRight = sizeOf(in_vArguments[1]);
    if (uiLeft != uiRight && uiLeft != 1 && uiRight != 1)
        return fail(lengths(uiLeft, uiRight));
    instruction.m_op = in_op;
    if (uiLeft != 1 || uiRight != 1)
    {
        instruction.m_code = Code::ELEMENTWISE;
        instruction.m_pElementwise = findElementwise(in_op, uiLeft == uiRight ? Repeat::NONE
                                                            : uiLeft == 1     ? Repeat::LEFT
                                                                              : Repeat::RIGHT);
    }
    return compute(vKey, instruction, in_vArguments, uiLeft == 1 ? uiRight : uiLeft);
}

std::uint32_t Values::buildSelect(const Ids& in_vArguments)
{
    const auto [uiCondition, uiYes, uiNo] = std::array{in_vArguments[0], in_vArguments[1], in_vArguments[2]};
    if (isFailed(uiCondition))
        return uiCondition;
    if (sizeOf(uiCondition) != 1)
        return fail("the condition before '?' has " + std::to_string(sizeOf(uiCondition)) +
                    " values instead of 1");
    std::uint32_t uiSize = isFailed(uiYes) ? sizeOf(uiNo) : sizeOf(uiYes);
    if (!isFailed(uiYes) && !isFailed(uiNo))
    {
        if (uiSize != sizeOf(uiNo) && uiSize != 1 && sizeOf(uiNo) != 1)
            return fail("values around ':': " + lengths(uiSize, sizeOf(uiNo)));
        uiSize = uiSize == 1 ? sizeOf(uiNo) : uiSize;
    }
    if (isKnown(uiCondition))
    {
        const std::uint32_t uiChosen = isTrue(*dataOf(uiCondition)) ? uiYes : uiNo;
        return isFailed(uiChosen) ? uiChosen : repeat(uiChosen, uiSize);
    }
    const Ids vKey = makeKey(static_cast<std::uint32_t>(Op::SELECT), nullptr, in_vArguments);
    const auto itKnown = m_known.find(vKey);
    if (itKnown != m_known.end())
        return itKnown->second;
    Value value{Kind::SELECTED, {}, 0, 0, {}};
    if (!allocate(uiSize, value.m_slot))
        return tooLarge(uiSize);
    return m_known[vKey] = add(value, in_vArguments);
}

std::uint32_t Values::buildVector(const Ids& in_vArguments)
{
    const Ids vKey = makeKey(static_cast<std::uint32_t>(Op::VECTOR), nullptr, in_vArguments);
    const auto itKnown = m_known.find(vKey);
    if (itKnown != m_known.end())
        return itKnown->second;
    std::size_t uiSize = 0;
    for (const std::uint32_t uiArgument : in_vArguments)
        uiSize += sizeOf(uiArgument);
    Value value{areKnown(in_vArguments) ? Kind::KNOWN : Kind::JOINED, {}, 0, 0, {}};
    if (!allocate(uiSize, value.m_slot))
        return tooLarge(uiSize);
    if (value.m_kind == Kind::KNOWN)
    {
        double* pOut = m_plan.m_vImage.data() + value.m_slot.m_uiAt;
        for (const std::uint32_t uiArgument : in_vArguments)
            pOut = std::copy_n(dataOf(uiArgument), sizeOf(uiArgument), pOut);
    }
    return m_known[vKey] = add(value, in_vArguments);
}

std::uint32_t Values::buildIndex(const Ids& in_vArguments)
{
    const std::size_t uiSize = sizeOf(in_vArguments[0]);
    if (sizeOf(in_vArguments[1]) != 1)
        return fail("an index of " + std::to_string(sizeOf(in_vArguments[1])) + " values");
    const std::string strReason =
        "index out of range or not whole: there are " + std::to_string(uiSize) + " values";
    if (isKnown(in_vArguments[1]))
    {
        std::uint32_t uiIndex = 0;
        if (!toWhole(in_vArguments[1], uiSize, uiIndex) || uiIndex == uiSize)
            return fail(strReason);
        return view(in_vArguments[0], uiIndex, 1);
    }
    Instruction instruction;
    instruction.m_code = Code::ELEMENT;
    instruction.m_uiSize = static_cast<std::uint32_t>(uiSize);
    instruction.m_uiTarget = static_cast<std::uint32_t>(m_plan.m_vFailures.size());
    m_plan.m_vFailures.push_back(m_pScript->where(m_uiLine) + strReason);
    return compute(makeKey(static_cast<std::uint32_t>(Op::INDEX), nullptr, in_vArguments), instruction,
                   in_vArguments, 1);
}

std::uint32_t Values::buildSlice(const Ids& in_vArguments)
{
    const std::size_t uiSize = sizeOf(in_vArguments[0]);
    std::uint32_t uiFirst = 0;
    std::uint32_t uiEnd = 0;
    if (!isKnown(in_vArguments[1]) || !isKnown(in_vArguments[2]))
        return fail("the bounds of a slice must not depend on inputs or states");
    if (!toWhole(in_vArguments[1], uiSize, uiFirst) || !toWhole(in_vArguments[2], uiSize, uiEnd) ||
        uiFirst > uiEnd)
        return fail("bounds of a slice out of range or not whole: there are " + std::to_string(uiSize) +
                    " values");
    return view(in_vArguments[0], uiFirst, uiEnd - uiFirst);
}

std::uint32_t Values::buildCall(const Function& in_function, const Ids& in_vArguments)
{
    Instruction instruction;
    const std::uint32_t uiVector = in_vArguments[0];
    switch (in_function.m_kind)
    {
    case Function::Kind::MAP:
        instruction.m_op = Op::CALL;
        instruction.m_code = sizeOf(uiVector) == 1 ? Code::SCALAR : Code::MAP_ALL;
        instruction.m_pMap = in_function.m_pMap;
        return compute(makeKey(KEY_FUNCTION, &in_function, in_vArguments), instruction, in_vArguments,
                       sizeOf(uiVector));
    case Function::Kind::DOT:
        if (sizeOf(uiVector) != sizeOf(in_vArguments[1]))
            return fail(lengths(sizeOf(uiVector), sizeOf(in_vArguments[1])));
        instruction.m_code = Code::DOT;
        instruction.m_uiSize = sizeOf(uiVector);
        return compute(makeKey(KEY_FUNCTION, &in_function, in_vArguments), instruction, in_vArguments, 1);
    case Function::Kind::SIZE:
        return number(sizeOf(uiVector));
    case Function::Kind::RANGE:
        return buildRange(uiVector);
    case Function::Kind::TONE_ENERGY:
    case Function::Kind::LOG_MEL:
        return buildKernel(in_function, in_vArguments);
    default:
        return buildReduction(in_function, uiVector);
    }
}

std::uint32_t Values::buildReduction(const Function& in_function, std::uint32_t in_uiVector)
{
    if (sizeOf(in_uiVector) == 0 && !in_function.m_bTakesEmpty)
        return fail(std::string("'") + in_function.m_szName + "' of no values");
    Instruction instruction;
    instruction.m_code = Code::REDUCE;
    instruction.m_uiSize = sizeOf(in_uiVector);
    instruction.m_pReduce = in_function.m_pReduce;
    return compute(makeKey(KEY_FUNCTION, &in_function, {in_uiVector}), instruction, {in_uiVector}, 1);
}

std::uint32_t Values::buildRange(std::uint32_t in_uiLength)
{
    std::uint32_t uiSize = 0;
    if (!isKnown(in_uiLength) || !toWhole(in_uiLength, Limits::MAX_VECTOR, uiSize))
        return fail("'range' takes a whole number from 0 to " + std::to_string(Limits::MAX_VECTOR) +
                    " that does not depend on inputs or states");
    Value value{Kind::KNOWN, {}, 0, 0, {}};
    if (!allocate(uiSize, value.m_slot))
        return tooLarge(uiSize);
    for (std::uint32_t i = 0; i < uiSize; ++i)
        m_plan.m_vImage[value.m_slot.m_uiAt + i] = i;
    return add(value, {});
}

std::uint32_t Values::buildKernel(const Function& in_function, const Ids& in_vArguments)
{
    const Ids vKey = makeKey(KEY_FUNCTION, &in_function, in_vArguments);
    const auto itKnown = m_known.find(vKey);
    if (itKnown != m_known.end())
        return itKnown->second;
    const Ids vSettings(in_vArguments.begin() + 1, in_vArguments.end());
    if (!areKnown(vSettings))
        return fail(std::string("the settings of '") + in_function.m_szName +
                    "' must not depend on inputs or states");
    std::string strReason;
    const auto single = [&](std::size_t in_uiIndex, double in_dDefault)
    {
        return in_uiIndex < in_vArguments.size() ? *dataOf(in_vArguments[in_uiIndex]) : in_dDefault;
    };
    for (std::size_t i = in_function.m_kind == Function::Kind::TONE_ENERGY ? 2 : 1; i < in_vArguments.size();
         ++i)
        if (sizeOf(in_vArguments[i]) != 1)
            return fail(std::string("a setting of '") + in_function.m_szName + "' is no single number");
    const std::size_t uiWindow = sizeOf(in_vArguments[0]);
    auto pKernel = in_function.m_kind == Function::Kind::TONE_ENERGY
                       ? makeToneEnergy(uiWindow, dataOf(in_vArguments[1]), sizeOf(in_vArguments[1]),
                                        single(2, 0.0), strReason)
                       : makeLogMel(uiWindow, single(1, 0.0), single(2, 0.0), single(3, 20.0), single(4, 0.0),
                                    strReason);
    if (pKernel == nullptr)
        return fail(std::string("'") + in_function.m_szName + "': " + strReason);
    m_uiTableSize += pKernel->getTableSize();
    Slot scratch;
    if (m_uiTableSize > Limits::MAX_TABLES || !allocate(pKernel->getScratchSize(), scratch))
        return fail(std::string("'") + in_function.m_szName + "' needs too much memory");
    Instruction instruction;
    instruction.m_code = Code::KERNEL;
    instruction.m_uiB = scratch.m_uiAt;
    instruction.m_pKernel = pKernel.get();
    const std::size_t uiSize = pKernel->getSize();
    m_plan.m_vKernels.push_back(std::move(pKernel));
    return compute(vKey, instruction, {in_vArguments[0]}, uiSize);
}

std::uint32_t Values::number(double in_dNumber)
{
    const auto [itNumber, bNew] = m_known.emplace(
        makeKey(static_cast<std::uint32_t>(Op::NUMBER), std::bit_cast<std::uint64_t>(in_dNumber)), NONE);
    if (!bNew)
        return itNumber->second;
    Value value{Kind::KNOWN, {}, 0, 0, {}};
    if (!allocate(1, value.m_slot))
        return itNumber->second = tooLarge(1);
    m_plan.m_vImage[value.m_slot.m_uiAt] = in_dNumber;
    return itNumber->second = add(value, {});
}

std::uint32_t Values::view(std::uint32_t in_uiVector, std::uint32_t in_uiOffset, std::uint32_t in_uiSize)
{
    const Value& vector = m_vValues[in_uiVector];
    const auto [itView, bNew] = m_known.emplace(Ids{KEY_VIEW, in_uiVector, in_uiOffset, in_uiSize}, NONE);
    if (bNew)
        itView->second = add({vector.hasCode() ? Kind::VIEW : vector.m_kind,
                              {vector.m_slot.m_uiAt + in_uiOffset, in_uiSize},
                              0,
                              0,
                              {}},
                             {in_uiVector});
    return itView->second;
}

/// The value itself, or as many copies of its only one.
std::uint32_t Values::repeat(std::uint32_t in_uiValue, std::uint32_t in_uiSize)
{
    if (sizeOf(in_uiValue) == in_uiSize)
        return in_uiValue;
    Instruction instruction;
    instruction.m_code = Code::FILL;
    return compute({KEY_REPEAT, in_uiValue, in_uiSize}, instruction, {in_uiValue}, in_uiSize);
}

/// A value that one instruction computes from one or two arguments; computed at once when they are known.
std::uint32_t Values::compute(const Ids& in_vKey, const Instruction& in_instruction, const Ids& in_vArguments,
                              std::size_t in_uiSize)
{
    const auto itKnown = m_known.find(in_vKey);
    if (itKnown != m_known.end())
        return itKnown->second;
    Value value{areKnown(in_vArguments) ? Kind::KNOWN : Kind::COMPUTED, {}, 0, 0, in_instruction};
    if (!allocate(in_uiSize, value.m_slot))
        return tooLarge(in_uiSize);
    Instruction& instruction = value.m_instruction;
    if (instruction.m_uiSize == 0)
        instruction.m_uiSize = static_cast<std::uint32_t>(in_uiSize);
    instruction.m_uiA = m_vValues[in_vArguments[0]].m_slot.m_uiAt;
    if (in_vArguments.size() > 1)
        instruction.m_uiB = m_vValues[in_vArguments[1]].m_slot.m_uiAt;
    instruction.m_uiOut = value.m_slot.m_uiAt;
    if (instruction.m_code == Code::SCALAR)
        instruction.m_pScalar = findScalar(instruction.m_op, Last::NONE);
    if (value.m_kind == Kind::KNOWN)
    {
        Instruction code[2] = {instruction, {}};
        code[1].m_code = Code::RETURN;
        code[1].m_uiTarget = 0;
        std::uint64_t uiDone = 0;
        run(code, nullptr, 0, {&uiDone, nullptr, 0}, m_plan.m_vImage.data());
    }
    return m_known[in_vKey] = add(value, in_vArguments);
}

std::uint32_t Values::fail(const std::string& in_strReason)
{
    Value value{Kind::FAILED, {0, 1}, 0, 0, {}};
    value.m_instruction.m_code = Code::FAIL;
    value.m_instruction.m_uiTarget = static_cast<std::uint32_t>(m_plan.m_vFailures.size());
    m_plan.m_vFailures.push_back((m_pScript == nullptr ? "" : m_pScript->where(m_uiLine)) + in_strReason);
    return add(value, {});
}

std::uint32_t Values::tooLarge(std::size_t in_uiSize)
{
    if (in_uiSize > Limits::MAX_VECTOR)
        return fail("a vector of " + std::to_string(in_uiSize) + " values; at most " +
                    std::to_string(Limits::MAX_VECTOR) + " are allowed");
    return fail("the scripts need more than " + std::to_string(Limits::MAX_VALUES) + " values");
}

bool Values::allocate(std::size_t in_uiSize, Slot& out_slot)
{
    std::vector<double>& vImage = m_plan.m_vImage;
    if (in_uiSize > Limits::MAX_VECTOR || vImage.size() + in_uiSize > Limits::MAX_VALUES)
        return false;
    out_slot = {static_cast<std::uint32_t>(vImage.size()), static_cast<std::uint32_t>(in_uiSize)};
    // An empty vector has a place too, which instructions may read.
    vImage.resize(vImage.size() + std::max<std::size_t>(in_uiSize, 1));
    return true;
}

std::uint32_t Values::add(Value in_value, const Ids& in_vArguments)
{
    in_value.m_uiFirstArgument = static_cast<std::uint32_t>(m_vArguments.size());
    in_value.m_uiNbArguments = static_cast<std::uint32_t>(in_vArguments.size());
    m_vArguments.insert(m_vArguments.end(), in_vArguments.begin(), in_vArguments.end());
    m_vValues.push_back(in_value);
    return static_cast<std::uint32_t>(m_vValues.size() - 1);
}

bool Values::areKnown(const Ids& in_vValues) const
{
    return std::all_of(in_vValues.begin(), in_vValues.end(),
                       [&](std::uint32_t in_uiValue) { return isKnown(in_uiValue); });
}

const double* Values::dataOf(std::uint32_t in_uiValue) const
{
    return m_plan.m_vImage.data() + m_vValues[in_uiValue].m_slot.m_uiAt;
}

/// A single known whole number from 0 to the most.
bool Values::toWhole(std::uint32_t in_uiValue, std::size_t in_uiMost, std::uint32_t& out_uiNumber) const
{
    if (sizeOf(in_uiValue) != 1)
        return false;
    const double dNumber = *dataOf(in_uiValue);
    if (!(dNumber >= 0.0 && dNumber <= static_cast<double>(in_uiMost) && std::floor(dNumber) == dNumber))
        return false;
    out_uiNumber = static_cast<std::uint32_t>(dNumber);
    return true;
}

} // namespace Vexalor::Math::Xpr
