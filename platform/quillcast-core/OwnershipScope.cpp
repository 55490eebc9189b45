#include "quillcast-core/OwnershipScope.h"

#include <algorithm>

namespace Vexalor
{

namespace
{
thread_local OwnershipScope* s_pInnermost = nullptr;
}

OwnershipScope::OwnershipScope()
    : m_pOuter(s_pInnermost)
{
    s_pInnermost = this;
}

OwnershipScope::~OwnershipScope()
{
    s_pInnermost = m_pOuter;
    for (Object* pObject : m_vObjects)
        delete pObject;
}

void OwnershipScope::add(Object* in_pObject)
{
    if (s_pInnermost != nullptr)
        s_pInnermost->m_vObjects.push_back(in_pObject);
}

void OwnershipScope::adopt(const Object* in_pObject)
{
    if (s_pInnermost == nullptr || in_pObject == nullptr)
        return;
    // Objects are adopted in about the reverse order of their creation.
    std::vector<Object*>& vObjects = s_pInnermost->m_vObjects;
    const auto itObject = std::find(vObjects.rbegin(), vObjects.rend(), in_pObject);
    if (itObject != vObjects.rend())
        vObjects.erase(std::next(itObject).base());
}

Object* OwnershipScope::release()
{
    Object* pObject = m_vObjects.empty() ? nullptr : m_vObjects.back();
    if (pObject != nullptr)
        m_vObjects.pop_back();
    return pObject;
}

} // namespace Vexalor
