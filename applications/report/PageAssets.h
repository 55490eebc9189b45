#pragma once

namespace Vexalor::MachineLearning
{

/// What every page of a report brings along.
extern const char* const PAGE_STYLE;
extern const char* const PAGE_SCRIPT;

} // namespace Vexalor::MachineLearning
