#include "quillcast-mathxpr/Evaluator.h"

#include "Core.h"
#include "quillcast-core/Assertion.h"
#include "quillcast-core/FileReplacer.h"
#include "quillcast-core/InputFile.h"
#include "quillcast-mathxpr/Limits.h"

#include <algorithm>

namespace Vexalor::Math::Xpr
{

namespace
{

constinit Logger s_logger("quillcast.math.xpr.Evaluator");

/// What stands between the separators; nothing for what is empty.
StringVector split(const std::string& in_strText, char in_cSeparator)
{
    StringVector vParts;
    for (std::size_t uiBegin = 0; uiBegin < in_strText.size();)
    {
        const std::size_t uiEnd = std::min(in_strText.find(in_cSeparator, uiBegin), in_strText.size());
        if (uiEnd > uiBegin)
            vParts.push_back(in_strText.substr(uiBegin, uiEnd - uiBegin));
        uiBegin = uiEnd + 1;
    }
    return vParts;
}

/// The path without what changes nothing: "./a//b/" is "a/b/". False when it leaves the root.
bool normalise(const std::string& in_strFolder, std::string& out_strFolder)
{
    out_strFolder.clear();
    for (const std::string& strPart : split(in_strFolder, '/'))
    {
        if (strPart == "..")
            return false;
        if (strPart != ".")
            out_strFolder += strPart + "/";
    }
    return in_strFolder.front() != '/';
}

/// The text of a script; one byte more than allowed for longer ones.
bool readScript(const VirtualFileSystem& in_fileSystem, const std::string& in_strPath,
                std::string& out_strText)
{
    vfsistream file(in_fileSystem, in_strPath.c_str());
    if (file)
    {
        out_strText.resize(Limits::MAX_SCRIPT_SIZE + 1);
        file.read(out_strText.data(), static_cast<std::streamsize>(out_strText.size()));
        out_strText.resize(static_cast<std::size_t>(file.gcount()));
    }
    if (file.eof() || file.good())
        return true;
    QC_ERROR("Cannot read script " << in_strPath << ": "
                                   << (file.getReason().empty() ? "read error" : file.getReason()));
    return false;
}

bool holds(const char* in_szFilename, const std::string& in_strText)
{
    InputFile file;
    if (!file.openRegular(in_szFilename) || file.getSize() != in_strText.size())
        return false;
    std::string strHeld(in_strText.size(), '\0');
    strHeld.resize(file.readAt(0, strHeld.data(), strHeld.size()));
    return strHeld == in_strText;
}

} // namespace

Evaluator::Evaluator()
    : m_pCore(std::make_shared<Core>())
{
}

Evaluator::Evaluator(const Evaluator& in_other)
    : Object(in_other)
    , Cloneable(in_other)
    , Resettable(in_other)
    , m_pFileSystem(in_other.m_pFileSystem)
    , m_pFolders(in_other.m_pFolders)
    , m_pCore(std::make_shared<Core>(*in_other.m_pCore))
{
}

Evaluator::~Evaluator() = default;

bool Evaluator::configure(const ROConfiguration& in_config, const TSHandle<VirtualFileSystem>& in_pFileSystem)
{
    QC_TRACE("Math::Xpr::Evaluator::configure");
    std::string strFolders;
    if (!QC_CHECK(!in_pFileSystem.isNull()))
        return false;
    if (!in_config.getStringParameter(getParamNameScriptsDir(), strFolders))
    {
        QC_ERROR("Parameter " << getParamNameScriptsDir() << " is not defined");
        return false;
    }
    StringVector vFolders;
    for (const std::string& strFolder : split(strFolders, ';'))
        if (!normalise(strFolder, vFolders.emplace_back()))
        {
            QC_ERROR("Script folder '" << strFolder << "' is not below the root of the file system");
            return false;
        }
    if (vFolders.empty())
    {
        QC_ERROR("Parameter " << getParamNameScriptsDir() << " names no folder");
        return false;
    }
    m_pFileSystem = in_pFileSystem;
    m_pFolders = std::make_shared<const StringVector>(std::move(vFolders));
    return true;
}

bool Evaluator::findScript(const std::string& in_strName, std::string& out_strPath) const
{
    if (m_pFolders == nullptr)
    {
        QC_ERROR("Cannot find script '" << in_strName << "': no script folders are configured");
        return false;
    }
    std::string strFolders;
    for (const std::string& strFolder : *m_pFolders)
    {
        out_strPath = strFolder + in_strName + ".xpr";
        if (m_pFileSystem->exists(out_strPath.c_str()))
            return true;
        strFolders += (strFolders.empty() ? "" : ", ") + (strFolder.empty() ? std::string("./") : strFolder);
    }
    QC_ERROR("Cannot find script '" << in_strName << "': there is no " << in_strName << ".xpr in "
                                    << strFolders);
    return false;
}

bool Evaluator::addScript(const char* in_szName)
{
    QC_TRACE("Math::Xpr::Evaluator::addScript");
    if (!QC_CHECK(in_szName != nullptr))
        return false;
    if (!isName(in_szName))
    {
        QC_ERROR("'" << in_szName << "' cannot be the name of a script");
        return false;
    }
    if (m_pCore->getProgram().hasScript(in_szName))
        return true;
    std::string strPath;
    std::string strText;
    if (!findScript(in_szName, strPath) || !readScript(*m_pFileSystem, strPath, strText))
        return false;
    const std::shared_ptr<const Script> pScript = parseScript(strText, strPath);
    return pScript != nullptr && m_pCore->changeProgram().addScript(in_szName, *pScript);
}

bool Evaluator::addExpression(const char* in_szName, const char* in_szExpression)
{
    QC_TRACE("Math::Xpr::Evaluator::addExpression");
    if (!QC_CHECK(in_szName != nullptr && in_szExpression != nullptr))
        return false;
    const std::shared_ptr<const Script> pScript = parseExpression(in_szExpression, in_szName);
    if (pScript == nullptr)
        return false;
    const Program& program = m_pCore->getProgram();
    const std::uint32_t uiSymbol = program.find(in_szName);
    if (uiSymbol == Program::NONE)
        m_pCore->changeProgram().addExpression(*pScript);
    else if (!program.isExpression(uiSymbol) ||
             program.getDefinition(uiSymbol).m_strText != pScript->m_vDefinitions.front().m_strText)
    {
        QC_ERROR("'" << in_szName << "' stands for something else already");
        return false;
    }
    return true;
}

bool Evaluator::isFree(const std::string& in_strName) const
{
    if (isReserved(in_strName))
        QC_ERROR("'" << in_strName << "' has a meaning of its own and cannot be defined");
    else if (!m_pCore->getProgram().isFree(in_strName))
        QC_ERROR("'" << in_strName << "' stands for something else already");
    else
        return true;
    return false;
}

bool Evaluator::addVariable(const CountedObjPtr<DomainVariableImpl>& in_pVariable)
{
    QC_TRACE("Math::Xpr::Evaluator::addVariable");
    if (!QC_CHECK(!in_pVariable.isNull()) || !QC_CHECK(!in_pVariable->getName().empty()))
        return false;
    const std::string& strName = in_pVariable->getName();
    std::uint32_t uiSymbol = m_pCore->getProgram().find(strName);
    if (!m_pCore->getProgram().isA(Symbol::Kind::INPUT, uiSymbol))
    {
        if (!isFree(strName))
            return false;
        uiSymbol = m_pCore->changeProgram().addInput(strName);
        m_pCore->addInput();
    }
    in_pVariable->bind(m_pCore, uiSymbol);
    return true;
}

bool Evaluator::setConstant(const char* in_szName, double in_dValue)
{
    QC_TRACE("Math::Xpr::Evaluator::setConstant");
    if (!QC_CHECK(in_szName != nullptr && isName(in_szName)))
        return false;
    const Program& program = m_pCore->getProgram();
    const std::uint32_t uiSymbol = program.find(in_szName);
    const bool bHere = program.isA(Symbol::Kind::CONSTANT, uiSymbol);
    if (bHere && program.getSymbol(uiSymbol).m_dValue == in_dValue)
        return true;
    if (!bHere && !isFree(in_szName))
        return false;
    m_pCore->changeProgram().setConstant(in_szName, in_dValue);
    return true;
}

bool Evaluator::link(bool in_bComplete)
{
    QC_TRACE("Math::Xpr::Evaluator::link");
    return m_pCore->link(in_bComplete);
}

bool Evaluator::isLinked() const
{
    return m_pCore->getProgram().isLinked();
}

bool Evaluator::reconfigureExpressions()
{
    QC_TRACE("Math::Xpr::Evaluator::reconfigureExpressions");
    if (!QC_CHECK(isLinked()))
        return false;
    m_pCore->replan();
    return true;
}

CountedObjPtr<Variable> Evaluator::getVariable(const char* in_szQualifiedName)
{
    QC_TRACE("Math::Xpr::Evaluator::getVariable");
    if (!QC_CHECK(in_szQualifiedName != nullptr))
        return {};
    const Program& program = m_pCore->getProgram();
    const std::uint32_t uiSymbol = program.find(in_szQualifiedName);
    if (uiSymbol == Program::NONE || !program.isAvailable(uiSymbol) ||
        (program.isExpression(uiSymbol) && !isLinked()))
        return {};
    return CountedObjPtr<Variable>(new VariableImpl(m_pCore, uiSymbol));
}

bool Evaluator::dump(const char* in_szFilename) const
{
    QC_TRACE("Math::Xpr::Evaluator::dump");
    if (!QC_CHECK(in_szFilename != nullptr))
        return false;
    std::string strDot;
    writeDot(m_pCore->getProgram(), strDot);
    if (holds(in_szFilename, strDot))
        return true;
    FileReplacer file(in_szFilename);
    if (file.open() && file.write(strDot) && file.commit())
        return true;
    QC_ERROR("Cannot write " << in_szFilename << ": " << file.getReason());
    return false;
}

bool Evaluator::reset()
{
    QC_TRACE("Math::Xpr::Evaluator::reset");
    m_pCore->reset();
    return true;
}

std::size_t Evaluator::getOwnMemory() const
{
    return sizeof(*this) + m_pCore->getOwnMemory();
}

} // namespace Vexalor::Math::Xpr
