#include "detector/DetectorOption.h"

#include "detector/Detector.h"
#include "quillcast-core/InputFile.h"
#include "quillcast-infra/CommandLineError.h"

#include <string>

namespace Vexalor::MachineLearning
{

namespace
{

/// By its beginning; pipes are not looked into.
bool isDetectorFile(const std::string& in_strFile)
{
    constexpr std::size_t BEGINNING = 4096;
    std::string strText(BEGINNING, '\0');
    InputFile file;
    if (!file.openRegular(in_strFile.c_str()))
        return false;
    strText.resize(file.readAt(0, strText.data(), strText.size()));
    return Detector::isDetector(strText);
}

} // namespace

void refuseDetectors(const variables_map& in_map, std::initializer_list<const char*> in_options,
                     const char* in_hint)
{
    for (const char* option : in_options)
        if (in_map.count(option) != 0 && isDetectorFile(in_map[option].as<std::string>()))
            throw CommandLineError(std::string("option '--") + option +
                                   "': " + in_map[option].as<std::string>() + " is a detector; " + in_hint);
}

} // namespace Vexalor::MachineLearning
