#include "ml-annotate/Spectrogram.h"

#include "quillcast-audio/AudioFileReader.h"
#include "quillcast-audio/WindowCutter.h"
#include "quillcast-math/RealFft.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace Vexalor
{

namespace
{

constexpr double WINDOW_SECONDS = 0.032;
constexpr std::size_t LEAST_WINDOW = 64;
constexpr std::size_t LONGEST_WINDOW = 4096;
constexpr std::size_t BLOCK = 16384;

/// Sums the power of the cells of a picture, spectrum by spectrum.
class PowerPicture
{
public:
    PowerPicture(std::uint64_t in_uiFrames, std::uint32_t in_uiRate)
        : m_uiFrames(in_uiFrames)
        , m_uiColumns(std::min<std::uint64_t>(in_uiFrames, Spectrogram::MAX_COLUMNS))
    {
        std::size_t uiLength = LEAST_WINDOW;
        while (uiLength < LONGEST_WINDOW && static_cast<double>(uiLength) < WINDOW_SECONDS * in_uiRate * 0.75)
            uiLength *= 2;
        m_size = {uiLength, static_cast<std::size_t>(
                                std::clamp<std::uint64_t>(in_uiFrames / m_uiColumns, 1, uiLength / 2))};
        m_uiRows = std::min(uiLength / 2, Spectrogram::MAX_ROWS);
        m_fft.setSize(uiLength);
        for (std::size_t i = 0; i < uiLength; ++i)
            m_vTaper.push_back(0.5 - 0.5 * std::cos(2.0 * std::numbers::pi * static_cast<double>(i) /
                                                    static_cast<double>(uiLength)));
        m_vPower.resize(uiLength / 2 + 1);
        m_vSums.resize(m_uiColumns * m_uiRows);
        m_vCounts.resize(m_uiColumns);
        m_cutter.start(m_size, 0);
        append(nullptr, uiLength / 2); // so that window k has its middle at sample k times the shift
    }

    /// Zeros for null.
    void append(const double* in_pSamples, std::size_t in_uiCount)
    {
        double* pRoom = m_cutter.prepare(in_uiCount);
        if (in_pSamples == nullptr)
            std::fill_n(pRoom, in_uiCount, 0.0);
        else
            std::copy_n(in_pSamples, in_uiCount, pRoom);
        m_cutter.commit(in_uiCount);
        for (std::uint64_t uiMiddle = m_cutter.getNextStart(); m_cutter.pop(m_vWindow);
             uiMiddle = m_cutter.getNextStart())
            if (uiMiddle < m_uiFrames)
                addWindow(static_cast<std::size_t>(uiMiddle * m_uiColumns / m_uiFrames));
    }

    void finish(Spectrogram& out_picture)
    {
        append(nullptr, m_size.m_uiLength / 2);
        out_picture.m_uiColumns = m_uiColumns;
        out_picture.m_uiRows = m_uiRows;
        out_picture.m_vLevels.resize(m_uiColumns * m_uiRows);
        double dLoudest = 0.0;
        for (std::size_t i = 0; i < m_vSums.size(); ++i)
        {
            m_vSums[i] /= std::max(m_vCounts[i / m_uiRows], 1.0);
            dLoudest = std::max(dLoudest, m_vSums[i]);
        }
        for (std::size_t uiColumn = 0; uiColumn < m_uiColumns; ++uiColumn)
            for (std::size_t uiRow = 0; uiRow < m_uiRows; ++uiRow)
                out_picture.m_vLevels[(m_uiRows - 1 - uiRow) * m_uiColumns + uiColumn] =
                    toLevel(m_vSums[uiColumn * m_uiRows + uiRow], dLoudest);
    }

private:
    void addWindow(std::size_t in_uiColumn)
    {
        for (std::size_t i = 0; i < m_vTaper.size(); ++i)
            m_vWindow[i] *= m_vTaper[i];
        m_fft.powerSpectrum(m_vWindow.begin(), m_vPower.data());
        const std::size_t uiBins = m_vTaper.size() / 2;
        for (std::size_t i = 0; i < uiBins; ++i)
            if (std::isfinite(m_vPower[i + 1]))
                m_vSums[in_uiColumn * m_uiRows + i * m_uiRows / uiBins] += m_vPower[i + 1];
        m_vCounts[in_uiColumn] += 1.0;
    }

    static std::uint8_t toLevel(double in_dPower, double in_dLoudest)
    {
        if (in_dPower <= 0.0)
            return 0;
        const double dBelow = 10.0 * std::log10(in_dLoudest / in_dPower) / Spectrogram::RANGE_DB;
        return static_cast<std::uint8_t>(
            std::lround(std::clamp(1.0 - dBelow, 0.0, 1.0) * (Spectrogram::LEVELS - 1)));
    }

    std::uint64_t m_uiFrames;
    std::size_t m_uiColumns;
    std::size_t m_uiRows;
    WindowSize m_size;
    WindowCutter m_cutter;
    RealFft m_fft;
    DoubleVector m_vWindow;
    std::vector<double> m_vTaper;
    std::vector<double> m_vPower;
    std::vector<double> m_vSums; ///< column by column, from the lowest frequency
    std::vector<double> m_vCounts;
};

} // namespace

bool Spectrogram::read(const std::string& in_strFilename)
{
    AudioFileReader reader;
    if (!reader.open(in_strFilename.c_str(), -1))
        return false;
    m_dHighest = reader.getSamplingRate() / 2.0;
    PowerPicture picture(reader.getFrameCount(), reader.getSamplingRate());
    std::vector<double> vBlock(BLOCK);
    while (const std::size_t uiRead = reader.read(vBlock.data(), vBlock.size()))
        picture.append(vBlock.data(), uiRead);
    picture.finish(*this);
    return !reader.hasInputError();
}

} // namespace Vexalor
