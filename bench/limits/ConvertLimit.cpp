// The limit of ConvertBench: getline, std::from_chars, system calls of 64 KB. usage: ConvertLimit
// PATTERNS.txt OUTPUT

#include "bench/limits/ByHand.h"

#include <cstdint>
#include <fstream>

using namespace Vexalor;

namespace
{

char* writePart(char* out_record, char in_cFlag, const std::vector<double>& in_vValues)
{
    *out_record = in_cFlag;
    std::memcpy(out_record + 1, in_vValues.data(), 8 * in_vValues.size());
    return out_record + 1 + 8 * in_vValues.size();
}

std::size_t convert(const char* in_text, const char* in_output)
{
    constexpr std::size_t BLOCK = 64 << 10;
    std::ifstream text(in_text);
    const int iOutput = Bench::createFile(in_output);
    std::string strLine;
    std::vector<double> vInput;
    std::vector<double> vTarget;
    std::vector<char> vBlock(2 * BLOCK);
    char* p = vBlock.data();
    std::size_t uiPatterns = 0;
    while (std::getline(text, strLine))
    {
        if (!Bench::parseLine(strLine.data(), strLine.data() + strLine.size(), vInput, vTarget))
            continue;
        if (uiPatterns++ == 0)
        {
            const std::uint64_t sizes[2] = {vInput.size(), vTarget.size()};
            Bench::writeAll(iOutput, "VEXALOR BINARY", 14);
            Bench::writeAll(iOutput, reinterpret_cast<const char*>(sizes), 16);
        }
        p = writePart(writePart(p, 0, vInput), 1, vTarget);
        if (static_cast<std::size_t>(p - vBlock.data()) >= BLOCK)
        {
            Bench::writeAll(iOutput, vBlock.data(), static_cast<std::size_t>(p - vBlock.data()));
            p = vBlock.data();
        }
    }
    Bench::writeAll(iOutput, vBlock.data(), static_cast<std::size_t>(p - vBlock.data()));
    ::close(iOutput);
    return uiPatterns;
}

} // namespace

int main(int in_iArguments, char** in_arguments)
{
    if (in_iArguments != 3)
        return 2;
    std::size_t uiPatterns = 0;
    const auto times = Bench::measure(
        Bench::getRunCount(), [&] { uiPatterns = convert(in_arguments[1], in_arguments[2]); },
        Bench::wallSeconds);
    Bench::reportNanoseconds("getline, std::from_chars, calls of 64 KB", static_cast<double>(uiPatterns),
                             times);
    return uiPatterns > 0 ? 0 : 1;
}
