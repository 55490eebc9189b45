#pragma once

namespace Vexalor
{

/// Pointer to an object that somebody else owns and keeps alive as long as it is used. Null allowed.
template <class T>
class LimitedObjPtr
{
public:
    LimitedObjPtr() = default;
    explicit LimitedObjPtr(T* in_pObject)
        : m_pObject(in_pObject)
    {
    }

    bool isNull() const { return m_pObject == nullptr; }
    T* get() const { return m_pObject; }
    T* operator->() const { return m_pObject; }
    T& operator*() const { return *m_pObject; }

    friend bool operator==(const LimitedObjPtr&, const LimitedObjPtr&) = default;

private:
    T* m_pObject = nullptr;
};

} // namespace Vexalor
