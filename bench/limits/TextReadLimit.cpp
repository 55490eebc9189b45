// The limit of TextReadBench: lines of two lists into two reused vectors, out of a mapped file and out of
// blocks. usage: TextReadLimit PATTERNS.txt

#include "bench/limits/ByHand.h"

#include <sys/mman.h>
#include <sys/stat.h>

using namespace Vexalor;

namespace
{

std::size_t g_uiPatterns = 0;
double g_dSum = 0.0;

void readLines(const char* in_begin, const char* in_end)
{
    std::vector<double> vInput;
    std::vector<double> vTarget;
    for (const char* p = in_begin; p != in_end;)
    {
        const auto* pEnd =
            static_cast<const char*>(std::memchr(p, '\n', static_cast<std::size_t>(in_end - p)));
        if (pEnd == nullptr)
            pEnd = in_end;
        if (Bench::parseLine(p, pEnd, vInput, vTarget))
        {
            g_dSum += vInput[0] + vTarget.back();
            ++g_uiPatterns;
        }
        p = pEnd == in_end ? in_end : pEnd + 1;
    }
}

/// The line that a block cuts is moved to its front.
void readBlocks(int in_iFile)
{
    std::vector<char> vBlock(256 << 10);
    std::size_t uiHave = 0;
    ssize_t iRead = 0;
    ::lseek(in_iFile, 0, SEEK_SET);
    while ((iRead = ::read(in_iFile, vBlock.data() + uiHave, vBlock.size() - uiHave)) > 0)
    {
        uiHave += static_cast<std::size_t>(iRead);
        const auto* pLast = static_cast<const char*>(memrchr(vBlock.data(), '\n', uiHave));
        if (pLast == nullptr)
            std::abort();
        readLines(vBlock.data(), pLast + 1);
        const auto uiUsed = static_cast<std::size_t>(pLast + 1 - vBlock.data());
        std::memmove(vBlock.data(), vBlock.data() + uiUsed, uiHave - uiUsed);
        uiHave -= uiUsed;
    }
    readLines(vBlock.data(), vBlock.data() + uiHave);
}

template <class Function>
void report(const char* in_name, Function in_function)
{
    const auto once = [&]
    {
        g_uiPatterns = 0;
        in_function();
    };
    const auto times = Bench::measure(Bench::getRunCount(), once, Bench::wallSeconds);
    Bench::reportNanoseconds(in_name, static_cast<double>(g_uiPatterns), times);
}

} // namespace

int main(int in_iArguments, char** in_arguments)
{
    const int iFile = ::open(in_iArguments == 2 ? in_arguments[1] : "", O_RDONLY);
    struct stat status;
    if (iFile < 0 || ::fstat(iFile, &status) != 0)
        return 2;
    const auto uiSize = static_cast<std::size_t>(status.st_size);
    const auto* pText =
        static_cast<const char*>(::mmap(nullptr, uiSize, PROT_READ, MAP_PRIVATE | MAP_POPULATE, iFile, 0));
    report("mapped, std::from_chars", [&] { readLines(pText, pText + uiSize); });
    report("blocks of 256 KB, std::from_chars", [&] { readBlocks(iFile); });
    Bench::reportValue("    sum of first and last values", g_dSum);
    return 0;
}
