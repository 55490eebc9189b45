// The limit of TraceScopeBench: an empty call. usage: TraceScopeLimit

#include "bench/limits/ByHand.h"

using namespace Vexalor;

namespace
{

__attribute__((noinline)) void emptyCall(int in_iValue)
{
    Bench::keep(in_iValue);
}

} // namespace

int main()
{
    constexpr int NB_CALLS = 2000000;
    const auto callAll = []
    {
        for (int i = 0; i < NB_CALLS; ++i)
            emptyCall(i);
    };
    Bench::reportNanoseconds("empty call", NB_CALLS,
                             Bench::measure(Bench::getRunCount(), callAll, Bench::wallSeconds));
    return 0;
}
