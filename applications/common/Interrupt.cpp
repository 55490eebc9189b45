#include "common/Interrupt.h"

#include <csignal>

namespace Vexalor
{

namespace
{

volatile std::sig_atomic_t s_bCome = 0;
struct sigaction s_earlier;

void note(int in_iSignal)
{
    s_bCome = 1;
    sigaction(in_iSignal, &s_earlier, nullptr);
}

} // namespace

Interrupt::Interrupt()
{
    s_bCome = 0;
    sigaction(SIGINT, nullptr, &s_earlier);
    if (s_earlier.sa_handler == SIG_IGN)
        return;
    struct sigaction action = {};
    action.sa_handler = note;
    action.sa_flags = SA_RESTART;
    sigaction(SIGINT, &action, nullptr);
}

Interrupt::~Interrupt()
{
    sigaction(SIGINT, &s_earlier, nullptr);
}

bool Interrupt::hasCome()
{
    return s_bCome != 0;
}

} // namespace Vexalor
