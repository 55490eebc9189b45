#pragma once

#include "MLTester.h"
#include "XprClassifierSet.h"
#include "quillcast-core/Object.h"
#include "quillcast-core/StringVector.h"

#include <memory>
#include <string>

namespace Vexalor::MachineLearning
{

/// An expression script that is tested like a trained network: the input vector of a pattern is its variable
/// "audio", the value of its result variable the output. Scripts that classify audio are tested on patterns
/// whose inputs are windows.
///
/// Call order: newFromScript (configure (reset | compute)*)*.
class ScriptEntity
    : public MLTester::TestedEntity
    , public virtual Resettable
{
public:
    struct Settings
    {
        std::string m_strFolder;        ///< where scripts are found
        std::string m_strScript;        ///< name, without extension
        StringVector m_vFurtherScripts; ///< that it needs
        std::string m_strVariable = "result";
        /// Hz, the constant "rate" of the scripts; 0: that of the recordings, when the generator tells.
        double m_dRate = 0.0;
    };

    /// Null, with the reason logged, when a script does not load.
    static ScriptEntity* newFromScript(const Settings& in_settings);

    /// Links the script. False, with the reason logged, when it is wrong.
    bool configure(const DataGenerator& in_generator) override;
    bool compute(const double* in_begin, const double* in_end, DoubleVector& out_vOutput) const override;
    /// Forgets all states; nothing before configure.
    bool reset() override;

private:
    explicit ScriptEntity(const Settings& in_settings);

    bool load();

    Settings m_settings;
    mutable XprClassifierSet m_set; ///< a computation moves its states on
    mutable DoubleVector m_vInput;
    bool m_bConfigured = false;
};

} // namespace Vexalor::MachineLearning
