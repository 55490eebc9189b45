#include "ml-annotate/RecordingDrawing.h"

#include "common/Base64.h"
#include "labels/TextEncoding.h"
#include "ml-annotate/PngImage.h"
#include "report/Html.h"
#include "report/ReportText.h"
#include "report/SvgPath.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <map>
#include <sstream>

namespace Vexalor
{

namespace
{

using MachineLearning::Html::escape;
using MachineLearning::ReportText::toFixed;

// Places in units of the picture, as large as pixels at first.
constexpr int LEFT = 130;
constexpr int WIDTH = 1000;
constexpr int RIGHT = 40;
constexpr int SIGNAL_TOP = 34;
constexpr int SIGNAL_HEIGHT = 120;
constexpr int SPECTROGRAM_TOP = SIGNAL_TOP + SIGNAL_HEIGHT + 16;
constexpr int SPECTROGRAM_HEIGHT = 220;
constexpr int LANES_TOP = SPECTROGRAM_TOP + SPECTROGRAM_HEIGHT + 10;
constexpr int LANE_HEIGHT = 20;
constexpr int TIMES_HEIGHT = 24;
constexpr std::size_t MAX_LANES = 12;
constexpr std::size_t MAX_NAME = 18; ///< characters

const char* const STYLE =
    "svg{--ground:#fff;--text:#1a1f27;--line:#c9d0da;--signal:#3f6ea3;--label:#3f7d20}"
    "@media(prefers-color-scheme:dark){svg{--ground:#12161c;--text:#e6eaf0;--line:#3a4452;--signal:#7db8f5;"
    "--label:#8bc66a}}"
    "text{font:12px system-ui,\"DejaVu Sans\",sans-serif;fill:var(--text)}"
    ".ground{fill:var(--ground)}.line{stroke:var(--line);fill:none}.signal{fill:var(--signal);stroke:var(--"
    "signal);"
    "stroke-width:.5px;vector-effect:non-scaling-stroke}.label{fill:var(--label)}";

/// From black over blue, red and yellow to white, so that louder is lighter.
std::vector<Colour> makePalette()
{
    constexpr double STOPS[][3] = {{4, 4, 20}, {45, 20, 110}, {165, 45, 95}, {245, 140, 40}, {255, 250, 210}};
    constexpr std::size_t PARTS = std::size(STOPS) - 1;
    std::vector<Colour> vPalette;
    for (std::size_t i = 0; i < Spectrogram::LEVELS; ++i)
    {
        const double dPlace = static_cast<double>(i * PARTS) / (Spectrogram::LEVELS - 1);
        const std::size_t uiPart = std::min(static_cast<std::size_t>(dPlace), PARTS - 1);
        const auto mix = [&](std::size_t in_uiColour)
        {
            const double dShare = dPlace - static_cast<double>(uiPart);
            return static_cast<std::uint8_t>(std::lround((1.0 - dShare) * STOPS[uiPart][in_uiColour] +
                                                         dShare * STOPS[uiPart + 1][in_uiColour]));
        };
        vPalette.push_back({mix(0), mix(1), mix(2)});
    }
    return vPalette;
}

/// The least of 1, 2 and 5 times a power of ten that is not below a number.
double roundUp(double in_dNumber)
{
    const double dPower = std::pow(10.0, std::floor(std::log10(in_dNumber)));
    for (const double dFactor : {1.0, 2.0, 5.0})
        if (dFactor * dPower >= in_dNumber)
            return dFactor * dPower;
    return 10.0 * dPower;
}

/// UTF-8 without characters that XML does not know.
std::string toXml(const std::string& in_strText)
{
    std::string strText = TextEncoding::toUtf8(in_strText);
    for (char& c : strText)
        c = static_cast<unsigned char>(c) < ' ' ? ' ' : c;
    return escape(strText);
}

std::string cutName(const std::string& in_strName)
{
    std::string strName = TextEncoding::toUtf8(in_strName);
    std::size_t uiCharacters = 0;
    for (std::size_t i = 0; i < strName.size(); ++i)
        if ((static_cast<unsigned char>(strName[i]) & 0xC0) != 0x80 && ++uiCharacters > MAX_NAME)
            return strName.substr(0, i) + "\xE2\x80\xA6";
    return strName;
}

std::string text(double in_dX, double in_dY, const char* in_anchor, const std::string& in_strText)
{
    return "<text x=\"" + toFixed(in_dX, 1) + "\" y=\"" + toFixed(in_dY, 1) + "\" text-anchor=\"" +
           in_anchor + "\">" + toXml(in_strText) + "</text>\n";
}

/// One row of labels, its boxes in units of the picture.
struct Lane
{
    std::string m_strName;
    std::size_t m_uiLabels = 0;
    std::vector<bool> m_vDrawn = std::vector<bool>(WIDTH); ///< each unit

    void add(double in_dStart, double in_dStop)
    {
        const auto toUnit = [](double in_dX)
        {
            return static_cast<std::size_t>(std::clamp(in_dX, 0.0, WIDTH - 1.0));
        };
        ++m_uiLabels;
        // The unit in which it stops counts only if it begins there, too.
        const std::size_t uiStart = toUnit(std::floor(in_dStart));
        const std::size_t uiStop = std::max(uiStart, toUnit(std::ceil(in_dStop) - 1.0));
        std::fill(m_vDrawn.begin() + static_cast<std::ptrdiff_t>(uiStart),
                  m_vDrawn.begin() + static_cast<std::ptrdiff_t>(uiStop) + 1, true);
    }

    std::string draw(int in_iTop) const
    {
        std::string strPath;
        for (std::size_t i = 0; i < m_vDrawn.size(); ++i)
        {
            const std::size_t uiStart = i;
            while (i < m_vDrawn.size() && m_vDrawn[i])
                ++i;
            if (i > uiStart)
                strPath += SvgPath::drawBox(static_cast<std::int64_t>(uiStart),
                                            static_cast<std::int64_t>(i - uiStart));
        }
        const std::string strTitle =
            m_strName + ": " + std::to_string(m_uiLabels) + (m_uiLabels == 1 ? " label" : " labels");
        return "<g role=\"img\"><title>" + toXml(strTitle) + "</title>" +
               text(LEFT - 8, in_iTop + LANE_HEIGHT - 7, "end", cutName(m_strName)) +
               "<path class=\"label\" transform=\"translate(" + std::to_string(LEFT) + ' ' +
               std::to_string(in_iTop + 3) + ") scale(1 " + std::to_string(LANE_HEIGHT - 6) + ")\" d=\"" +
               strPath + "\"/></g>\n";
    }
};

/// A lane for each label in the order of the file, the last one for all that are left.
class Lanes
{
public:
    explicit Lanes(double in_dUnitsPerSecond)
        : m_dUnitsPerSecond(in_dUnitsPerSecond)
    {
    }

    void add(const std::vector<Annotation>& in_vAnnotations, const std::string& in_strUnnamed)
    {
        for (const Annotation& annotation : in_vAnnotations)
            find(annotation.getLabel().empty() ? in_strUnnamed : annotation.getLabel())
                .add(annotation.getStartTime() * m_dUnitsPerSecond,
                     annotation.getStopTime() * m_dUnitsPerSecond);
    }

    const std::vector<Lane>& get() const { return m_vLanes; }

private:
    Lane& find(const std::string& in_strName)
    {
        const auto itLane = m_places.find(in_strName);
        if (itLane != m_places.end())
            return m_vLanes[itLane->second];
        if (m_vLanes.size() < MAX_LANES)
        {
            m_places[in_strName] = m_vLanes.size();
            m_vLanes.push_back({m_vLanes.size() + 1 < MAX_LANES ? in_strName : "further labels"});
        }
        return m_vLanes.back();
    }

    double m_dUnitsPerSecond;
    std::vector<Lane> m_vLanes;
    std::map<std::string, std::size_t> m_places; ///< of the labels that have a lane of their own
};

} // namespace

bool RecordingDrawing::read(const std::string& in_strRecording)
{
    m_strRecording = std::filesystem::path(in_strRecording).filename().string();
    return m_envelope.read(in_strRecording, -1, WIDTH) && m_spectrogram.read(in_strRecording);
}

double RecordingDrawing::toX(double in_dSeconds) const
{
    return LEFT + in_dSeconds / m_envelope.m_dSeconds * WIDTH;
}

std::string RecordingDrawing::drawSignal() const
{
    constexpr int STEPS = 500;
    double dLargest = 0.0;
    for (std::size_t i = 0; i < m_envelope.m_vMin.size(); ++i)
        for (const double dValue : {m_envelope.m_vMin[i], m_envelope.m_vMax[i]})
            dLargest = std::isfinite(dValue) ? std::max(dLargest, std::abs(dValue)) : dLargest;
    const auto toHeights = [&](const std::vector<double>& in_vValues)
    {
        SvgPath::Heights vHeights;
        for (const double dValue : in_vValues)
            vHeights.push_back(std::isfinite(dValue)
                                   ? std::optional(static_cast<int>(
                                         std::lround(-STEPS * (dLargest > 0.0 ? dValue / dLargest : 0.0))))
                                   : std::nullopt);
        return vHeights;
    };
    const double dColumns = static_cast<double>(std::max<std::size_t>(m_envelope.m_vMin.size(), 1));
    return "<g role=\"img\"><title>Signal, largest value " + toFixed(dLargest, 4) + "</title>" +
           text(LEFT - 8, SIGNAL_TOP + 10, "end", toFixed(dLargest, 4)) +
           text(LEFT - 8, SIGNAL_TOP + SIGNAL_HEIGHT / 2 + 4, "end", "signal") +
           text(LEFT - 8, SIGNAL_TOP + SIGNAL_HEIGHT, "end", toFixed(-dLargest, 4)) +
           "<path class=\"signal\" transform=\"translate(" + std::to_string(LEFT) + ' ' +
           std::to_string(SIGNAL_TOP + SIGNAL_HEIGHT / 2) + ") scale(" + toFixed(WIDTH / dColumns, 6) + ' ' +
           toFixed(SIGNAL_HEIGHT / 2.0 / STEPS, 6) + ")\" d=\"" +
           SvgPath::drawBand(toHeights(m_envelope.m_vMin), toHeights(m_envelope.m_vMax)) + "\"/></g>\n";
}

bool RecordingDrawing::drawSpectrogram(std::string& io_strSvg) const
{
    std::string strPng;
    if (!makePng(m_spectrogram.m_vLevels, m_spectrogram.m_uiColumns, makePalette(), strPng))
        return false;
    const std::string strPlace = "x=\"" + std::to_string(LEFT) + "\" y=\"" + std::to_string(SPECTROGRAM_TOP) +
                                 "\" width=\"" + std::to_string(WIDTH) + "\" height=\"" +
                                 std::to_string(SPECTROGRAM_HEIGHT) + '"';
    io_strSvg += "<g role=\"img\"><title>Spectrogram, " + toFixed(Spectrogram::RANGE_DB, 0) +
                 " dB from black to white</title><image " + strPlace +
                 " preserveAspectRatio=\"none\" href=\"data:image/png;base64," + toBase64(strPng) + "\"/>\n";
    constexpr double MOST_TICKS = 6.0;
    const double dStep = roundUp(m_spectrogram.m_dHighest / MOST_TICKS);
    for (int i = 0; i * dStep <= m_spectrogram.m_dHighest; ++i)
        io_strSvg += text(
            LEFT - 8, SPECTROGRAM_TOP + 4 + SPECTROGRAM_HEIGHT * (1.0 - i * dStep / m_spectrogram.m_dHighest),
            "end", (dStep >= 1.0 ? toFixed(i * dStep, 0) : toFixed(i * dStep, 2)) + " Hz");
    io_strSvg += "</g>\n";
    return true;
}

std::string RecordingDrawing::drawTimes(int in_iTop, int in_iBottom) const
{
    constexpr double MOST_TICKS = 10.0;
    constexpr double MINUTE = 60.0;
    const double dLeast = m_envelope.m_dSeconds / MOST_TICKS;
    const double dStep = dLeast > MINUTE / 2.0 ? roundUp(dLeast / MINUTE) * MINUTE : roundUp(dLeast);
    std::string strTimes;
    for (int i = 0; i * dStep <= m_envelope.m_dSeconds; ++i)
    {
        const std::string strX = toFixed(toX(i * dStep), 1);
        strTimes += "<path class=\"line\" d=\"M" + strX + ' ' + std::to_string(in_iTop) + 'V' +
                    std::to_string(in_iBottom + 4) + "\"/>" +
                    text(toX(i * dStep), in_iBottom + 18, "middle",
                         dStep >= 1.0    ? MachineLearning::ReportText::toTime(i * dStep)
                         : dStep >= 1e-3 ? toFixed(i * dStep, 3) + " s"
                                         : toFixed(i * dStep * 1e6, 0) + " \xC2\xB5s");
    }
    return strTimes;
}

bool RecordingDrawing::draw(const AnnotatedFile& in_file, std::string& out_strSvg) const
{
    Lanes lanes(WIDTH / m_envelope.m_dSeconds);
    lanes.add(in_file.getAnnotations(), "(no label)");
    lanes.add(in_file.getMarkers(), "(marker)");
    const int iBottom = LANES_TOP + static_cast<int>(lanes.get().size()) * LANE_HEIGHT;
    const std::string strSize =
        std::to_string(LEFT + WIDTH + RIGHT) + ' ' + std::to_string(iBottom + TIMES_HEIGHT);
    out_strSvg = "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 " + strSize +
                 "\" role=\"img\" aria-labelledby=\"title\">\n<title id=\"title\">" + toXml(m_strRecording) +
                 "</title>\n<style>" + STYLE +
                 "</style>\n<rect class=\"ground\" width=\"100%\" height=\"100%\"/>\n" +
                 text(LEFT, SIGNAL_TOP - 14, "start",
                      m_strRecording + ", " + MachineLearning::ReportText::toTime(m_envelope.m_dSeconds) +
                          ", " + toFixed(m_spectrogram.m_dHighest * 2.0, 0) + " Hz") +
                 drawTimes(SIGNAL_TOP, iBottom) + drawSignal();
    if (!drawSpectrogram(out_strSvg))
        return false;
    int iTop = LANES_TOP;
    for (const Lane& lane : lanes.get())
    {
        out_strSvg += lane.draw(iTop);
        iTop += LANE_HEIGHT;
    }
    out_strSvg += "</svg>\n";
    return true;
}

} // namespace Vexalor
