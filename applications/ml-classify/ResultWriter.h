#pragma once

#include "XprClassifierSet.h"

#include <cstdint>
#include <string>

namespace Vexalor::MachineLearning
{

/// Writes the results of windows to standard output, as text or as a JSON object a line; doc/programs.md,
/// "ml-classify", has both.
class ResultWriter
{
public:
    /// With in_bFlush every window leaves at once, for who waits at the other end of a pipe.
    ResultWriter(bool in_bJson, bool in_bFlush);

    /// A line for each started classifier. The time is that of the end of the window, in seconds. False when
    /// it could not be written.
    bool write(double in_dTime, const XprClassifierSet& in_set);
    /// What the audio came to; samples that are left over follow the end of the last window.
    bool writeEnd(double in_dTime, std::uint64_t in_uiWindows, std::uint64_t in_uiLeftOver);

private:
    void appendText(double in_dTime, const std::string& in_strClassifier,
                    const Classifier::Result& in_result);
    void appendJson(double in_dTime, const std::string& in_strClassifier,
                    const Classifier::Result& in_result);
    void appendNumber(double in_dValue);
    bool send();

    bool m_bJson;
    bool m_bFlush;
    std::string m_strBuffer;
};

} // namespace Vexalor::MachineLearning
