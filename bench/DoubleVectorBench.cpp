// The text form of vectors: patterns of 40 inputs and 3 targets, read from memory and written with a flush a
// line. usage: DoubleVectorBench [OUTPUT_FILE]

#include "bench/Bench.h"
#include "quillcast-math/DoubleVector.h"

#include <charconv>
#include <cstring>
#include <fstream>
#include <random>

using namespace Vexalor;

namespace
{

constexpr std::size_t NB_PATTERNS = 100000;
constexpr std::size_t NB_INPUTS = 40;
constexpr std::size_t NB_TARGETS = 3;
constexpr int NB_RUNS = 7;

struct Pattern
{
    DoubleVector m_vInput;
    DoubleVector m_vTarget;
};

std::vector<Pattern> makePatterns()
{
    std::mt19937_64 random(1);
    std::normal_distribution<double> values;
    std::vector<Pattern> vPatterns(NB_PATTERNS, {DoubleVector(NB_INPUTS), DoubleVector(NB_TARGETS)});
    for (std::size_t uiPattern = 0; uiPattern < NB_PATTERNS; ++uiPattern)
    {
        for (double& dValue : vPatterns[uiPattern].m_vInput)
            dValue = values(random);
        vPatterns[uiPattern].m_vTarget[uiPattern % NB_TARGETS] = 1.0;
    }
    return vPatterns;
}

void appendLine(const Pattern& in_pattern, std::string& io_strText)
{
    in_pattern.m_vInput.appendTo(io_strText);
    io_strText += ' ';
    in_pattern.m_vTarget.appendTo(io_strText);
    io_strText += '\n';
}

/// What there is to do at least: find the line's end, convert each number, store it.
const char* parseBare(const char* in_begin, const char* in_end, std::vector<double>& out_vValues)
{
    out_vValues.clear();
    const char* pNext = in_begin + 1;
    while (*pNext != ']')
    {
        double dValue;
        pNext = std::from_chars(pNext, in_end, dValue).ptr;
        out_vValues.push_back(dValue);
        if (*pNext == ' ')
            ++pNext;
    }
    return pNext + 1;
}

char* writeBare(char* out_pText, const DoubleVector& in_vVector)
{
    *out_pText++ = '[';
    for (std::size_t uiIndex = 0; uiIndex < in_vVector.size(); ++uiIndex)
    {
        if (uiIndex != 0)
            *out_pText++ = ' ';
        out_pText = std::to_chars(out_pText, out_pText + 32, in_vVector[uiIndex]).ptr;
    }
    *out_pText++ = ']';
    return out_pText;
}

template <class Parse>
void readLines(const std::string& in_strText, Parse in_parse)
{
    const char* pEnd = in_strText.data() + in_strText.size();
    for (const char* pLine = in_strText.data(); pLine != pEnd;)
    {
        const char* pLineEnd = static_cast<const char*>(std::memchr(pLine, '\n', pEnd - pLine));
        in_parse(pLine, pLineEnd);
        pLine = pLineEnd + 1;
    }
}

void benchReading(const std::string& in_strText)
{
    std::vector<double> vBareInput;
    std::vector<double> vBareTarget;
    const Bench::Times bare = Bench::measure(
        NB_RUNS,
        [&]
        {
            readLines(in_strText,
                      [&](const char* in_begin, const char* in_end)
                      {
                          parseBare(parseBare(in_begin, in_end, vBareInput) + 1, in_end, vBareTarget);
                          Bench::keep(vBareTarget.data());
                      });
        });
    Pattern pattern;
    const Bench::Times parse = Bench::measure(
        NB_RUNS,
        [&]
        {
            readLines(in_strText,
                      [&](const char* in_begin, const char* in_end)
                      {
                          pattern.m_vTarget.parse(pattern.m_vInput.parse(in_begin, in_end), in_end);
                          Bench::keep(pattern.m_vTarget.begin());
                      });
        });
    Bench::reportNanoseconds("read a pattern: bare std::from_chars", NB_PATTERNS, bare);
    Bench::reportNanoseconds("read a pattern: DoubleVector::parse", NB_PATTERNS, parse);
    std::printf("ratio of medians %.3f\n", parse.m_dMedian / bare.m_dMedian);
}

void benchWriting(const std::vector<Pattern>& in_vPatterns, const char* in_file)
{
    const Bench::Times bare = Bench::measure(NB_RUNS,
                                             [&]
                                             {
                                                 std::ofstream file(in_file);
                                                 char line[(NB_INPUTS + NB_TARGETS + 2) * 32];
                                                 for (const Pattern& pattern : in_vPatterns)
                                                 {
                                                     char* pEnd = writeBare(line, pattern.m_vInput);
                                                     *pEnd++ = ' ';
                                                     pEnd = writeBare(pEnd, pattern.m_vTarget);
                                                     *pEnd++ = '\n';
                                                     file.write(line, pEnd - line).flush();
                                                 }
                                             });
    const Bench::Times append = Bench::measure(
        NB_RUNS,
        [&]
        {
            std::ofstream file(in_file);
            std::string strLine;
            for (const Pattern& pattern : in_vPatterns)
            {
                strLine.clear();
                appendLine(pattern, strLine);
                file.write(strLine.data(), static_cast<std::streamsize>(strLine.size())).flush();
            }
        });
    Bench::reportNanoseconds("write a pattern, flushed: bare std::to_chars", NB_PATTERNS, bare);
    Bench::reportNanoseconds("write a pattern, flushed: DoubleVector::appendTo", NB_PATTERNS, append);
    std::printf("ratio of medians %.3f\n", append.m_dMedian / bare.m_dMedian);
}

} // namespace

int main(int in_iArguments, char** in_arguments)
{
    const std::vector<Pattern> vPatterns = makePatterns();
    std::string strText;
    for (const Pattern& pattern : vPatterns)
        appendLine(pattern, strText);
    benchReading(strText);
    benchWriting(vPatterns, in_iArguments > 1 ? in_arguments[1] : "/dev/null");
    return 0;
}
