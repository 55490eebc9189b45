// Text of vectors: reading from a stream and from characters agree, and what was read writes and reads equal.

#include "FuzzSupport.h"
#include "quillcast-math/DoubleVector.h"

#include <sstream>

using namespace Vexalor;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* in_data, std::size_t in_uiSize)
{
    const std::string strText = Fuzz::toText(in_data, in_uiSize);
    const char* pBegin = strText.data();
    DoubleVector vParsed;
    const char* pEnd = vParsed.parse(pBegin, pBegin + strText.size());
    std::istringstream stream(strText);
    DoubleVector vRead;
    const bool bRead = !vRead.read(stream).fail();
    Fuzz::require(bRead == (pEnd != nullptr), "both ways accept the same");
    Fuzz::require(vRead == vParsed, "both ways read the same");
    if (!bRead)
    {
        Fuzz::require(vRead.empty(), "a refused vector is empty");
        return 0;
    }
    std::string strRest(pEnd, strText.size() - static_cast<std::size_t>(pEnd - pBegin));
    Fuzz::require(strRest == std::string(std::istreambuf_iterator<char>(stream), {}), "both ways stop alike");

    std::string strWritten;
    vParsed.appendTo(strWritten);
    DoubleVector vAgain;
    pEnd = vAgain.parse(strWritten.data(), strWritten.data() + strWritten.size());
    Fuzz::require(pEnd == strWritten.data() + strWritten.size() && vAgain == vParsed, "text reads back");
    return 0;
}
