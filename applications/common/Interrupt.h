#pragma once

namespace Vexalor
{

/// While it lives, the first SIGINT (Ctrl-C) does not end the program but is noted, for work that has
/// something to keep; the second one does what it did before. Where SIGINT is ignored, it stays so. One at a
/// time.
class Interrupt
{
public:
    Interrupt();
    ~Interrupt();
    Interrupt(const Interrupt&) = delete;
    Interrupt& operator=(const Interrupt&) = delete;

    static bool hasCome();
};

} // namespace Vexalor
