#include "MLPatternFileDataGenerator.h"

#include "quillcast-core/Assertion.h"

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.ml.generator.PatternFileDataGenerator");

} // namespace

bool PatternFileDataGenerator::setCurrentFilename(const char* in_filename)
{
    QC_TRACE("MachineLearning::PatternFileDataGenerator::setCurrentFilename");
    if (!QC_CHECK(in_filename != nullptr))
        return false;
    m_strFilename = in_filename;
    return true;
}

} // namespace Vexalor::MachineLearning
