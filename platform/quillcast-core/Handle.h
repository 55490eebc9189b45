#pragma once

#include "quillcast-core/ReferenceCount.h"

#include <cstddef>
#include <type_traits>
#include <utility>

namespace Vexalor
{

/// Reference-counted owning handle; null allowed. Handles of different types share one object and one count
/// through conversion to a base and through dynamicCast. The last one deletes the object through its own
/// type, which therefore needs a virtual destructor when the object may be of a derived class.
template <class T, class Count>
class Handle
{
public:
    Handle() = default;

    /// Takes ownership; a null pointer gives a null handle.
    explicit Handle(T* in_pObject)
        : m_pObject(in_pObject)
        , m_pCount(in_pObject == nullptr ? nullptr : new Count)
    {
    }

    Handle(const Handle& in_other)
        : Handle(in_other.m_pObject, in_other.m_pCount)
    {
    }

    Handle(Handle&& io_other) noexcept
        : m_pObject(std::exchange(io_other.m_pObject, nullptr))
        , m_pCount(std::exchange(io_other.m_pCount, nullptr))
    {
    }

    template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
    Handle(const Handle<U, Count>& in_other)
        : Handle(in_other.m_pObject, in_other.m_pCount)
    {
    }

    Handle& operator=(Handle in_other) noexcept
    {
        std::swap(m_pObject, in_other.m_pObject);
        std::swap(m_pCount, in_other.m_pCount);
        return *this;
    }

    ~Handle()
    {
        if (m_pCount != nullptr && m_pCount->decrement())
        {
            delete m_pObject;
            delete m_pCount;
        }
    }

    bool isNull() const { return m_pObject == nullptr; }
    T* get() const { return m_pObject; }
    T* operator->() const { return m_pObject; }
    T& operator*() const { return *m_pObject; }

    /// How many handles share the object; 0 for a null handle.
    std::size_t getCount() const { return m_pCount == nullptr ? 0 : m_pCount->get(); }

    /// A further share of the object under another type; null when the object is not a U.
    template <class U>
    Handle<U, Count> dynamicCast() const
    {
        U* pObject = dynamic_cast<U*>(m_pObject);
        return pObject == nullptr ? Handle<U, Count>() : Handle<U, Count>(pObject, m_pCount);
    }

    friend bool operator==(const Handle& in_left, const Handle& in_right)
    {
        return in_left.m_pObject == in_right.m_pObject;
    }

private:
    template <class, class>
    friend class Handle;

    /// A further share.
    Handle(T* in_pObject, Count* io_pCount)
        : m_pObject(in_pObject)
        , m_pCount(io_pCount)
    {
        if (m_pCount != nullptr)
            m_pCount->increment();
    }

    T* m_pObject = nullptr;
    Count* m_pCount = nullptr;
};

template <class T>
using CountedObjPtr = Handle<T, ReferenceCount>;

template <class T>
using TSHandle = Handle<T, TSReferenceCount>;

} // namespace Vexalor
