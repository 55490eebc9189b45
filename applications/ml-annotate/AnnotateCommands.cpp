#include "ml-annotate/AnnotateCommands.h"

#include "ml-annotate/AnnotationCheck.h"
#include "ml-annotate/AnnotationJson.h"
#include "ml-annotate/LabelText.h"
#include "ml-annotate/RecordingFile.h"
#include "quillcast-core/FileReplacer.h"
#include "quillcast-core/Logger.h"

#include <iostream>
#include <optional>
#include <utility>

namespace Vexalor
{

namespace
{

constinit Logger s_logger("quillcast.app.ml-annotate");

constexpr const char* STANDARD_OUTPUT = "-";

/// Makes the changes that the options ask for.
bool edit(const AnnotateRequest& in_request, const std::string& in_strFile, AnnotatedFile& io_file)
{
    std::uint64_t uiFrames = 0;
    if (in_request.m_edits.needsLength() && !getFrameCount(in_strFile, uiFrames))
        return false;
    std::vector<Annotation> vAnnotations = io_file.getAnnotations();
    std::vector<Annotation> vMarkers = io_file.getMarkers();
    in_request.m_edits.apply(vAnnotations, vMarkers, io_file.getFormat().m_uiRate, uiFrames);
    io_file.setAnnotations(std::move(vAnnotations));
    io_file.setMarkers(std::move(vMarkers));
    return true;
}

/// A comment where a list would be empty though the recording is marked; empty otherwise.
std::string makeRemark(const AnnotateRequest& in_request, const AnnotatedFile& in_file)
{
    const std::size_t uiMarkers = in_file.getMarkers().size();
    if (in_request.m_bMarkers || uiMarkers == 0 || !in_file.getAnnotations().empty())
        return {};
    return "# no annotations; markers: " + std::to_string(uiMarkers) + ", shown with --markers\n";
}

std::string makeText(const AnnotateRequest& in_request, const AnnotatedFile& in_file)
{
    std::string strText;
    for (const Annotation& annotation : in_file.getAnnotations())
        strText += LabelText::formatLine(annotation);
    if (in_request.m_bMarkers)
        for (const Annotation& marker : in_file.getMarkers())
            strText += LabelText::formatLine(marker);
    return strText;
}

/// The annotations and markers of a label text; false with the reason logged.
bool readLabels(const std::string& in_strFile, std::vector<Annotation>& out_vAnnotations,
                std::vector<Annotation>& out_vMarkers)
{
    std::string strText;
    std::string strError;
    if (!readText(in_strFile, strText))
        return false;
    if (LabelText::parse(strText, out_vAnnotations, out_vMarkers, strError))
        return true;
    QC_ERROR("Cannot import " << in_strFile << ": " << strError);
    return false;
}

} // namespace

bool listAnnotations(const AnnotateRequest& in_request)
{
    bool bDone = true;
    const char* separator = "[\n";
    for (const std::string& strFile : in_request.m_vFiles)
    {
        AnnotatedFile file;
        std::uint64_t uiDecoded = 0;
        if (!readAnnotations(strFile, file) || !edit(in_request, strFile, file) ||
            (in_request.m_bDecode && !decodeFrames(strFile, uiDecoded)))
        {
            bDone = false;
            continue;
        }
        if (in_request.m_bJson)
            std::cout << std::exchange(separator, ",\n")
                      << formatJson(strFile, file,
                                    in_request.m_bDecode ? std::optional(uiDecoded) : std::nullopt);
        else
            std::cout << (in_request.m_vFiles.size() > 1 ? "# " + strFile + "\n" : "")
                      << makeRemark(in_request, file) << makeText(in_request, file);
    }
    if (in_request.m_bJson)
        std::cout << (*separator == '[' ? "[" : "\n") << "]\n";
    return bDone;
}

bool exportAnnotations(const AnnotateRequest& in_request)
{
    AnnotatedFile file;
    if (!readAnnotations(in_request.m_vFiles[0], file) || !edit(in_request, in_request.m_vFiles[0], file))
        return false;
    if (in_request.m_vFiles.size() == 1 || in_request.m_vFiles[1] == STANDARD_OUTPUT)
    {
        std::cout << makeText(in_request, file);
        return true;
    }
    if (!in_request.m_guard.allows(in_request.m_vFiles[1]))
        return false;
    FileReplacer target(in_request.m_vFiles[1]);
    if (target.open() && target.write(makeText(in_request, file)) && target.commit())
        return true;
    QC_ERROR("Cannot write " << in_request.m_vFiles[1] << ": " << target.getReason());
    return false;
}

bool importAnnotations(const AnnotateRequest& in_request)
{
    const std::string& strRecording = in_request.m_vFiles[0];
    const std::string& strLabels = in_request.m_vFiles[1];
    AnnotatedFile file;
    std::vector<Annotation> vAnnotations;
    std::vector<Annotation> vMarkers;
    if (!readAnnotations(strRecording, file) || !readLabels(strLabels, vAnnotations, vMarkers))
        return false;
    const std::size_t uiReplaced = file.getAnnotations().size();
    if (vAnnotations.empty() && uiReplaced > 0 && !in_request.m_guard.isForced())
    {
        QC_ERROR("Not importing " << strLabels << ": it has no annotations, " << strRecording << " has "
                                  << uiReplaced << "; --force replaces them all the same");
        return false;
    }
    file.setAnnotations(std::move(vAnnotations));
    if (!vMarkers.empty())
        file.setMarkers(std::move(vMarkers));
    if (!edit(in_request, strRecording, file) || !file.writeToWAV(strRecording.c_str()))
        return false;
    QC_INFO(strRecording << ": " << uiReplaced << (uiReplaced == 1 ? " annotation" : " annotations")
                         << " replaced by " << file.getAnnotations().size());
    return true;
}

bool checkRecordings(const AnnotateRequest& in_request)
{
    bool bFine = true;
    for (const std::string& strFile : in_request.m_vFiles)
    {
        AnnotatedFile file;
        std::uint64_t uiFrames = 0;
        if (!readAnnotations(strFile, file) || !getFrameCount(strFile, uiFrames) ||
            !edit(in_request, strFile, file))
        {
            bFine = false;
            continue;
        }
        for (const Finding& finding :
             checkAnnotations(file.getAnnotations(), file.getFormat().m_uiRate, uiFrames))
        {
            if (in_request.m_ignored.count(finding.m_kind) != 0)
                continue;
            std::cout << strFile << ": " << finding.m_kind << ": " << finding.m_strText << '\n';
            bFine = false;
        }
    }
    if (!bFine)
        QC_ERROR("The check has found faults");
    return bFine;
}

} // namespace Vexalor
