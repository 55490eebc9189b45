#include "ml-annotate/AnnotateCommands.h"

#include "common/OutputFile.h"
#include "labels/LabelFile.h"
#include "ml-annotate/AnnotationCheck.h"
#include "ml-annotate/AnnotationJson.h"
#include "ml-annotate/RecordingDrawing.h"
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

const std::string STANDARD_OUTPUT = "-";

/// A comment where a list would be empty though the recording is marked; empty otherwise.
std::string makeRemark(const AnnotateRequest& in_request, const AnnotatedFile& in_file)
{
    const std::size_t uiMarkers = in_file.getMarkers().size();
    if (in_request.m_bMarkers || uiMarkers == 0 || !in_file.getAnnotations().empty())
        return {};
    return "# no annotations; markers: " + std::to_string(uiMarkers) + ", shown with --markers\n";
}

std::vector<LabelSpan> makeSpans(const AnnotateRequest& in_request, const AnnotatedFile& in_file)
{
    std::vector<LabelSpan> vSpans;
    for (const Annotation& annotation : in_file.getAnnotations())
        vSpans.push_back(LabelFile::toSpan(annotation));
    if (in_request.m_bMarkers)
        for (const Annotation& marker : in_file.getMarkers())
            vSpans.push_back(LabelFile::toSpan(marker));
    return vSpans;
}

/// Lines of text without frequencies.
std::string makeText(const AnnotateRequest& in_request, const AnnotatedFile& in_file)
{
    const std::unique_ptr<LabelWriter> pWriter = LabelFormat::find("text")->m_newWriter({});
    std::string strText;
    for (LabelSpan& span : makeSpans(in_request, in_file))
    {
        span.m_low = span.m_high = std::nullopt;
        pWriter->add(span, strText);
    }
    return strText;
}

} // namespace

bool editAnnotations(const AnnotateRequest& in_request, const std::string& in_strFile, AnnotatedFile& io_file)
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

bool writeText(const AnnotateRequest& in_request, const std::string& in_strFile,
               const std::string& in_strText)
{
    if (in_strFile == STANDARD_OUTPUT)
    {
        std::cout << in_strText;
        return true;
    }
    FileReplacer target(in_strFile);
    return openOutput(in_request.m_guard, target) && writeOutput(target, in_strText);
}

const LabelFormat& getFormat(const AnnotateRequest& in_request, const std::string& in_strLabels)
{
    const LabelFormat* pFormat =
        in_request.m_pFormat != nullptr ? in_request.m_pFormat : LabelFormat::findForFile(in_strLabels);
    return pFormat != nullptr ? *pFormat : *LabelFormat::find("text");
}

bool listAnnotations(const AnnotateRequest& in_request)
{
    bool bDone = true;
    const char* separator = "[\n";
    for (const std::string& strFile : in_request.m_vFiles)
    {
        AnnotatedFile file;
        std::uint64_t uiDecoded = 0;
        if (!readAnnotations(strFile, file) || !editAnnotations(in_request, strFile, file) ||
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
    const std::string& strRecording = in_request.m_vFiles[0];
    const std::string& strLabels = in_request.m_vFiles.size() == 1 ? STANDARD_OUTPUT : in_request.m_vFiles[1];
    AnnotatedFile file;
    std::string strText;
    std::string strError;
    if (!readAnnotations(strRecording, file) || !editAnnotations(in_request, strRecording, file))
        return false;
    const double dSeconds = static_cast<double>(file.getFrameCount()) / file.getFormat().m_uiRate;
    if (!getFormat(in_request, strLabels)
             .write(makeSpans(in_request, file), {LabelFile::getName(strRecording), dSeconds, 0}, strText,
                    strError))
    {
        QC_ERROR("Cannot export " << strRecording << ": " << strError);
        return false;
    }
    return writeText(in_request, strLabels, strText);
}

bool drawRecording(const AnnotateRequest& in_request)
{
    const std::string& strRecording = in_request.m_vFiles[0];
    AnnotatedFile file;
    RecordingDrawing drawing;
    std::string strSvg;
    return readAnnotations(strRecording, file) && editAnnotations(in_request, strRecording, file) &&
           drawing.read(strRecording) && drawing.draw(file, strSvg) &&
           writeText(in_request, in_request.m_vFiles[1], strSvg);
}

bool checkRecordings(const AnnotateRequest& in_request)
{
    bool bFine = true;
    for (const std::string& strFile : in_request.m_vFiles)
    {
        AnnotatedFile file;
        std::uint64_t uiFrames = 0;
        if (!readAnnotations(strFile, file) || !getFrameCount(strFile, uiFrames) ||
            !editAnnotations(in_request, strFile, file))
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
