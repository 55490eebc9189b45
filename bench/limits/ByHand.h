#pragma once

#include "bench/Bench.h"

#include <atomic>
#include <charconv>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <unistd.h>

/// What several limit programs do by hand: patterns as text, and generators as an interface with a disabled
/// trace scope in each operation.
namespace Vexalor::Bench
{

/// A "[v v v]" list; returns what follows the bracket, null for a malformed list.
inline const char* parseList(const char* in_begin, const char* in_end, std::vector<double>& out_vValues)
{
    out_vValues.clear();
    if (in_begin == in_end || *in_begin != '[')
        return nullptr;
    const char* p = in_begin + 1;
    while (p != in_end && *p != ']')
    {
        double dValue = 0.0;
        const auto [pEnd, error] = std::from_chars(p, in_end, dValue);
        if (error != std::errc())
            return nullptr;
        out_vValues.push_back(dValue);
        p = pEnd;
        if (p != in_end && *p == ' ')
            ++p;
    }
    return p == in_end ? nullptr : p + 1;
}

/// A line of two lists.
inline bool parseLine(const char* in_begin, const char* in_end, std::vector<double>& out_vInput,
                      std::vector<double>& out_vTarget)
{
    const char* pTarget = parseList(in_begin, in_end, out_vInput);
    return pTarget != nullptr && pTarget != in_end && parseList(pTarget + 1, in_end, out_vTarget) != nullptr;
}

/// Tests a level on entry and on exit.
class DisabledScope
{
public:
    explicit DisabledScope(const char* in_name)
        : m_name(in_name)
        , m_bOn(LEVEL.load(std::memory_order_relaxed) <= 0)
    {
        if (__builtin_expect(m_bOn, 0))
            std::puts(m_name);
    }
    ~DisabledScope()
    {
        if (__builtin_expect(m_bOn, 0))
            std::puts(m_name);
    }

private:
    static inline std::atomic<int> LEVEL = 20000;
    const char* m_name;
    bool m_bOn;
};

struct NoScope
{
    explicit NoScope(const char*) {}
};

/// What a consumer pulls its patterns through.
struct PulledSource
{
    virtual ~PulledSource() = default;
    virtual bool gotoStart() = 0;
    virtual bool generateNext() = 0;
    virtual bool getInput(std::vector<double>& out_vInput) = 0;
    virtual bool getTarget(std::vector<double>& out_vTarget) = 0;
    virtual bool endedCleanly() const = 0;
};

inline int createFile(const char* in_name)
{
    return ::open(in_name, O_WRONLY | O_CREAT | O_TRUNC, 0644);
}

inline void writeAll(int in_iFile, const char* in_data, std::size_t in_uiSize)
{
    if (::write(in_iFile, in_data, in_uiSize) != static_cast<ssize_t>(in_uiSize))
        std::abort();
}

} // namespace Vexalor::Bench
