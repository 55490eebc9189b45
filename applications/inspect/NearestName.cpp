#include "inspect/NearestName.h"

#include "quillcast-core/AsciiCase.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <vector>

namespace Vexalor::MachineLearning
{

namespace
{

/// Names that are longer are texts, not typing mistakes.
constexpr std::size_t MAX_LENGTH = 100;
constexpr std::size_t LETTERS_A_MISTAKE = 3;
constexpr std::size_t MAX_MISTAKES = 3;

bool isSameLetter(char in_left, char in_right)
{
    return equalIgnoringCase({&in_left, 1}, {&in_right, 1});
}

std::size_t getDistance(const std::string& in_strLeft, const std::string& in_strRight)
{
    std::array<std::vector<std::size_t>, 3> rows; // two before, before, current
    rows.fill(std::vector<std::size_t>(in_strRight.size() + 1));
    for (std::size_t j = 0; j <= in_strRight.size(); ++j)
        rows[2][j] = j;
    for (std::size_t i = 1; i <= in_strLeft.size(); ++i)
    {
        std::rotate(rows.begin(), rows.begin() + 1, rows.end());
        rows[2][0] = i;
        for (std::size_t j = 1; j <= in_strRight.size(); ++j)
        {
            const bool bSame = isSameLetter(in_strLeft[i - 1], in_strRight[j - 1]);
            rows[2][j] = std::min({rows[1][j] + 1, rows[2][j - 1] + 1, rows[1][j - 1] + (bSame ? 0 : 1)});
            if (i > 1 && j > 1 && isSameLetter(in_strLeft[i - 1], in_strRight[j - 2]) &&
                isSameLetter(in_strLeft[i - 2], in_strRight[j - 1]))
                rows[2][j] = std::min(rows[2][j], rows[0][j - 2] + 1);
        }
    }
    return rows[2][in_strRight.size()];
}

std::string getDigits(const std::string& in_strName)
{
    std::string strDigits;
    std::copy_if(in_strName.begin(), in_strName.end(), std::back_inserter(strDigits),
                 [](char in_c) { return in_c >= '0' && in_c <= '9'; });
    return strDigits;
}

} // namespace

bool haveOtherNumbers(const std::string& in_strLeft, const std::string& in_strRight)
{
    const std::string strLeft = getDigits(in_strLeft);
    const std::string strRight = getDigits(in_strRight);
    return !strLeft.empty() && !strRight.empty() && strLeft != strRight;
}

std::string findNearestName(const std::string& in_strName, const StringVector& in_vNames)
{
    std::string strNearest;
    std::size_t uiLeast = MAX_MISTAKES + 1;
    for (const std::string& strName : in_vNames)
    {
        if (std::max(in_strName.size(), strName.size()) > MAX_LENGTH)
            continue;
        const std::size_t uiMost = std::min(in_strName.size(), strName.size()) / LETTERS_A_MISTAKE;
        const std::size_t uiDistance = getDistance(in_strName, strName);
        if (uiDistance > uiMost || uiDistance >= uiLeast)
            continue;
        uiLeast = uiDistance;
        strNearest = strName;
    }
    return strNearest;
}

} // namespace Vexalor::MachineLearning
