#include "common/OutputFile.h"
#include "labels/LabelFile.h"
#include "ml-annotate/AnnotateCommands.h"
#include "ml-annotate/RecordingFile.h"
#include "quillcast-core/Logger.h"

#include <algorithm>
#include <filesystem>
#include <set>

namespace Vexalor
{

namespace
{

constinit Logger s_logger("quillcast.app.ml-annotate");

namespace fs = std::filesystem;

constexpr const char* LIST_NAME = "list.txt";

/// Replaces the annotations of a recording that was read by those of a file of labels, and its markers if
/// that has some. False with the reason logged.
bool takeLabels(const AnnotateRequest& in_request, const std::string& in_strRecording,
                const std::string& in_strLabels, AnnotatedFile& io_file)
{
    std::vector<LabelSpan> vSpans;
    std::vector<Annotation> vAnnotations;
    std::vector<Annotation> vMarkers;
    const double dSeconds = static_cast<double>(io_file.getFrameCount()) / io_file.getFormat().m_uiRate;
    if (!LabelFile::read(in_strLabels, getFormat(in_request, in_strLabels),
                         {LabelFile::getName(in_strRecording), dSeconds, in_request.m_vTiers}, vSpans))
        return false;
    if (const std::size_t uiDropped = LabelFile::toAnnotations(vSpans, vAnnotations, vMarkers))
        QC_WARN(in_strLabels << ": the frequencies of " << uiDropped
                             << " labels are left out, a recording has no place for them");
    const std::size_t uiReplaced = io_file.getAnnotations().size();
    if (vAnnotations.empty() && uiReplaced > 0 && !in_request.m_guard.isForced())
    {
        QC_ERROR("Not importing " << in_strLabels << ": it has no annotations, " << in_strRecording << " has "
                                  << uiReplaced << "; --force replaces them all the same");
        return false;
    }
    io_file.setAnnotations(std::move(vAnnotations));
    if (!vMarkers.empty())
        io_file.setMarkers(std::move(vMarkers));
    return editAnnotations(in_request, in_strRecording, io_file);
}

/// The files of labels beside a recording: of its name, with the extension of a format.
StringVector findLabels(const AnnotateRequest& in_request, const fs::path& in_recording)
{
    StringVector vFound;
    for (const std::string& strExtension : LabelFormat::getExtensions())
    {
        const std::string strLabels = fs::path(in_recording).replace_extension(strExtension).string();
        std::error_code error;
        if ((in_request.m_pFormat == nullptr ||
             in_request.m_pFormat == LabelFormat::findForFile(strLabels)) &&
            fs::is_regular_file(strLabels, error))
            vFound.push_back(strLabels);
    }
    return vFound;
}

/// One recording's way into the folder. False with the reason logged.
bool copyOne(const AnnotateRequest& in_request, const std::string& in_strRecording,
             const std::string& in_strCopy)
{
    const StringVector vLabels = findLabels(in_request, in_strRecording);
    if (vLabels.size() != 1)
    {
        QC_ERROR("Not copying " << in_strRecording << ": "
                                << (vLabels.empty() ? "no labels lie beside it"
                                                    : "labels lie beside it in " + vLabels[0] + " and in " +
                                                          vLabels[1] + "; --format chooses"));
        return false;
    }
    AnnotatedFile file;
    std::error_code error;
    if (fs::equivalent(in_strRecording, in_strCopy, error))
    {
        QC_ERROR("Not copying " << in_strRecording << " onto itself");
        return false;
    }
    return in_request.m_guard.allows(in_strCopy) && readAnnotations(in_strRecording, file) &&
           takeLabels(in_request, in_strRecording, vLabels[0], file) &&
           file.writeToWAV(in_strRecording.c_str(), in_strCopy.c_str());
}

} // namespace

bool importAnnotations(const AnnotateRequest& in_request)
{
    const std::string& strRecording = in_request.m_vFiles[0];
    const std::string& strLabels = in_request.m_vFiles[1];
    AnnotatedFile file;
    if (!readAnnotations(strRecording, file))
        return false;
    const std::size_t uiReplaced = file.getAnnotations().size();
    if (!takeLabels(in_request, strRecording, strLabels, file) || !file.writeToWAV(strRecording.c_str()))
        return false;
    QC_INFO(strRecording << ": " << uiReplaced << (uiReplaced == 1 ? " annotation" : " annotations")
                         << " replaced by " << file.getAnnotations().size());
    return true;
}

bool copyWithLabels(const AnnotateRequest& in_request)
{
    const fs::path folder = in_request.m_vFiles[0];
    std::error_code error;
    fs::create_directories(folder, error);
    if (error)
    {
        QC_ERROR("Cannot make the folder " << folder.string() << ": " << error.message());
        return false;
    }
    std::set<std::string> names;
    std::string strNames;
    bool bDone = true;
    for (std::size_t i = 1; i < in_request.m_vFiles.size(); ++i)
    {
        const std::string& strRecording = in_request.m_vFiles[i];
        const std::string strName = fs::path(strRecording).filename().string();
        const bool bNew = names.insert(strName).second;
        if (!bNew)
            QC_ERROR("Not copying " << strRecording << ": " << (folder / strName).string()
                                    << " is the copy of another recording of that name");
        if (bNew && copyOne(in_request, strRecording, (folder / strName).string()))
            strNames += strName + '\n';
        else
            bDone = false;
    }
    if (strNames.empty())
        return false; // and an earlier list stays
    const auto iCopies = std::count(strNames.begin(), strNames.end(), '\n');
    if (!replaceFile((folder / LIST_NAME).string(), strNames))
        return false;
    QC_INFO(folder.string() << ": " << iCopies << (iCopies == 1 ? " recording" : " recordings")
                            << " with labels, in " << LIST_NAME);
    return bDone;
}

} // namespace Vexalor
