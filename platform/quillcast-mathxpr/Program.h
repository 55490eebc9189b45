#pragma once

#include "quillcast-mathxpr/Script.h"

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
struct PlanKey;

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
    const LoadedScript& getScriptOf(const Symbol& in_symbol) const
    {
        return m_vScripts[in_symbol.m_uiScript];
    }
    const Definition& getDefinition(const Symbol& in_symbol) const;
    std::uint32_t getNbInputs() const { return m_uiNbInputs; }
    bool hasScript(const std::string& in_strName) const;

    /// True when the name stands for nothing yet, among all scripts.
    bool isFree(const std::string& in_strName) const;

    /// False, reported, when the script defines what is an input or constant.
    bool addScript(const std::string& in_strName, const std::shared_ptr<const Script>& in_pScript);
    void addExpression(const std::string& in_strName, const std::shared_ptr<const Script>& in_pScript);
    std::uint32_t addInput(const std::string& in_strName);
    void setConstant(const std::string& in_strName, double in_dValue);

    /// Stands for what the program is; see Evaluator::getRevision.
    std::uint64_t getRevision() const { return m_uiRevision; }
    void takeNewRevision();

    bool link(bool in_bComplete);
    bool isLinked() const { return m_bLinked; }
    /// The linked expressions, each behind those that it uses.
    const std::vector<std::uint32_t>& getOrder() const { return m_vOrder; }

    /// How to compute something; made once for all clones that ask for the same.
    std::shared_ptr<const Plan> getPlan(const PlanKey& in_key) const;

private:
    bool isDefined(const std::string& in_strName) const;
    std::uint32_t intern(const std::string& in_strName);
    void define(std::uint32_t in_uiScript, std::uint32_t in_uiDefinition, const std::string& in_strName);
    bool sort();
    bool reportCycle(const std::vector<std::uint32_t>& in_vPath, std::uint32_t in_uiSymbol) const;
    void reportUnknown(const Symbol& in_symbol, unsigned int& io_uiReported) const;
    bool isAvailable(std::uint32_t in_uiSymbol) const;
    bool hasAll(const Symbol& in_symbol) const;
    std::uint32_t getLineOf(const Symbol& in_symbol, std::uint32_t in_uiReference) const;

    std::vector<Symbol> m_vSymbols;
    std::unordered_map<std::string, std::uint32_t> m_names;
    std::vector<LoadedScript> m_vScripts;
    std::vector<std::uint32_t> m_vOrder;
    std::uint32_t m_uiNbInputs = 0;
    bool m_bLinked = false;
    std::uint64_t m_uiRevision = 0; ///< 0: nothing has been added

    mutable std::mutex m_planMutex;
    mutable std::vector<std::shared_ptr<const Plan>> m_vPlans; ///< the latest ones
};

/// Writes the graph of a program for Graphviz.
void writeDot(const Program& in_program, std::string& out_strDot);

} // namespace Vexalor::Math::Xpr
