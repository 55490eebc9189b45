// For formats that are mostly numbers in fixed places: half of the inputs differ from an earlier one in one
// number, which bytes changed at random would seldom bring about.

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <random>
#include <string>
#include <vector>

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* io_data, std::size_t in_uiSize,
                                        std::size_t in_uiMaxSize);

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* io_data, std::size_t in_uiSize,
                                               std::size_t in_uiMaxSize, unsigned int in_uiSeed)
{
    static constexpr const char* NUMBERS[] = {"-1",  "0",    "1",     "2",          "3",          "17",
                                              "255", "1000", "65536", "2147483648", "4294967295", "99999999",
                                              "0.5", "1e9",  "1e308", "5e-324",     "nan",        "-inf"};
    std::minstd_rand random(in_uiSeed);
    std::vector<std::size_t> vStarts;
    for (std::size_t i = 0; i < in_uiSize; ++i)
        if (std::isdigit(io_data[i]) != 0 && (i == 0 || std::isalnum(io_data[i - 1]) == 0))
            vStarts.push_back(i);
    if (vStarts.empty() || random() % 2 == 0)
        return LLVMFuzzerMutate(io_data, in_uiSize, in_uiMaxSize);
    std::uint8_t* pStart = io_data + vStarts[random() % vStarts.size()];
    std::uint8_t* pEnd = std::find_if(pStart, io_data + in_uiSize,
                                      [](std::uint8_t uiByte) { return std::isdigit(uiByte) == 0; });
    const std::string strTail(pEnd, io_data + in_uiSize);
    const std::string strNew = NUMBERS[random() % std::size(NUMBERS)] + strTail;
    const std::size_t uiStart = static_cast<std::size_t>(pStart - io_data);
    const std::size_t uiNew = std::min(strNew.size(), in_uiMaxSize - uiStart);
    std::memcpy(pStart, strNew.data(), uiNew);
    return uiStart + uiNew;
}
