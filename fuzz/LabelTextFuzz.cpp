// Label text: what is accepted writes as text that reads and writes as the same.

#include "FuzzSupport.h"
#include "ml-annotate/LabelText.h"

using namespace Vexalor;

namespace
{

struct Labels
{
    bool parse(const std::string& in_strText)
    {
        std::string strError;
        const bool bParsed = LabelText::parse(in_strText, m_vAnnotations, m_vMarkers, strError);
        Fuzz::require(bParsed == strError.empty(), "refusal has a reason");
        return bParsed;
    }

    std::string format() const
    {
        std::string strText;
        for (const auto* pList : {&m_vAnnotations, &m_vMarkers})
            for (const Annotation& annotation : *pList)
                strText += LabelText::formatLine(annotation);
        return strText;
    }

    std::vector<Annotation> m_vAnnotations;
    std::vector<Annotation> m_vMarkers;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* in_data, std::size_t in_uiSize)
{
    Labels labels;
    if (!labels.parse(Fuzz::toText(in_data, in_uiSize)))
        return 0;
    Labels again;
    Fuzz::require(again.parse(labels.format()), "what was written can be read");
    Fuzz::require(again.format() == labels.format(), "what was written reads as the same");
    Fuzz::require(again.m_vMarkers.size() == labels.m_vMarkers.size(), "markers stay markers");
    return 0;
}
