#pragma once

#include "quillcast-core/Object.h"

#include <vector>

namespace Vexalor
{

/// Owns the objects that loading has created and that no handle has taken over yet, so that an exception in
/// the midst of loading leaks nothing. The input archive holds one; scopes of a thread nest.
class OwnershipScope
{
public:
    OwnershipScope();
    /// Deletes what nobody adopted.
    ~OwnershipScope();
    OwnershipScope(const OwnershipScope&) = delete;
    OwnershipScope& operator=(const OwnershipScope&) = delete;

    /// Puts a new object on the thread's innermost scope; without a scope nobody owns it.
    static void add(Object* in_pObject);
    /// Says that the caller owns the object from now on. Null allowed.
    static void adopt(const Object* in_pObject);

    /// The object that was put on this scope last, which the caller owns from now on; null if there is none.
    Object* release();

private:
    std::vector<Object*> m_vObjects;
    OwnershipScope* m_pOuter;
};

} // namespace Vexalor
