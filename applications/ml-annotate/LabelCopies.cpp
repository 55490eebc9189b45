#include "common/OutputFile.h"
#include "labels/LabelFile.h"
#include "ml-annotate/AnnotateCommands.h"
#include "ml-annotate/RecordingFile.h"
#include "quillcast-core/Logger.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <set>

namespace Vexalor
{

namespace
{

constinit Logger s_logger("quillcast.app.ml-annotate");

namespace fs = std::filesystem;

constexpr const char* LIST_NAME = "list.txt";

/// Replaces the annotations of a recording that was read by those of a file of labels, and its markers if
/// that has some, as out_bMarkers tells. False with the reason logged.
bool takeLabels(const AnnotateRequest& in_request, const std::string& in_strRecording,
                const std::string& in_strLabels, AnnotatedFile& io_file, bool& out_bMarkers)
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
    out_bMarkers = !vMarkers.empty();
    if (out_bMarkers)
        io_file.setMarkers(std::move(vMarkers));
    return editAnnotations(in_request, in_strRecording, io_file);
}

std::string tellReplaced(std::size_t in_uiOld, const std::string& in_strWhat, std::size_t in_uiNew)
{
    return std::to_string(in_uiOld) + ' ' + in_strWhat + (in_uiOld == 1 ? "" : "s") + " replaced by " +
           std::to_string(in_uiNew);
}

/// Finds the files of labels that lie beside recordings: of their names, with the extension of a format in
/// any letter case.
class LabelFinder
{
public:
    StringVector find(const fs::path& in_recording, const LabelFormat* in_pFormat)
    {
        const fs::path folder = in_recording.has_parent_path() ? in_recording.parent_path() : ".";
        if (!m_bRead || folder != m_folder)
            read(folder);
        StringVector vFound;
        for (const fs::path& labels : m_labels[in_recording.stem().string()])
            if (in_pFormat == nullptr || in_pFormat == LabelFormat::findForFile(labels.string()))
                vFound.push_back((in_recording.parent_path() / labels).string());
        return vFound;
    }

private:
    void read(const fs::path& in_folder)
    {
        m_bRead = true;
        m_folder = in_folder;
        m_labels.clear();
        std::error_code error;
        for (fs::directory_iterator it(in_folder, error), itEnd; !error && it != itEnd; it.increment(error))
        {
            std::error_code noFile;
            const fs::path name = it->path().filename();
            if (LabelFormat::findForFile(name.string()) != nullptr && it->is_regular_file(noFile))
                m_labels[name.stem().string()].insert(name);
        }
        if (error)
            QC_ERROR("Cannot read the folder " << in_folder.string() << ": " << error.message());
    }

    bool m_bRead = false;
    fs::path m_folder;                                  ///< of the last recording
    std::map<std::string, std::set<fs::path>> m_labels; ///< of that folder, by names of recordings
};

/// One recording's way into the folder. False with the reason logged.
bool copyOne(const AnnotateRequest& in_request, const std::string& in_strRecording,
             const std::string& in_strCopy, LabelFinder& io_finder)
{
    AnnotatedFile file;
    bool bMarkers = false;
    if (!readAnnotations(in_strRecording, file))
        return false;
    const StringVector vLabels = io_finder.find(in_strRecording, in_request.m_pFormat);
    if (vLabels.size() != 1)
    {
        QC_ERROR("Not copying " << in_strRecording << ": "
                                << (vLabels.empty() ? "no labels lie beside it"
                                                    : "labels lie beside it in " + vLabels[0] + " and in " +
                                                          vLabels[1] + "; --format chooses"));
        return false;
    }
    std::error_code error;
    if (fs::equivalent(in_strRecording, in_strCopy, error))
    {
        QC_ERROR("Not copying " << in_strRecording << " onto itself");
        return false;
    }
    return in_request.m_guard.allows(in_strCopy) &&
           takeLabels(in_request, in_strRecording, vLabels[0], file, bMarkers) &&
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
    const std::size_t uiMarkers = file.getMarkers().size();
    bool bMarkers = false;
    if (!takeLabels(in_request, strRecording, strLabels, file, bMarkers) ||
        !file.writeToWAV(strRecording.c_str()))
        return false;
    QC_INFO(
        strRecording << ": " << tellReplaced(uiReplaced, "annotation", file.getAnnotations().size())
                     << (bMarkers ? ", " + tellReplaced(uiMarkers, "marker", file.getMarkers().size()) : ""));
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
    LabelFinder finder;
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
        if (bNew && copyOne(in_request, strRecording, (folder / strName).string(), finder))
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
