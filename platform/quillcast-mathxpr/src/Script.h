#pragma once

#include "Functions.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace Vexalor::Math::Xpr
{

/// What a node of an expression does with its arguments.
enum class Op : std::uint8_t
{
    // Two arguments, element by element.
    ADD,
    SUBTRACT,
    MULTIPLY,
    DIVIDE,
    MODULO,
    POWER,
    LESS,
    LESS_EQUAL,
    GREATER,
    GREATER_EQUAL,
    EQUAL,
    NOT_EQUAL,
    AND,
    OR,
    MINIMUM,
    MAXIMUM,
    // One argument, element by element.
    NEGATE,
    NOT,
    // Others.
    NUMBER,   ///< m_dNumber
    NAME,     ///< m_uiSymbol
    PREVIOUS, ///< m_uiSymbol; argument: initial value
    SELECT,   ///< condition, value if true, value if not; arms m_uiArm and the next one
    VECTOR,   ///< arguments joined
    INDEX,    ///< vector, index
    SLICE,    ///< vector, first, end
    CALL      ///< m_pFunction
};

constexpr std::size_t NB_BINARY = static_cast<std::size_t>(Op::MAXIMUM) + 1;
constexpr std::size_t NB_ELEMENTWISE = static_cast<std::size_t>(Op::NOT) + 1;

/// Nodes, arguments and names have numbers of their own in a script; a program that takes it over gives them
/// its numbers, and symbols for the names.
struct Node
{
    Op m_op;
    std::uint32_t m_uiLine;
    std::uint32_t m_uiFirstArgument; ///< into m_vArguments
    std::uint32_t m_uiNbArguments;
    std::uint32_t m_uiSelect; ///< the SELECT that this node is the condition of; 0: none
    std::uint32_t m_uiOwner;  ///< in a program: the symbol whose definition this is a part of
    union
    {
        double m_dNumber;
        std::uint32_t m_uiSymbol; ///< in a script: into m_vReferences
        std::uint32_t m_uiArm;    ///< into Definition::m_vArms
        const Function* m_pFunction;
    };
};

/// A reference to a value of the same window.
struct Use
{
    static constexpr std::uint32_t LENGTH_ONLY = ~std::uint32_t(0);

    std::uint32_t m_uiSymbol;
    std::uint32_t m_uiArm; ///< into Definition::m_vArms; LENGTH_ONLY inside of size()
};

/// name = expression. The expression is the nodes from the first to the root. The nodes of an argument are in
/// a row, arguments before their users.
struct Definition
{
    std::string m_strName;
    std::string m_strText; ///< of the expression, on one line
    std::uint32_t m_uiLine;
    std::uint32_t m_uiFirstNode;
    std::uint32_t m_uiRoot;
    std::vector<Use> m_vNames;
    std::vector<std::uint32_t> m_vPrevious; ///< symbols: references to values of the window before
    /// What is computed under one condition: the whole expression, then two arms for each SELECT. Of each,
    /// the arm that it is in.
    std::vector<std::uint32_t> m_vArms{0};
    bool m_bSlow = false; ///< calls a function of a window that has tables
};

/// The definitions of one text, as they stand; names are not resolved.
struct Script
{
    std::string m_strSource; ///< for messages: the path
    std::vector<Definition> m_vDefinitions;
    std::vector<Node> m_vNodes;
    std::vector<std::uint32_t> m_vArguments;
    std::vector<std::string> m_vReferences; ///< distinct names, as written
};

/// For messages: "path:line: ".
std::string place(const std::string& in_strPath, std::uint32_t in_uiLine);

bool isName(std::string_view in_strText);
/// Words of the language, functions and named numbers: nothing else can have these names.
bool isReserved(std::string_view in_strName);

/// Null, with the reason logged at error level, when the text is no script.
std::shared_ptr<const Script> parseScript(std::string_view in_strText, const std::string& in_strSource);
/// The same for one expression.
std::shared_ptr<const Script> parseExpression(std::string_view in_strText, const std::string& in_strName);

} // namespace Vexalor::Math::Xpr
