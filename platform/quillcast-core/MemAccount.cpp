#include "quillcast-core/MemAccount.h"

#include "quillcast-core/ForkSafeMutex.h"

#include <map>
#include <string>

namespace Vexalor
{

MemAccount& MemAccount::get(const char* in_name)
{
    static auto* pMutex = new ForkSafeMutex;
    static auto* pAccounts = new std::map<std::string, MemAccount, std::less<>>;
    const std::lock_guard<ForkSafeMutex> lock(*pMutex);
    auto itAccount = pAccounts->find(in_name);
    if (itAccount == pAccounts->end())
        itAccount = pAccounts->try_emplace(in_name).first;
    return itAccount->second;
}

} // namespace Vexalor
