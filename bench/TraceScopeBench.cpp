// What an operation pays for its trace scope and for a debug statement when both are off.

#include "bench/Bench.h"
#include "quillcast-core/Logger.h"

using namespace Vexalor;

namespace
{

constexpr int NB_CALLS = 2000000;

constinit Logger s_logger("quillcast.bench.TraceScope");

__attribute__((noinline)) void callNothing(int in_iCall)
{
    Bench::keep(in_iCall);
}

__attribute__((noinline)) void callTraced(int in_iCall)
{
    QC_TRACE("TraceScopeBench::callTraced");
    Bench::keep(in_iCall);
}

__attribute__((noinline)) void callLogging(int in_iCall)
{
    QC_DEBUG("call " << in_iCall);
    Bench::keep(in_iCall);
}

template <class Function>
void bench(const char* in_name, Function in_function)
{
    const auto runCalls = [&]
    {
        for (int iCall = 0; iCall < NB_CALLS; ++iCall)
            in_function(iCall);
    };
    Bench::reportNanoseconds(in_name, NB_CALLS,
                             Bench::measure(Bench::getRunCount(), runCalls, Bench::wallSeconds));
}

} // namespace

int main()
{
    const LoggingSession session;
    Logger::setLevel("", LogLevel::OFF);
    bench("empty call", [](int in_iCall) { callNothing(in_iCall); });
    bench("disabled trace scope", [](int in_iCall) { callTraced(in_iCall); });
    bench("disabled debug statement", [](int in_iCall) { callLogging(in_iCall); });
    return 0;
}
