// The limit of TextWriteBench and BinaryWriteBench. usage: WriteLimit PATTERNS.raw OUTPUT

#include "bench/limits/ByHand.h"

#include <fstream>

using namespace Vexalor;

namespace
{

constexpr std::size_t NB_INPUTS = 40;
constexpr std::size_t NB_TARGETS = 3;
constexpr std::size_t NB_VALUES = NB_INPUTS + NB_TARGETS;

char* writeList(char* out_text, const double* in_values, std::size_t in_uiCount)
{
    *out_text++ = '[';
    for (std::size_t i = 0; i < in_uiCount; ++i)
    {
        if (i > 0)
            *out_text++ = ' ';
        out_text = std::to_chars(out_text, out_text + 32, in_values[i]).ptr;
    }
    *out_text++ = ']';
    return out_text;
}

void writeText(const char* in_name, const std::vector<double>& in_vValues)
{
    std::ofstream file(in_name);
    char line[NB_VALUES * 32];
    for (std::size_t uiAt = 0; uiAt < in_vValues.size(); uiAt += NB_VALUES)
    {
        char* pEnd = writeList(line, &in_vValues[uiAt], NB_INPUTS);
        *pEnd++ = ' ';
        pEnd = writeList(pEnd, &in_vValues[uiAt + NB_INPUTS], NB_TARGETS);
        *pEnd++ = '\n';
        file.write(line, pEnd - line);
        file.flush();
    }
}

void writeBinary(const char* in_name, const std::vector<double>& in_vValues)
{
    constexpr std::size_t BLOCK = 1 << 20;
    const int iFile = Bench::createFile(in_name);
    std::vector<char> vBlock(BLOCK + 2 + 8 * NB_VALUES);
    char* p = vBlock.data();
    for (std::size_t uiAt = 0; uiAt < in_vValues.size(); uiAt += NB_VALUES)
    {
        *p++ = 0;
        std::memcpy(p, &in_vValues[uiAt], 8 * NB_INPUTS);
        p += 8 * NB_INPUTS;
        *p++ = 1;
        std::memcpy(p, &in_vValues[uiAt + NB_INPUTS], 8 * NB_TARGETS);
        p += 8 * NB_TARGETS;
        if (static_cast<std::size_t>(p - vBlock.data()) >= BLOCK)
        {
            Bench::writeAll(iFile, vBlock.data(), static_cast<std::size_t>(p - vBlock.data()));
            p = vBlock.data();
        }
    }
    Bench::writeAll(iFile, vBlock.data(), static_cast<std::size_t>(p - vBlock.data()));
    ::close(iFile);
}

} // namespace

int main(int in_iArguments, char** in_arguments)
{
    if (in_iArguments != 3)
        return 2;
    std::ifstream raw(in_arguments[1], std::ios::binary | std::ios::ate);
    std::vector<double> vValues(raw ? static_cast<std::size_t>(raw.tellg()) / sizeof(double) : 0);
    raw.seekg(0);
    raw.read(reinterpret_cast<char*>(vValues.data()),
             static_cast<std::streamsize>(vValues.size() * sizeof(double)));
    if (!raw || vValues.empty())
        return 2;
    const auto report = [&](const char* in_name, auto in_function)
    {
        const auto once = [&]
        {
            in_function(in_arguments[2], vValues);
        };
        Bench::reportNanoseconds(in_name, static_cast<double>(vValues.size() / NB_VALUES),
                                 Bench::measure(Bench::getRunCount(), once, Bench::wallSeconds));
    };
    report("text: std::to_chars, ofstream.write, a flush a line", writeText);
    report("binary: a system call a MB", writeBinary);
    return 0;
}
