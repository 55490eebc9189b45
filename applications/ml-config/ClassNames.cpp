#include "ml-config/ClassNames.h"

#include "quillcast-audio/ToneAnnotations.h"
#include "quillcast-core/BoostRegex.h"

#include <algorithm>
#include <stdexcept>

namespace Vexalor::MachineLearning
{

namespace
{

constexpr const char* OTHER_CLASS = "OTHER";
constexpr const char* SPECIAL = ".[]{}()\\*+?|^$";

bool isTone(const std::string& in_strClass)
{
    return SingleFrequencyAnnotationImpl().setLabel(in_strClass);
}

bool isOtherInAnotherCase(std::string in_strClass)
{
    if (in_strClass == OTHER_CLASS)
        return false;
    for (char& cChar : in_strClass)
        cChar = cChar >= 'a' && cChar <= 'z' ? static_cast<char>(cChar - 'a' + 'A') : cChar;
    return in_strClass == OTHER_CLASS;
}

/// Empty for a class whose labels can be searched for.
std::string findRegexFault(const std::string& in_strClass)
{
    if (in_strClass == OTHER_CLASS || isTone(in_strClass))
        return {};
    try
    {
        BoostRegex(in_strClass, BoostRegex::ICASE);
    }
    catch (const std::runtime_error& error)
    {
        return error.what();
    }
    return {};
}

std::string describe(const std::string& in_strClass)
{
    const std::string strName = "class '" + in_strClass + "' ";
    SingleFrequencyAnnotationImpl tone;
    if (tone.setLabel(in_strClass))
        return strName + "is a tone: labels of about " + std::to_string(tone.getFrequency()) +
               " Hz belong to it, by 10 Hz at most unless the program sets another tolerance";
    const std::string strFault = findRegexFault(in_strClass);
    if (!strFault.empty())
        return strName + "is no valid regular expression, so no label belongs to it: " + strFault;
    if (isOtherInAnotherCase(in_strClass))
        return strName + "is an ordinary one: only capital letters make it what no other class covers";
    if (in_strClass.find_first_of(SPECIAL) != std::string::npos)
        return strName + "is a regular expression that a whole label must match";
    return {};
}

/// The first class but OTHER that is not of a kind, or is there twice.
std::string findFirstFault(const StringVector& in_vClasses, bool (*in_isOfKind)(const std::string&),
                           const char* in_what)
{
    for (auto itClass = in_vClasses.begin(); itClass != in_vClasses.end(); ++itClass)
    {
        if (std::find(in_vClasses.begin(), itClass, *itClass) != itClass)
            return "class '" + *itClass + "' is there twice";
        if (*itClass != OTHER_CLASS && !in_isOfKind(*itClass))
            return "class '" + *itClass + "' is not " + in_what;
    }
    return {};
}

} // namespace

std::string toLiteralClass(const std::string& in_strLabel)
{
    std::string strClass;
    for (const char cChar : in_strLabel)
    {
        if (std::string_view(SPECIAL).find(cChar) != std::string_view::npos)
            strClass += '\\';
        strClass += cChar;
    }
    // The same label, in a form that means nothing else.
    if (strClass == OTHER_CLASS || isTone(strClass))
        strClass = "(" + strClass + ")";
    return strClass;
}

std::string findClassFault(const StringVector& in_vClasses)
{
    for (auto itClass = in_vClasses.begin(); itClass != in_vClasses.end(); ++itClass)
    {
        if (itClass->empty())
            return "a class has no name";
        if (std::find(in_vClasses.begin(), itClass, *itClass) != itClass)
            return "class '" + *itClass + "' is there twice";
        const std::string strFault = findRegexFault(*itClass);
        if (!strFault.empty())
            return "class '" + *itClass + "' is no valid regular expression: " + strFault;
    }
    return {};
}

std::string findWidebandClassFault(const StringVector& in_vClasses)
{
    const auto isWideband = [](const std::string& in_strClass)
    {
        return in_strClass == "WB_SF_TONE";
    };
    return findFirstFault(in_vClasses, isWideband, "WB_SF_TONE or OTHER");
}

std::string findAMClassFault(const StringVector& in_vClasses)
{
    const auto isModulated = [](const std::string& in_strClass)
    {
        return AmplitudeModulatedAnnotationImpl().setLabel(in_strClass);
    };
    return findFirstFault(in_vClasses, isModulated,
                          "OTHER or an amplitude-modulated tone such as AM:1000:20");
}

std::string findToneClassFault(const StringVector& in_vClasses)
{
    return findFirstFault(in_vClasses, isTone, "a tone such as SF:1000");
}

StringVector describeClasses(const StringVector& in_vClasses)
{
    StringVector vRemarks;
    if (in_vClasses.empty())
        vRemarks.emplace_back("there are no classes, so no pattern can be made");
    else if (std::find(in_vClasses.begin(), in_vClasses.end(), OTHER_CLASS) == in_vClasses.end())
        vRemarks.emplace_back(
            "there is no class OTHER: the stream stops, as failed, at the first window that no class covers");
    for (const std::string& strClass : in_vClasses)
    {
        const std::string strRemark = describe(strClass);
        if (!strRemark.empty())
            vRemarks.push_back(strRemark);
    }
    return vRemarks;
}

} // namespace Vexalor::MachineLearning
