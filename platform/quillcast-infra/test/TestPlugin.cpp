#include <cstdlib>

namespace
{

/// Its initialiser leaves a trace in the process that loads the library.
const int s_iTrace = setenv("QC_TEST_PLUGIN_LOADED", "yes", 1);

} // namespace
