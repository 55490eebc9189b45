#include "ml-train/TrainingProgress.h"

#include "common/PatternProgress.h"

#include <cmath>
#include <locale>
#include <sstream>

namespace Vexalor::MachineLearning
{

void TrainingProgress::show(const FannTrainer::Epoch& in_epoch)
{
    if (!m_progress.isDue())
        return;
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - m_start;
    m_progress.show("ml-train: " + toText(in_epoch, m_uiEpochs, elapsed.count()));
}

std::string TrainingProgress::toText(const FannTrainer::Epoch& in_epoch)
{
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text << "epoch " << in_epoch.m_uiNumber << ", mean square error " << in_epoch.m_dError;
    if (!std::isnan(in_epoch.m_dHeldOutError))
        text << ", held out " << in_epoch.m_dHeldOutError;
    return text.str();
}

std::string TrainingProgress::toText(const FannTrainer::Epoch& in_epoch, unsigned int in_uiEpochs,
                                     double in_dSeconds)
{
    constexpr int DIGITS = 3;
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text << toText(in_epoch);
    if (in_dSeconds <= 0)
        return text.str();
    const double dRate = in_epoch.m_uiNumber / in_dSeconds;
    text.precision(DIGITS);
    text << ", " << dRate << " epochs a second, at most "
         << PatternProgress::toClock((in_uiEpochs - in_epoch.m_uiNumber) / dRate) << " left";
    return text.str();
}

} // namespace Vexalor::MachineLearning
