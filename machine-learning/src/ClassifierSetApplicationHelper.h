#pragma once

#include "AudioClassifierSet.h"
#include "quillcast-core/MemAccount.h"
#include "quillcast-infra/ProgramOptions.h"

#include <optional>
#include <string>

namespace Vexalor::MachineLearning
{

/// Sets up an AudioClassifierSet for a command-line application: brings the options, finds the files below a
/// folder, lets the application add its classifiers, and starts the set.
///
/// Call order: addOptions processCmdlineVarsMap setupClassifierSet startSet (getSet().pushLinearAudio)*
/// stopSet.
class ClassifierSetApplicationHelper
{
public:
    QC_MEM_ACCOUNT("ClassifierSetApplicationHelper");

    /// What the application decides.
    class Strategy : public virtual Object
    {
    public:
        /// Adds the classifiers to the set, which is configured. False, with the reason logged, on failure.
        virtual bool addClassifiers(AudioClassifierSet& io_set) = 0;
    };

    /// The strategy is not owned; setupClassifierSet calls it and fails without one.
    explicit ClassifierSetApplicationHelper(Strategy* in_pStrategy);
    ClassifierSetApplicationHelper(const ClassifierSetApplicationHelper& in_other) = default;
    /// Not to be used: does nothing but report that.
    ClassifierSetApplicationHelper& operator=(const ClassifierSetApplicationHelper& in_other);

    /// Adds the options to the first description, which must not outlive the helper. The second one is left
    /// as it is. Always true.
    bool addOptions(options_description& io_options, options_description& io_hiddenOptions);

    /// Takes the values of the options, in a copy as well, whose options are bound to the original. Always
    /// true.
    bool processCmdlineVarsMap(const variables_map& in_map);

    /// Windows where the option "windower-config-file" is not given, in place of its default; before the set
    /// is made.
    void setWindows(const Audio::LinearAudioWindower::Config& in_config) { m_windows = in_config; }

    /// Makes the set: files are found below the folder of the option "filesystem-path", scripts in that
    /// folder itself. False, with the reason logged, on failure.
    bool setupClassifierSet();
    /// Writes the graph of expressions, where that was asked for, then freezes and starts the set.
    bool startSet();
    bool stopSet();

    AudioClassifierSet& getSet() { return m_set; }
    /// Name of the variable of each script that holds its result, for the strategy.
    const std::string& getOutVariableName() const { return m_strOutVariableName; }

private:
    Strategy* m_pStrategy;
    std::string m_strWindowerConfigFile;
    std::string m_strOutVariableName;
    std::string m_strFileSystemPath;
    std::string m_strDumpEvaluatorFile; ///< empty: none
    bool m_bWindowerGiven = false;
    std::optional<Audio::LinearAudioWindower::Config> m_windows;
    AudioClassifierSet m_set;
};

} // namespace Vexalor::MachineLearning
