#pragma once

#include "quillcast-infra/DiskFileSystem.h"
#include "quillcast-infra/ParameterTrie.h"
#include "quillcast-mathxpr/Evaluator.h"
#include "test-support/LogCapture.h"
#include "test-support/TempDir.h"

#include <string>

namespace Vexalor::Math::Xpr::Testing
{

/// An evaluator over scripts in a folder of its own, with the input "audio".
struct Scripts
{
    Scripts() { pAudio->setName("audio"), evaluator.addVariable(pAudio), configure("."); }

    bool configure(const std::string& in_strFolders)
    {
        DiskFileSystem* pDisk = new DiskFileSystem;
        const TSHandle<VirtualFileSystem> pFileSystem(pDisk);
        ParameterTrie config;
        return pDisk->setWorkingDirectory(folder.path().c_str()) &&
               config.setParameter(Evaluator::getParamNameScriptsDir(), in_strFolders) &&
               evaluator.configure(config, pFileSystem);
    }

    bool add(const std::string& in_strName, const std::string& in_strText)
    {
        folder.write(in_strName + ".xpr", in_strText);
        return evaluator.addScript(in_strName.c_str());
    }

    bool link() { return evaluator.link(true) && evaluator.reconfigureExpressions(); }

    /// Value of a variable, "unknown" or "failed".
    static std::string get(Evaluator& io_evaluator, const char* in_szName)
    {
        const CountedObjPtr<Variable> pVariable = io_evaluator.getVariable(in_szName);
        DoubleVector vValue;
        if (pVariable.isNull())
            return "unknown";
        if (!pVariable->evaluate(vValue))
            return "failed";
        std::string strText;
        vValue.appendTo(strText);
        return strText;
    }
    std::string get(const char* in_szName) { return get(evaluator, in_szName); }

    Vexalor::Testing::TempDir folder;
    Evaluator evaluator;
    CountedObjPtr<DomainVariableImpl> pAudio{new DomainVariableImpl};
};

} // namespace Vexalor::Math::Xpr::Testing
