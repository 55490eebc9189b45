#pragma once

#include "quillcast-core/Logger.h"

#include <memory>
#include <string>

namespace Vexalor
{

/// Receives the messages of a program from warnings on while it lives, in place of the console or whatever
/// else the root logger writes to: for who asks many objects whether they work, and reports why not in a form
/// of its own. Messages below the level that is set are not made in the first place. Of several that live at
/// a time the latest one receives; they end in the opposite order.
class LogListener
{
public:
    LogListener();
    ~LogListener();
    LogListener(const LogListener&) = delete;
    LogListener& operator=(const LogListener&) = delete;

    /// The first message at error level since the last call, else the first warning, else the first failed
    /// assertion, else empty; forgets all of them. What comes first is nearest to the cause.
    std::string takeReason();

private:
    struct State;
    std::unique_ptr<State> m_pState;
};

} // namespace Vexalor
