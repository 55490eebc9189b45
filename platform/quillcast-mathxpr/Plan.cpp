#include "quillcast-mathxpr/Plan.h"

#include "quillcast-mathxpr/CodeWriter.h"
#include "quillcast-mathxpr/Values.h"

#include <algorithm>

namespace Vexalor::Math::Xpr
{

const Plan::Root* Plan::findRoot(std::uint32_t in_uiSymbol) const
{
    const auto itRoot = std::lower_bound(m_vRoots.begin(), m_vRoots.end(), in_uiSymbol,
                                         [](const Root& in_root, std::uint32_t in_uiWanted)
                                         { return in_root.m_uiSymbol < in_uiWanted; });
    return itRoot == m_vRoots.end() || itRoot->m_uiSymbol != in_uiSymbol ? nullptr : &*itRoot;
}

std::shared_ptr<const Plan> makePlan(const Program& in_program, const PlanKey& in_key)
{
    auto pPlan = std::make_shared<Plan>();
    pPlan->m_key = in_key;
    Values values(in_program, *pPlan);
    values.build();
    CodeWriter(values, *pPlan).write();
    return pPlan;
}

} // namespace Vexalor::Math::Xpr
