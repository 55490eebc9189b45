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
    std::uint32_t m_uiScript = 0;     ///< of an expression
    std::uint32_t m_uiDefinition = 0; ///< of an expression, in its script
    std::uint32_t m_uiInput = 0;      ///< number of an input
    double m_dValue = 0.0;            ///< of a constant
    bool m_bLinked = false;           ///< of an expression
};

/// A script and what its references mean in the program.
struct LoadedScript
{
    std::string m_strName; ///< empty for a single expression
    std::shared_ptr<const Script> m_pScript;
    std::vector<std::uint32_t> m_vSymbols; ///< one a reference
    std::uint32_t m_uiFirstNode = 0;       ///< number of its first node among those of all scripts
};

/// Everything that an evaluator knows before it computes: names, scripts, the order of their evaluation.
/// Shared by clones; who changes one that is shared copies it first. Symbols keep their numbers.
class Program
{
public:
    static constexpr std::uint32_t NONE = ~std::uint32_t(0);

    Program() = default;
    Program(const Program& in_other);
    Program& operator=(const Program&) = delete;

    std::uint32_t find(const std::string& in_strName) const;
    const Symbol& getSymbol(std::uint32_t in_uiSymbol) const { return m_vSymbols[in_uiSymbol]; }
    const std::vector<Symbol>& getSymbols() const { return m_vSymbols; }
    bool isExpression(std::uint32_t in_uiSymbol) const
    {
        return m_vSymbols[in_uiSymbol].m_kind == Symbol::Kind::EXPRESSION;
    }
    // Of an expression.
    const LoadedScript& getScriptOf(std::uint32_t in_uiSymbol) const
    {
        return m_vScripts[m_vSymbols[in_uiSymbol].m_uiScript];
    }
    const Definition& getDefinition(std::uint32_t in_uiSymbol) const
    {
        return getScriptOf(in_uiSymbol).m_pScript->m_vDefinitions[m_vSymbols[in_uiSymbol].m_uiDefinition];
    }
    /// The symbols that it refers to, in this window or the one before; those of the one before.
    std::vector<std::uint32_t> getUsed(std::uint32_t in_uiSymbol) const;
    std::vector<std::uint32_t> getUsedBefore(std::uint32_t in_uiSymbol) const;
    std::uint32_t getNbNodes() const { return m_uiNbNodes; }
    bool hasScript(const std::string& in_strName) const;

    /// True when the name stands for nothing yet, among all scripts.
    bool isFree(const std::string& in_strName) const;

    /// False, reported, when the script defines what is an input or constant.
    bool addScript(const std::string& in_strName, const std::shared_ptr<const Script>& in_pScript);
    void addExpression(const std::string& in_strName, const std::shared_ptr<const Script>& in_pScript);
    std::uint32_t addInput(const std::string& in_strName);
    void setConstant(const std::string& in_strName, double in_dValue);

    bool link(bool in_bComplete);
    bool isLinked() const { return m_bLinked; }
    const Structure& getStructure() const { return m_structure; }

    /// How to compute for those lengths of the inputs; made once for all clones.
    std::shared_ptr<Plan> getPlan(const std::vector<std::uint32_t>& in_vLengths) const;

private:
    bool isDefined(const std::string& in_strName) const;
    std::uint32_t intern(const std::string& in_strName);
    std::uint32_t load(const std::string& in_strName, const std::shared_ptr<const Script>& in_pScript);
    void define(std::uint32_t in_uiScript, std::uint32_t in_uiDefinition, const std::string& in_strName);
    bool sort(std::vector<std::uint32_t>& out_vOrder);
    bool reportCycle(const std::vector<std::uint32_t>& in_vPath, std::uint32_t in_uiSymbol) const;
    void reportUnknown(std::uint32_t in_uiSymbol, unsigned int& io_uiReported) const;
    bool isAvailable(std::uint32_t in_uiSymbol) const;
    bool hasAll(std::uint32_t in_uiSymbol) const;
    std::uint32_t getLineOf(std::uint32_t in_uiSymbol, std::uint32_t in_uiReference) const;

    std::vector<Symbol> m_vSymbols;
    std::unordered_map<std::string, std::uint32_t> m_names;
    std::vector<LoadedScript> m_vScripts;
    Structure m_structure;
    std::uint32_t m_uiNbInputs = 0;
    std::uint32_t m_uiNbNodes = 0;
    bool m_bLinked = false;

    mutable std::mutex m_planMutex;
    mutable std::vector<std::shared_ptr<Plan>> m_vPlans; ///< the latest ones
};

/// Writes the graph of a program for Graphviz.
void writeDot(const Program& in_program, std::string& out_strDot);

} // namespace Vexalor::Math::Xpr
