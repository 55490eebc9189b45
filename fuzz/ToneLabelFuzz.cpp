// Labels of tones: a label is of one kind, and the short form of what was read reads as the same.

#include "FuzzSupport.h"
#include "quillcast-audio/ToneAnnotations.h"

using namespace Vexalor;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* in_data, std::size_t in_uiSize)
{
    const std::string strLabel = Fuzz::toText(in_data, in_uiSize);
    SingleFrequencyAnnotationImpl single;
    AmplitudeModulatedAnnotationImpl modulated;
    const bool bSingle = single.setLabel(strLabel);
    const bool bModulated = modulated.setLabel(strLabel);
    Fuzz::require(!(bSingle && bModulated), "a label is of one kind");
    Fuzz::require(bSingle == (single.getFrequency() != 0), "a frequency is above 0");
    Fuzz::require(bModulated == (modulated.getCarrierFreq() != 0), "a carrier is above 0");
    Fuzz::require(bModulated == (modulated.getModulatedFreq() != 0), "a modulation is above 0");

    const std::string strHz = std::to_string(single.getFrequency());
    SingleFrequencyAnnotationImpl singleAgain;
    Fuzz::require(!bSingle || (singleAgain.setLabel("SF:" + strHz) &&
                               singleAgain.getFrequency() == single.getFrequency()),
                  "the short form of one frequency");
    const std::string strPair =
        std::to_string(modulated.getCarrierFreq()) + ":" + std::to_string(modulated.getModulatedFreq());
    AmplitudeModulatedAnnotationImpl modulatedAgain;
    Fuzz::require(!bModulated || (modulatedAgain.setLabel("AM:" + strPair) &&
                                  modulatedAgain.getCarrierFreq() == modulated.getCarrierFreq() &&
                                  modulatedAgain.getModulatedFreq() == modulated.getModulatedFreq()),
                  "the short form of a modulated tone");
    return 0;
}
