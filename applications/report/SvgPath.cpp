#include "report/SvgPath.h"

namespace Vexalor::SvgPath
{

std::string drawBand(const Heights& in_vLeast, const Heights& in_vGreatest)
{
    std::string strPath;
    for (std::size_t i = 0; i < in_vLeast.size(); ++i)
    {
        const std::size_t uiBegin = i;
        for (; i < in_vLeast.size() && in_vLeast[i] && in_vGreatest[i]; ++i)
            strPath += (i == uiBegin ? 'M' + std::to_string(i) + ' ' : "V") +
                       std::to_string(*in_vGreatest[i]) + "h1";
        for (std::size_t j = i; j-- > uiBegin;)
            strPath += 'V' + std::to_string(*in_vLeast[j]) + "h-1";
        if (i > uiBegin)
            strPath += 'z';
    }
    return strPath;
}

std::string drawBox(std::int64_t in_iStart, std::int64_t in_iLength)
{
    const std::string strLength = std::to_string(in_iLength);
    return 'M' + std::to_string(in_iStart) + " 0h" + strLength + "v1h-" + strLength + 'z';
}

} // namespace Vexalor::SvgPath
