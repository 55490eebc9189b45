#pragma once

#include "common/OverwriteGuard.h"
#include "labels/LabelFormat.h"
#include "ml-annotate/AnnotationEdits.h"
#include "quillcast-audio/AnnotatedFile.h"
#include "quillcast-core/StringVector.h"

#include <set>
#include <string>

namespace Vexalor
{

/// What the command line asks for.
struct AnnotateRequest
{
    StringVector m_vFiles; ///< the arguments after the command
    AnnotationEdits m_edits;
    OverwriteGuard m_guard;
    std::set<std::string> m_ignored;        ///< kinds of finding
    const LabelFormat* m_pFormat = nullptr; ///< of files of labels; null: as their names say
    StringVector m_vTiers;                  ///< that are taken of a TextGrid; all when empty
    bool m_bJson = false;
    bool m_bMarkers = false;
    bool m_bDecode = false;
};

/// The commands. False, with the reason logged, when anything failed; list and check go on with the next
/// file.
bool listAnnotations(const AnnotateRequest& in_request);
bool checkRecordings(const AnnotateRequest& in_request);
bool exportAnnotations(const AnnotateRequest& in_request);
bool importAnnotations(const AnnotateRequest& in_request);
bool copyWithLabels(const AnnotateRequest& in_request);
bool drawRecording(const AnnotateRequest& in_request);

/// Makes the changes that the options ask for. False with the reason logged.
bool editAnnotations(const AnnotateRequest& in_request, const std::string& in_strFile,
                     AnnotatedFile& io_file);
/// Replaces a file as a whole, where the guard allows it, or prints for "-". False with the reason logged.
bool writeText(const AnnotateRequest& in_request, const std::string& in_strFile,
               const std::string& in_strText);
/// The format of a file of labels, by the option or by its name; lines of text where neither tells.
const LabelFormat& getFormat(const AnnotateRequest& in_request, const std::string& in_strLabels);

} // namespace Vexalor
