#pragma once

#include "AudioClassifierSet.h"
#include "common/OverwriteGuard.h"
#include "labels/LabelFormat.h"
#include "labels/SpanDecider.h"
#include "quillcast-core/FileReplacer.h"
#include "quillcast-core/StringVector.h"
#include "quillcast-infra/ProgramOptions.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace Vexalor::MachineLearning
{

/// Writes what the classifiers decided as labels, each as soon as it is certain: to a file of labels, to
/// standard output, or into a copy of the recording.
///
/// A single output is labelled as its classifier; several outputs of a script with the number of the element,
/// "name[0]", those of other classifiers with the names of their entries; all as --class-names says where
/// that is given. What would be labelled OTHER is no label.
///
/// Call order: addOptions takeOptions (isWanted: start add* end). False with the reason logged.
class LabelOutput
{
public:
    static void addOptions(options_description& io_options);
    /// Throws CommandLineError for options that make no sense.
    void takeOptions(const variables_map& in_map, const StringVector& in_vScripts);
    bool isWanted() const { return !m_strTarget.empty(); }
    /// True when labels are wanted, and not on standard output.
    bool hasFile() const;

    /// The recording, or "-" for a stream, whose classifiers are started.
    bool start(const std::string& in_strInput, const OverwriteGuard& in_guard,
               const AudioClassifierSet& in_set);
    /// Takes the results of the latest window.
    bool add(const AudioClassifierSet& in_set);
    /// The audio has ended, after so many seconds.
    bool end(double in_dSeconds);

private:
    /// One classifier.
    struct Source
    {
        SpanDecider m_decider;
        StringVector m_vLabels;
    };

    void takeRule(const variables_map& in_map);
    Source* findSource(const std::string& in_strClassifier, const Classifier::Result& in_result);
    bool nameOutputs(const std::string& in_strClassifier, const Classifier::Result& in_result,
                     StringVector& out_vLabels) const;
    bool take(const StringVector& in_vLabels);
    bool send();
    bool writeCopy();

    DecisionRule m_rule;
    double m_dMinGap = 0.0;      ///< s
    double m_dMinDuration = 0.0; ///< s
    StringVector m_vClasses;
    StringVector m_vScripts;

    std::string m_strTarget;                ///< empty: no labels are wanted
    const LabelFormat* m_pFormat = nullptr; ///< null: a copy of the recording
    std::string m_strInput;
    double m_dRate = 0.0;        ///< Hz
    std::uint64_t m_uiShift = 0; ///< samples

    std::map<std::string, Source> m_sources;
    std::vector<double> m_vOutputs; ///< of one classifier
    std::vector<DecidedSpan> m_vDecided;
    std::unique_ptr<LabelWriter> m_pWriter;
    std::string m_strText;                 ///< that is to be written
    std::unique_ptr<FileReplacer> m_pFile; ///< null: standard output
    std::vector<LabelSpan> m_vSpans;       ///< for a copy of the recording
};

} // namespace Vexalor::MachineLearning
