#pragma once

#include "quillcast-core/DescribingArchive.h"
#include "quillcast-core/Serialization.h"

#include <algorithm>
#include <memory>
#include <span>
#include <string>

namespace Vexalor::MachineLearning
{

/// The row of a name; null for one that has none.
template <class Kind>
const Kind* findKind(std::span<const Kind> in_kinds, const std::string& in_strName)
{
    const auto itKind = std::find_if(in_kinds.begin(), in_kinds.end(),
                                     [&](const Kind& in_kind) { return in_strName == in_kind.m_name; });
    return itKind == in_kinds.end() ? nullptr : &*itKind;
}

/// An object of the class that the name or the key stands for, as its constructor leaves it; null, with the
/// reason in out_strFault, when there is none that is a T. in_what is what a T is called.
template <class T, class Kind>
std::unique_ptr<T> newOfKind(std::span<const Kind> in_kinds, const char* in_what,
                             const std::string& in_strName, std::string& out_strFault)
{
    const Kind* pKind = findKind(in_kinds, in_strName);
    const char* key = pKind == nullptr ? in_strName.c_str() : pKind->m_key;
    out_strFault = std::string("there is no ") + in_what + " '" + in_strName + "', see --help";
    if (getClassKeyState(key) != ClassKeyState::CREATABLE)
        return nullptr;
    std::unique_ptr<Object> pObject = newDefaultObject(key);
    auto* pWanted = dynamic_cast<T*>(pObject.get());
    if (pWanted == nullptr)
        return nullptr;
    pObject.release();
    out_strFault.clear();
    return std::unique_ptr<T>(pWanted);
}

} // namespace Vexalor::MachineLearning
