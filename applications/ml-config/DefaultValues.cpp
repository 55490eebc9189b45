#include "ml-config/DefaultValues.h"

#include "ml-config/ConfigurationTree.h"
#include "ml-config/GeneratorFile.h"
#include "ml-config/GeneratorKinds.h"

namespace Vexalor::MachineLearning
{

namespace
{

using Values = std::map<std::string, std::string>;

/// What was there before stays: the default of a field is that of the object that stands alone.
void addDefaults(const CountedObjPtr<DataGenerator>& in_pGenerator, Values& io_values)
{
    std::string strText;
    if (!GeneratorFile{{}, in_pGenerator}.toText(strText))
        return;
    for (const ConfigurationEntry& entry : listEntries(strText))
    {
        if (!entry.m_bItem && entry.m_strClass.empty() && !entry.m_strValue.empty())
            io_values.try_emplace(entry.m_strPath, entry.m_strValue);
    }
}

Values collectDefaults()
{
    Values values;
    for (const GeneratorKind& kind : getGeneratorKinds())
        addDefaults(kind.m_createDefault(), values);
    for (const FeatureKind& kind : getFeatureKinds())
        addDefaults(newFeatureHolder(std::unique_ptr<FeatureComputer>(kind.m_create({}))), values);
    return values;
}

} // namespace

const Values& getDefaultValues()
{
    static const Values values = collectDefaults();
    return values;
}

} // namespace Vexalor::MachineLearning
