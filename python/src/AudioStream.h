#pragma once

#include "AudioClassifierSet.h"
#include "Library.h"
#include "detector/Detector.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <pybind11/numpy.h>
#include <string>
#include <utility>
#include <vector>

namespace Vexalor::Python
{

/// Audio of one channel, classified while it comes in, by detectors or by scripts that may use detectors.
class AudioStream
{
public:
    struct Settings
    {
        std::vector<std::string> m_vScripts;
        StringVector m_vFurtherScripts;
        std::optional<std::uint32_t> m_rate;
        std::filesystem::path m_folder; ///< where scripts are found, and the windower's configuration
        std::string m_strVariable;      ///< of each script: its result
        std::string m_strWindower;
    };

    /// From Python's arguments. Throws a Failure.
    static std::unique_ptr<AudioStream>
    create(const std::vector<py::object>& in_vDetectors, const std::vector<std::string>& in_vScripts,
           std::optional<std::uint32_t> in_rate, const std::filesystem::path& in_folder,
           const StringVector& in_vFurtherScripts, const std::string& in_strVariable,
           const std::string& in_strWindower);

    /// Takes samples, and hands out vexalor_ml.Results of the windows that are complete with them.
    py::object push(const py::array& in_samples);
    /// Forgets all audio.
    void reset();
    std::uint32_t getSamplingRate() const { return m_set.getSamplingRate(); }
    double getTime() const { return m_set.getTotalPushedAudioTime(); }

private:
    using NamedDetector = std::pair<std::string, std::shared_ptr<const MachineLearning::Detector>>;

    /// Of one classifier: the scores of the windows, one after the other.
    struct Scores
    {
        std::string m_strName;
        const MachineLearning::XprClassifier* m_pClassifier;
        std::size_t m_uiSize = 0; ///< of those of a window
        std::vector<double> m_vValues;
    };

    bool setUp(const Settings& in_settings, const std::vector<NamedDetector>& in_vDetectors);
    bool setUpScripts(const Settings& in_settings);
    bool addScripts(const Settings& in_settings);
    bool pushPiece(const double* in_pSamples, std::size_t in_uiSize, std::size_t& out_uiTaken);
    bool keepScores();
    py::object makeResults();

    AudioClassifierSet m_set;
    std::vector<Scores> m_vScores;
    std::vector<double> m_vTimes; ///< of the windows, seconds
    bool m_bUsed = false;
};

} // namespace Vexalor::Python
