#pragma once

#include "Language.h"

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
    OPERATOR, ///< m_pOperator
    NUMBER,   ///< m_dNumber
    NAME,     ///< m_uiSymbol
    PREVIOUS, ///< m_uiSymbol; argument: initial value
    SELECT,   ///< condition, value if true, value if not
    VECTOR,   ///< arguments joined
    INDEX,    ///< vector, index
    SLICE,    ///< vector, first, end
    CALL      ///< m_pFunction
};

/// Nodes, arguments and names have numbers of their own in a script; a program that takes it over gives them
/// its numbers, and symbols for the names.
struct Node
{
    Op m_op;
    bool m_bLengthOnly; ///< inside of size(): is never computed
    std::uint32_t m_uiLine;
    std::uint32_t m_uiFirstArgument; ///< into m_vArguments
    std::uint32_t m_uiNbArguments;
    std::uint32_t m_uiSelect; ///< the SELECT that this node is the condition of; 0: none
    std::uint32_t m_uiScript; ///< in a program
    union
    {
        double m_dNumber;
        std::uint32_t m_uiSymbol; ///< in a script: into m_vReferences
        const Operator* m_pOperator;
        const Function* m_pFunction;
    };
};

/// A reference of a definition to a name.
struct Use
{
    enum class Kind : std::uint8_t
    {
        VALUE,
        LENGTH, ///< inside of size()
        EARLIER ///< the value of the window before
    };

    std::uint32_t m_uiSymbol;
    Kind m_kind;
    std::uint32_t m_uiNbChoices; ///< around it: needed only if all are taken to its side
};

/// name = expression. The expression is the nodes from the first to the root, arguments before their users;
/// the nodes of each side of a choice are in a row, behind those of its condition.
struct Definition
{
    std::string m_strName;
    std::string m_strText; ///< of the expression, on one line
    std::uint32_t m_uiLine;
    std::uint32_t m_uiFirstNode;
    std::uint32_t m_uiRoot;
    std::vector<Use> m_vUses;
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

/// Null, with the reason logged at error level, when the text is no script.
std::shared_ptr<const Script> parseScript(std::string_view in_strText, const std::string& in_strSource);
/// The same for one expression.
std::shared_ptr<const Script> parseExpression(std::string_view in_strText, const std::string& in_strName);

} // namespace Vexalor::Math::Xpr
