// Annotations written back into a recording: they survive to the sample, a refused file stays as it was.

#include "FuzzSupport.h"
#include "quillcast-audio/AnnotatedFile.h"
#include "test-support/TempDir.h"

#include <algorithm>
#include <cmath>
#include <fstream>

using namespace Vexalor;

namespace
{

bool read(const std::string& in_strPath, AnnotatedFile& out_file)
{
    std::ifstream stream(in_strPath, std::ios::binary);
    return !out_file.readFromWAV(stream).fail();
}

bool isSame(const std::vector<Annotation>& in_vLeft, const std::vector<Annotation>& in_vRight)
{
    return std::equal(in_vLeft.begin(), in_vLeft.end(), in_vRight.begin(), in_vRight.end(),
                      [](const Annotation& in_left, const Annotation& in_right)
                      {
                          return in_left.getStartTime() == in_right.getStartTime() &&
                                 in_left.getStopTime() == in_right.getStopTime() &&
                                 in_left.getLabel() == in_right.getLabel() &&
                                 in_left.getNote() == in_right.getNote();
                      });
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* in_data, std::size_t in_uiSize)
{
    static const Testing::TempDir folder;
    const std::string strBefore = Fuzz::toText(in_data, in_uiSize);
    const std::string strPath = folder.write("recording.wav", strBefore);
    AnnotatedFile file;
    if (!read(strPath, file))
        return 0;
    const bool bWritten = file.writeToWAV(strPath.c_str());
    Fuzz::require(bWritten || Testing::readFile(strPath) == strBefore, "a refused recording stays as it was");
    AnnotatedFile again;
    Fuzz::require(!bWritten || read(strPath, again), "what was written can be read");
    Fuzz::require(!bWritten || isSame(file.getAnnotations(), again.getAnnotations()), "annotations survive");
    Fuzz::require(!bWritten || isSame(file.getMarkers(), again.getMarkers()), "markers survive");
    return 0;
}
