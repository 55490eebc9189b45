#pragma once

#include "ClassifierSetApplicationHelper.h"
#include "common/OverwriteGuard.h"
#include "detector/Detector.h"
#include "ml-classify/LabelOutput.h"
#include "ml-classify/RawSamples.h"
#include "quillcast-infra/ApplicationImpl.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace Vexalor::MachineLearning
{

/// Classifies a recording, or what comes from standard input, by scripts and detectors, and prints the
/// results of every window or writes labels of what they decided.
///
/// The outputs of detectors are inputs of the scripts. Without a script each detector is a classifier of its
/// own, whose entries are the outputs under the names of the classes (DetectorClassifier).
class ClassifyApplication
    : public ApplicationImpl
    , private ClassifierSetApplicationHelper::Strategy
{
public:
    ClassifyApplication();
    ClassifyApplication(const ClassifyApplication&) = delete;
    ClassifyApplication& operator=(const ClassifyApplication&) = delete;

protected:
    bool processCmdlineVarsMap(const variables_map& in_map) override;
    bool run_i() override;

private:
    /// Where samples come from, of the kinds that have no common base.
    struct Source
    {
        std::uint32_t m_uiRate;    ///< Hz
        bool m_bLive;              ///< somebody may wait for the results of what was said just now
        std::uint64_t m_uiSamples; ///< in all; 0: not known
        /// Up to in_uiCount samples; 0 at the end.
        std::function<std::size_t(double* out_samples, std::size_t in_uiCount)> m_read;
        std::function<bool()> m_hasInputError;
    };

    bool addClassifiers(AudioClassifierSet& io_set) override;
    bool readDetectors();
    bool addDetectors(AudioClassifierSet& io_set);
    bool setup();
    void takeScriptOptions(const variables_map& in_map);
    bool mayWriteGraph(const variables_map& in_map);
    bool takeRawOptions(const variables_map& in_map);
    bool acceptRecording() const;
    bool runRecording();
    bool runStream();
    bool takeRawLayout(SampleLayout& out_layout);
    bool takeRecordingLayout(ByteStream& io_stream, SampleLayout& out_layout);
    bool runFrom(const Source& in_source);
    bool start(std::uint32_t in_uiRate);
    bool classify(const Source& in_source);
    bool mayShowProgress(const Source& in_source) const;

    ClassifierSetApplicationHelper m_helper;
    OverwriteGuard m_guard;
    LabelOutput m_labels;
    std::string m_strInput;
    StringVector m_vScripts;
    StringVector m_vFurtherScripts;
    StringVector m_vDetectorFiles;
    std::vector<std::unique_ptr<Detector>> m_vDetectors; ///< of those files
    const SampleEncoding* m_pEncoding = nullptr;         ///< of raw samples; null for the name of a recording
    std::uint32_t m_uiRate = 0;                          ///< of raw samples, in Hz; 0: the configured one
    std::string m_strRawOption;                          ///< one that was given for raw samples
    bool m_bJson = false;
};

} // namespace Vexalor::MachineLearning
