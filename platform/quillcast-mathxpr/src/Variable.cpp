#include "quillcast-mathxpr/Variable.h"

#include "Core.h"
#include "quillcast-core/Assertion.h"

namespace Vexalor::Math::Xpr
{

namespace
{

constinit Logger s_logger("quillcast.math.xpr.Variable");

} // namespace

VariableImpl::VariableImpl() = default;
VariableImpl::~VariableImpl() = default;
DomainVariableImpl::DomainVariableImpl() = default;

VariableImpl::VariableImpl(std::shared_ptr<Core> in_pCore, std::uint32_t in_uiSymbol)
{
    bind(std::move(in_pCore), in_uiSymbol);
}

void VariableImpl::bind(std::shared_ptr<Core> in_pCore, std::uint32_t in_uiSymbol)
{
    const Symbol& symbol = in_pCore->getProgram().getSymbol(in_uiSymbol);
    m_uiLookedUp = in_pCore->lookUp(in_uiSymbol);
    m_uiInput = symbol.m_kind == Symbol::Kind::INPUT ? symbol.m_uiInput : NO_INPUT;
    m_strName = symbol.m_strName;
    m_pCore = std::move(in_pCore);
}

bool VariableImpl::evaluate(DoubleVector& out_vValue)
{
    QC_TRACE("Math::Xpr::VariableImpl::evaluate");
    return QC_CHECK(m_pCore != nullptr) && m_pCore->evaluate(m_uiLookedUp, out_vValue);
}

bool VariableImpl::assign(const DoubleVector& in_vValue)
{
    QC_TRACE("Math::Xpr::VariableImpl::assign");
    return QC_CHECK(m_uiInput != NO_INPUT) && m_pCore->assign(m_uiInput, in_vValue);
}

bool DomainVariableImpl::setName(const char* in_szName)
{
    QC_TRACE("Math::Xpr::DomainVariableImpl::setName");
    if (!QC_CHECK(in_szName != nullptr) || !QC_CHECK(m_pCore == nullptr))
        return false;
    if (!QC_CHECK(isName(in_szName)))
        return false;
    m_strName = in_szName;
    return true;
}

bool DomainVariableImpl::preset(const DoubleVector& in_vValue)
{
    QC_TRACE("Math::Xpr::DomainVariableImpl::preset");
    if (!QC_CHECK(m_pCore != nullptr))
        return false;
    return m_pCore->preset(m_uiInput, in_vValue);
}

} // namespace Vexalor::Math::Xpr
