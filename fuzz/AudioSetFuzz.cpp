// Lists of recordings: names are never empty, hold no line end, and come again after rewind.

#include "FuzzSupport.h"
#include "quillcast-audio/AudioSetParser.h"

using namespace Vexalor;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* in_data, std::size_t in_uiSize)
{
    const Fuzz::MemoryFile file(Fuzz::toText(in_data, in_uiSize));
    AudioSetParser parser;
    if (!parser.open(file.getPath()))
    {
        Fuzz::require(!parser.hasNext(), "a refused list is empty");
        return 0;
    }
    for (int iPass = 0; iPass < 2; ++iPass, parser.rewind())
    {
        std::string strName;
        std::size_t uiNames = 0;
        for (; parser.next(strName); ++uiNames)
        {
            Fuzz::require(strName == parser.getFilenames()[uiNames], "names come in the order of the list");
            Fuzz::require(strName.starts_with('/'), "names count from the folder of the list");
            Fuzz::require(strName.find('\n') == std::string::npos, "a name is of one line");
        }
        Fuzz::require(uiNames == parser.getFilenames().size() && !parser.hasNext(), "all names come");
    }
    return 0;
}
