#pragma once

#include "Script.h"
#include "Structure.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <ostream>
#include <string>
#include <unordered_map>
#include <vector>

namespace Vexalor::Math::Xpr
{

class Plan;

/// A name of a program and what it stands for.
struct Symbol
{
    enum class Kind
    {
        UNKNOWN, ///< referred to, not defined yet
        EXPRESSION,
        INPUT,
        CONSTANT
    };

    std::string m_strName; ///< with its script
    Kind m_kind = Kind::UNKNOWN;
    std::uint32_t m_uiDefinition = 0; ///< of an expression
    std::uint32_t m_uiInput = 0;      ///< number of an input
    double m_dValue = 0.0;            ///< of a constant
    bool m_bLinked = false;           ///< of an expression
};

/// Everything that an evaluator knows before it computes: names, scripts, the order of their evaluation.
/// Shared by clones; who changes one that is shared copies it first. Symbols keep their numbers.
class Program
{
public:
    static constexpr std::uint32_t NONE = ~std::uint32_t(0);

    /// NONE for what is not defined yet.
    std::uint32_t find(const std::string& in_strName) const;
    const Symbol& getSymbol(std::uint32_t in_uiSymbol) const { return m_vSymbols[in_uiSymbol]; }
    const std::vector<Symbol>& getSymbols() const { return m_vSymbols; }
    bool isA(Symbol::Kind in_kind, std::uint32_t in_uiSymbol) const
    {
        return in_uiSymbol != NONE && m_vSymbols[in_uiSymbol].m_kind == in_kind;
    }
    bool isExpression(std::uint32_t in_uiSymbol) const { return isA(Symbol::Kind::EXPRESSION, in_uiSymbol); }
    /// Defined, and linked if it is an expression.
    bool isAvailable(std::uint32_t in_uiSymbol) const;
    /// Of an expression.
    const Definition& getDefinition(std::uint32_t in_uiSymbol) const
    {
        return m_vDefinitions[m_vSymbols[in_uiSymbol].m_uiDefinition];
    }

    std::size_t getNbNodes() const { return m_vNodes.size(); }
    const Node& getNode(std::uint32_t in_uiNode) const { return m_vNodes[in_uiNode]; }
    /// The number of the node that is an argument of that node.
    std::uint32_t getArgument(std::uint32_t in_uiNode, std::uint32_t in_uiIndex) const
    {
        return m_vArguments[m_vNodes[in_uiNode].m_uiFirstArgument + in_uiIndex];
    }
    /// For messages: file and line of a node.
    std::string where(std::uint32_t in_uiNode) const;
    bool hasScript(const std::string& in_strName) const;

    /// True when the name stands for nothing yet, among all scripts.
    bool isFree(const std::string& in_strName) const;

    /// False, reported, when the script defines what is an input or constant.
    bool addScript(const std::string& in_strName, const Script& in_script);
    void addExpression(const Script& in_script) { load("", in_script); }
    std::uint32_t addInput(const std::string& in_strName);
    void setConstant(const std::string& in_strName, double in_dValue);

    bool link(bool in_bComplete);
    bool isLinked() const { return m_bLinked; }
    const Structure& getStructure() const { return m_structure; }

    /// How to compute for those lengths of the inputs; made once for all clones.
    std::shared_ptr<Plan> getPlan(const std::vector<std::uint32_t>& in_vLengths) const;

private:
    /// A script without a name is a single expression.
    struct Source
    {
        std::string m_strName;
        std::string m_strPath; ///< for messages
    };

    /// Made for this program: a copy begins without.
    struct Plans
    {
        Plans() = default;
        Plans(const Plans&) {}
        Plans& operator=(const Plans&) = delete;

        std::mutex m_mutex;
        std::vector<std::shared_ptr<Plan>> m_vLatest;
    };

    std::uint32_t intern(const std::string& in_strName);
    void load(const std::string& in_strName, const Script& in_script);
    bool hasAll(std::uint32_t in_uiSymbol) const;
    bool leaveOut();
    bool reportCycle(const std::vector<std::uint32_t>& in_vCycle) const;
    bool reportUnknown() const;

    std::vector<Symbol> m_vSymbols;
    std::unordered_map<std::string, std::uint32_t> m_names;
    std::vector<Source> m_vScripts;
    std::vector<Definition> m_vDefinitions;
    std::vector<Node> m_vNodes;
    std::vector<std::uint32_t> m_vArguments;
    Structure m_structure;
    std::uint32_t m_uiNbInputs = 0;
    bool m_bLinked = false;
    mutable Plans m_plans;
};

/// Writes the graph of a program for Graphviz.
void writeDot(const Program& in_program, std::string& out_strDot);

} // namespace Vexalor::Math::Xpr
