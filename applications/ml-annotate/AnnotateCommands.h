#pragma once

#include "common/OverwriteGuard.h"
#include "ml-annotate/AnnotationEdits.h"
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
    std::set<std::string> m_ignored; ///< kinds of finding
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

} // namespace Vexalor
