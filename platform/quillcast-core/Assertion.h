#pragma once

#include "quillcast-core/Logger.h"

#include <functional>

namespace Vexalor
{

/// Soft assertions: a failed precondition is reported with its condition as text and the operation returns
/// false; nothing aborts.
class Assertion
{
public:
    /// Receives a failed condition and the place in the source.
    using Sink = std::function<void(const char* in_condition, const char* in_file, int in_iLine)>;

    /// Replaces the sink, an empty one restores the default; returns the earlier one. The default logs at
    /// error level on the logger of the failing code: "Assertion failed: " + condition.
    static Sink setSink(Sink in_sink);

    /// Reports; always false, so that it can end a condition.
    static bool fail(Logger& in_logger, const char* in_condition, const char* in_file, int in_iLine);
};

} // namespace Vexalor

/// An expression: the truth of the condition, which is reported when false.
///     if (!QC_CHECK(!m_pDataGenerator.isNull())) return false;
#define QC_CHECK(...) QC_CHECK_TEXT(#__VA_ARGS__, __VA_ARGS__)

/// The same with an explicit text, for wordings that are fixed down to their blanks.
#define QC_CHECK_TEXT(text, ...)                                                                             \
    (static_cast<bool>(__VA_ARGS__) || ::Vexalor::Assertion::fail(s_logger, text, __FILE__, __LINE__))
