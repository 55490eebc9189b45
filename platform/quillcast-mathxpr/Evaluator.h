#pragma once

#include "quillcast-core/Handle.h"
#include "quillcast-core/Object.h"
#include "quillcast-core/StringVector.h"
#include "quillcast-infra/ROConfiguration.h"
#include "quillcast-infra/VirtualFileSystem.h"
#include "quillcast-mathxpr/Variable.h"

#include <memory>

namespace Vexalor::Math::Xpr
{

/// Expression scripts over windows: named vectors that are computed from inputs, constants and each other,
/// with states that go from window to window. doc/expressions.md is the reference of the language.
///
///     configure? (addScript | addExpression | addVariable | setConstant)* link reconfigureExpressions
///     getVariable+ (Variable::assign+ Variable::evaluate*)*
///
/// Scripts, expressions and inputs are known by their names: adding one again changes nothing and succeeds.
/// What is added after link takes part after the next link. Only what a looked-up variable needs is
/// computed, common parts once a window.
///
/// A state, prev(name, initial), that a looked-up variable reaches advances once a window, whether the
/// variable was evaluated in it or not. When its new value cannot be computed it keeps the old one.
///
/// A clone shares the scripts, read and linked once, and has its own values and states. An evaluator and its
/// variables are used by one thread at a time; clones are independent of each other.
///
/// Failures are logged at error level with file and line.
class Evaluator
    : public virtual Cloneable
    , public virtual Resettable
{
public:
    Evaluator();
    ~Evaluator() override;
    Evaluator& operator=(const Evaluator&) = delete;

    static const char* getParamNameScriptsDir() { return "quillcast.math.xpr.scriptLoader.scriptsDir"; }

    /// Where addScript looks: the folders that the parameter names, separated by ";", in their order, on that
    /// file system. False when the parameter is not defined, the file system is null, or a folder is not
    /// below the root of the file system (absolute or with "..").
    bool configure(const ROConfiguration& in_config, const TSHandle<VirtualFileSystem>& in_pFileSystem);

    /// Reads NAME.xpr. False when it is not found or not a script; nothing is added then.
    bool addScript(const char* in_szName);

    /// Adds one expression under a name that all scripts know. False when it is malformed or the name stands
    /// for something else.
    bool addExpression(const char* in_szName, const char* in_szExpression);

    /// Adds an input that all scripts know, and makes the object a handle onto it. False when the name is
    /// missing or stands for something else.
    bool addVariable(const CountedObjPtr<DomainVariableImpl>& in_pVariable);

    /// Defines a number that all scripts know, such as "rate", the sampling rate in Hz; it may be set again
    /// at any time. False when the name is none or stands for something else.
    bool setConstant(const char* in_szName, double in_dValue);

    /// Sorts the expressions; all states become initial. False, with the offences logged, for cycles and for
    /// unknown names; without in_bComplete, what needs an unknown name is only left out.
    bool link(bool in_bComplete);
    bool isLinked() const;

    /// Prepares all expressions anew for the present constants when they are next evaluated; states are kept.
    /// False before link.
    bool reconfigureExpressions();

    /// Null for a name that is unknown or not linked yet; says nothing about it. From now on the states that
    /// the variable reaches advance.
    CountedObjPtr<Variable> getVariable(const char* in_szQualifiedName);

    /// Writes the graph of all variables for Graphviz, also before link: unresolved names dashed, states as
    /// dotted edges, everything in the order of names. The file is replaced at once when complete; one that
    /// holds this graph already is left as it is.
    bool dump(const char* in_szFilename) const;

    /// All states become initial and no window has begun; inputs keep their values.
    bool reset() override;

    Evaluator* clone() const override { return new Evaluator(*this); }

    /// What one evaluator holds for itself, in bytes; what clones share is not part of it.
    std::size_t getOwnMemory() const;

private:
    Evaluator(const Evaluator& in_other);

    bool findScript(const std::string& in_strName, std::string& out_strPath) const;
    bool isFree(const std::string& in_strName) const;

    TSHandle<VirtualFileSystem> m_pFileSystem;
    std::shared_ptr<const StringVector> m_pFolders; ///< null: not configured
    std::shared_ptr<Core> m_pCore;
};

} // namespace Vexalor::Math::Xpr
