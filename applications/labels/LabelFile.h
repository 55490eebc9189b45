#pragma once

#include "labels/LabelFormat.h"
#include "quillcast-audio/Annotation.h"

#include <string>
#include <vector>

namespace Vexalor
{

/// Files of labels, and labels as annotations of recordings.
namespace LabelFile
{

/// Reads a file, or standard input for "-". False, with file, line and reason logged.
bool read(const std::string& in_strFile, const LabelFormat& in_format, const LabelReadOptions& in_options,
          std::vector<LabelSpan>& out_vSpans);

/// Spans without length become markers. A recording has no place for frequencies: a span of a single
/// frequency without a label gets that of the tone, those of any other label are dropped. Returns how many
/// were.
std::size_t toAnnotations(const std::vector<LabelSpan>& in_vSpans, std::vector<Annotation>& out_vAnnotations,
                          std::vector<Annotation>& out_vMarkers);

/// With the frequencies of a tone where the label names one; those of a modulated tone reach from the lower
/// to the upper side frequency.
LabelSpan toSpan(const Annotation& in_annotation);

/// Name of a recording without folder and extension.
std::string getName(const std::string& in_strRecording);

} // namespace LabelFile

} // namespace Vexalor
