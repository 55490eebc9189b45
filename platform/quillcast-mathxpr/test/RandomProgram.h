#pragma once

#include "PlainInterpreter.h"

#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <vector>

namespace Vexalor::Math::Xpr::Testing
{

/// The same numbers on every machine.
class Random
{
public:
    explicit Random(std::uint64_t in_uiSeed)
        : m_engine(in_uiSeed)
    {
    }

    std::uint64_t below(std::uint64_t in_uiEnd) { return m_engine() % in_uiEnd; }
    bool oneIn(std::uint64_t in_uiCount) { return below(in_uiCount) == 0; }

private:
    std::mt19937_64 m_engine;
};

/// Scripts that are well-formed and make sense more often than not, over the inputs "audio" and "level", the
/// latter of one value, and the constant "rate".
class RandomProgram
{
public:
    explicit RandomProgram(Random& io_random);

    const std::vector<PlainDefinition>& getDefinitions() const { return m_vDefinitions; }
    /// Texts by file.
    const std::map<std::string, std::string>& getScripts() const { return m_scripts; }
    /// Of windows.
    const std::vector<std::size_t>& getLengths() const { return m_vLengths; }

private:
    Tree vector(int in_iDepth);
    Tree single(int in_iDepth);
    Tree known(int in_iDepth);
    Tree name();
    Tree previous(bool in_bSingle);
    Tree choice(int in_iDepth, bool in_bSingle);
    void addScripts();
    std::string write(const Tree& in_tree, int in_iLeast, const std::string& in_strScript);

    Random& m_random;
    std::vector<PlainDefinition> m_vDefinitions; ///< each uses earlier ones only, but through prev
    std::size_t m_uiNbDefinitions;
    std::size_t m_uiNbVisible = 0; ///< to the definition that is made
    std::map<std::string, std::string> m_scripts;
    std::vector<std::size_t> m_vLengths;
};

} // namespace Vexalor::Math::Xpr::Testing
