// Annotated recordings: annotations, and samples window by window.

#include "FuzzSupport.h"
#include "quillcast-audio/AnnotatedFile.h"
#include "quillcast-audio/WindowedAudioFileReader.h"

#include <fstream>

using namespace Vexalor;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* in_data, std::size_t in_uiSize)
{
    const Fuzz::MemoryFile file(Fuzz::toText(in_data, in_uiSize));
    std::ifstream stream(file.getPath(), std::ios::binary);
    AnnotatedFile annotations;
    const bool bRead = !annotations.readFromWAV(stream).fail();
    Fuzz::require(bRead || (annotations.getAnnotations().empty() && annotations.getMarkers().empty()),
                  "a refused recording leaves no annotations");

    WindowedAudioFileReader reader;
    LinearAudioWindower::Config config;
    config.m_uiSamplingRate = 0;
    Fuzz::require(reader.configure(config), "the usual windows are accepted");
    if (!reader.setSourceFile(file.getPath()) || !reader.gotoStart())
        return 0;
    DoubleVector vWindow;
    std::uint64_t uiWindows = 0;
    while (uiWindows < 1000 && reader.getNextWindow(vWindow))
        ++uiWindows;
    Fuzz::require(uiWindows == 1000 || reader.atEnd() != reader.hasInputError(), "a pass ends one way");
    Fuzz::require(!reader.atEnd() || uiWindows == reader.getWindowCount(), "as many windows as announced");
    reader.gotoAudioTime(static_cast<double>(in_uiSize) / 8000.0);
    reader.getNextWindow(vWindow);
    return 0;
}
