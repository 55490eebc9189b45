// The limit of AudioStreamBench: read, cut windows, sum squares behind one virtual call, walk the timelines
// of 1, 8 and 32 classes, copy input and target to the caller. usage: AudioStreamLimit RECORDING.wav

#include "bench/limits/ByHand.h"

#include <memory>
#include <sndfile.h>

using namespace Vexalor;

namespace
{

constexpr std::size_t LENGTH = 200;
constexpr std::size_t SHIFT = 80;
constexpr int NB_EVENTS = 1000;

using Values = std::vector<double>;

struct Feature
{
    virtual ~Feature() = default;
    virtual bool compute(const Values& in_vWindow, Values& out_vFeature) = 0;
};

struct Energy final : Feature
{
    bool compute(const Values& in_vWindow, Values& out_vFeature) override
    {
        double dSum = 0.0;
        for (const double dSample : in_vWindow)
            dSum += dSample * dSample;
        out_vFeature.push_back(dSum);
        return true;
    }
};

/// Sorted starts and stops, walked forward.
struct Timeline
{
    Values m_vTimes;
    std::size_t m_uiAt = 0;
    bool m_bOn = false;

    bool isOn(double in_dTime)
    {
        while (m_uiAt < m_vTimes.size() && in_dTime - m_vTimes[m_uiAt] > 1e-6)
        {
            ++m_uiAt;
            m_bOn = !m_bOn;
        }
        return m_bOn;
    }
};

class Stream final : public Bench::PulledSource
{
public:
    Stream(const char* in_name, int in_iClasses)
        : m_pFile(sf_open(in_name, SFM_READ, &m_info))
        , m_vLines(static_cast<std::size_t>(in_iClasses))
    {
        const double dSeconds = static_cast<double>(m_info.frames) / m_info.samplerate;
        const double dStep = dSeconds / (NB_EVENTS + 1);
        for (int iClass = 0; iClass < in_iClasses; ++iClass)
        {
            for (int iEvent = 0; iEvent < NB_EVENTS; ++iEvent)
            {
                const double dStart = (iEvent + static_cast<double>(iClass) / in_iClasses) * dStep;
                Values& vTimes = m_vLines[static_cast<std::size_t>(iClass)].m_vTimes;
                vTimes.insert(vTimes.end(), {dStart, dStart + dStep / in_iClasses / 2});
            }
        }
    }
    ~Stream() override { sf_close(m_pFile); }

    bool gotoStart() override { return m_pFile != nullptr; }

    bool generateNext() override
    {
        m_vInput.clear();
        m_vTarget.clear();
        if (m_uiHave - m_uiAt < LENGTH && !fill())
            return false;
        std::memcpy(m_vWindow.data(), m_vBlock.data() + m_uiAt, sizeof(double) * LENGTH);
        m_uiAt += SHIFT;
        m_dTime += SHIFT * (1.0 / m_info.samplerate);
        if (!m_pFeature->compute(m_vWindow, m_vInput))
            return false;
        double dOther = 1.0;
        for (Timeline& line : m_vLines)
        {
            const bool bOn = line.isOn(m_dTime);
            m_vTarget.push_back(bOn ? 1.0 : 0.0);
            dOther = bOn ? 0.0 : dOther;
        }
        m_vTarget.push_back(dOther);
        return true;
    }
    bool getInput(Values& out_vInput) override
    {
        out_vInput = m_vInput;
        return !m_vInput.empty();
    }
    bool getTarget(Values& out_vTarget) override
    {
        out_vTarget = m_vTarget;
        return !m_vTarget.empty();
    }
    bool endedCleanly() const override { return true; }

private:
    bool fill()
    {
        std::memmove(m_vBlock.data(), m_vBlock.data() + m_uiAt, sizeof(double) * (m_uiHave - m_uiAt));
        m_uiHave -= m_uiAt;
        m_uiAt = 0;
        m_uiHave += static_cast<std::size_t>(sf_read_double(
            m_pFile, m_vBlock.data() + m_uiHave, static_cast<sf_count_t>(m_vBlock.size() - m_uiHave)));
        return m_uiHave >= LENGTH;
    }

    SF_INFO m_info{};
    SNDFILE* m_pFile;
    std::vector<Timeline> m_vLines;
    Values m_vBlock = Values(16384);
    std::size_t m_uiHave = 0;
    std::size_t m_uiAt = 0;
    double m_dTime = 0.0;
    Values m_vWindow = Values(LENGTH);
    Values m_vInput;
    Values m_vTarget;
    std::unique_ptr<Feature> m_pFeature = std::make_unique<Energy>();
};

} // namespace

int main(int in_iArguments, char** in_arguments)
{
    for (const int iClasses : {1, 8, 32})
    {
        Values vInput;
        Values vTarget;
        Bench::Pass pass;
        const auto times =
            Bench::measure(Bench::getRunCount(),
                           [&]
                           {
                               Stream stream(in_iArguments == 2 ? in_arguments[1] : "", iClasses);
                               pass = Bench::pullAll<Bench::PulledSource>(stream, vInput, vTarget);
                           });
        if (!pass.m_bDone)
            return 2;
        Bench::reportNanoseconds("by hand, energy, " + std::to_string(iClasses) + " classes",
                                 static_cast<double>(pass.m_uiPatterns), times);
        Bench::reportValue("    sum of the first inputs", pass.m_dInputSum);
    }
    return 0;
}
