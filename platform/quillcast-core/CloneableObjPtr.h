#pragma once

#include <memory>

namespace Vexalor
{

/// Owning pointer whose copies own clones of the object. T::clone() const returns a new T*. Null allowed.
template <class T>
class CloneableObjPtr
{
public:
    CloneableObjPtr() = default;

    /// Takes ownership.
    explicit CloneableObjPtr(T* in_pObject)
        : m_pObject(in_pObject)
    {
    }

    CloneableObjPtr(const CloneableObjPtr& in_other)
        : m_pObject(in_other.isNull() ? nullptr : in_other->clone())
    {
    }

    CloneableObjPtr(CloneableObjPtr&&) noexcept = default;

    CloneableObjPtr& operator=(CloneableObjPtr in_other) noexcept
    {
        m_pObject = std::move(in_other.m_pObject);
        return *this;
    }

    bool isNull() const { return m_pObject == nullptr; }
    T* get() const { return m_pObject.get(); }
    T* operator->() const { return m_pObject.get(); }
    T& operator*() const { return *m_pObject; }

private:
    std::unique_ptr<T> m_pObject;
};

} // namespace Vexalor
