#include "quillcast-math/FeatureComputer.h"

#include "quillcast-core/SerializationArchives.h"

namespace Vexalor
{

template <class Archive>
void FeatureComputer::serialize(Archive&, unsigned int)
{
}

template <class Archive>
void FeatureComputerWithInputs::serialize(Archive& io_archive, unsigned int)
{
    serializeBase<FeatureComputer>(io_archive, *this);
}

QC_ARCHIVES(FeatureComputer);
QC_ARCHIVES(FeatureComputerWithInputs);

} // namespace Vexalor
