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
                      << makeText(in_request, file);
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
    if (in_request.m_vFiles.size() == 1)
    {
        std::cout << makeText(in_request, file);
        return true;
    }
    FileReplacer target(in_request.m_vFiles[1]);
    if (target.open() && target.write(makeText(in_request, file)) && target.commit())
        return true;
    QC_ERROR("Cannot write " << in_request.m_vFiles[1] << ": " << target.getReason());
    return false;
}

bool importAnnotations(const AnnotateRequest& in_request)
{
    AnnotatedFile file;
    std::string strText;
    if (!readAnnotations(in_request.m_vFiles[0], file) || !readText(in_request.m_vFiles[1], strText))
        return false;
    std::vector<Annotation> vAnnotations;
    std::vector<Annotation> vMarkers;
    std::string strError;
    if (!LabelText::parse(strText, vAnnotations, vMarkers, strError))
    {
        QC_ERROR("Cannot import " << in_request.m_vFiles[1] << ": " << strError);
        return false;
    }
    file.setAnnotations(std::move(vAnnotations));
    if (!vMarkers.empty())
        file.setMarkers(std::move(vMarkers));
    return edit(in_request, in_request.m_vFiles[0], file) && file.writeToWAV(in_request.m_vFiles[0].c_str());
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
