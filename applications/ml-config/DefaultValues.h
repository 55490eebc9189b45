#pragma once

#include <map>
#include <string>

namespace Vexalor::MachineLearning
{

/// Values of the fields of default-constructed generators and feature computers of all kinds, by the path of
/// their ConfigurationEntry.
const std::map<std::string, std::string>& getDefaultValues();

} // namespace Vexalor::MachineLearning
