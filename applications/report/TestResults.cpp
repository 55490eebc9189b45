#include "report/TestResults.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

namespace Vexalor::MachineLearning
{

std::optional<double> RecordingResult::getMeanSquareError() const
{
    if (m_uiCompared == 0)
        return std::nullopt;
    return m_dSquareError / static_cast<double>(m_uiCompared);
}

bool RecordingResult::isWorseThan(const RecordingResult& in_other) const
{
    const double dRate = getErrorRate().getValue().value_or(0.0);
    const double dOtherRate = in_other.getErrorRate().getValue().value_or(0.0);
    if (dRate != dOtherRate)
        return dRate > dOtherRate;
    const auto toOrder = [](const std::optional<double>& in_error)
    {
        const double dError = in_error.value_or(0.0);
        return std::isnan(dError) ? std::numeric_limits<double>::infinity() : dError;
    };
    return toOrder(getMeanSquareError()) > toOrder(in_other.getMeanSquareError());
}

std::vector<std::size_t> sortWorstFirst(const std::vector<RecordingResult>& in_vRecordings)
{
    std::vector<std::size_t> vPlaces(in_vRecordings.size());
    std::iota(vPlaces.begin(), vPlaces.end(), std::size_t{0});
    std::stable_sort(vPlaces.begin(), vPlaces.end(),
                     [&](std::size_t in_uiLeft, std::size_t in_uiRight)
                     { return in_vRecordings[in_uiLeft].isWorseThan(in_vRecordings[in_uiRight]); });
    return vPlaces;
}

} // namespace Vexalor::MachineLearning
