#pragma once

#include "quillcast-core/Assertion.h"
#include "quillcast-core/Logger.h"

#include <memory>
#include <string>
#include <vector>

namespace Vexalor::Testing
{

/// Collects the messages of one logger and those below it while it lives, as "LEVEL message", at in_level and
/// above. The name "" takes everything. Restores the level when it goes.
class LogCapture
{
public:
    explicit LogCapture(const char* in_loggerName, LogLevel in_level = LogLevel::INFO);
    ~LogCapture();

    const std::vector<std::string>& lines() const;
    /// True when one of the lines equals in_strLine.
    bool has(const std::string& in_strLine) const;
    /// How many lines contain in_strPart.
    std::size_t count(const std::string& in_strPart) const;
    /// All lines, joined by newlines; for messages of failed tests.
    std::string text() const;
    void clear();

private:
    struct State;
    std::unique_ptr<State> m_pState;
};

/// Collects the texts of failed assertions while it lives, instead of logging them.
class AssertionCapture
{
public:
    AssertionCapture()
        : m_earlier(Assertion::setSink([this](const char* in_condition, const char*, int)
                                       { m_vConditions.emplace_back(in_condition); }))
    {
    }
    ~AssertionCapture() { Assertion::setSink(m_earlier); }
    AssertionCapture(const AssertionCapture&) = delete;
    AssertionCapture& operator=(const AssertionCapture&) = delete;

    const std::vector<std::string>& conditions() const { return m_vConditions; }
    void clear() { m_vConditions.clear(); }

private:
    std::vector<std::string> m_vConditions;
    Assertion::Sink m_earlier;
};

} // namespace Vexalor::Testing
