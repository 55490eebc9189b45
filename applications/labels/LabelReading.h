#pragma once

#include "labels/LabelFormat.h"

#include <string>
#include <string_view>
#include <vector>

namespace Vexalor
{

/// What the readers of labels share.
namespace LabelReading
{

/// Cuts the part before the separator off the front of a text, and the separator; all where there is none.
std::string_view takeUntil(std::string_view& io_text, char in_separator);
/// Cuts a line off, without its end: LF or CRLF.
std::string_view takeLine(std::string_view& io_text);

/// A finite number that is the whole text.
bool parseNumber(std::string_view in_text, double& out_dNumber);

/// Sets the reason; false, to be returned.
bool refuse(LabelFault& out_fault, std::size_t in_uiLine, const std::string& in_strReason);

/// Takes a span whose times and frequencies make sense; the fault of any other.
bool add(const LabelSpan& in_span, std::size_t in_uiLine, std::vector<LabelSpan>& io_vSpans,
         LabelFault& out_fault);
/// Takes frequencies as they stand in files; -1 is none.
bool setBand(double in_dLow, double in_dHigh, std::size_t in_uiLine, LabelSpan& io_span,
             LabelFault& out_fault);

} // namespace LabelReading

/// A number as plain digits, without exponent: the fewest that read back to the same value, and zeros up to
/// in_uiDecimals digits after the point.
std::string formatPlain(double in_dValue, unsigned int in_uiDecimals = 0);

/// The formats.
bool readLabelTrack(std::string_view in_text, const LabelReadOptions& in_options,
                    std::vector<LabelSpan>& out_vSpans, LabelFault& out_fault);
bool readTextGrid(std::string_view in_text, const LabelReadOptions& in_options,
                  std::vector<LabelSpan>& out_vSpans, LabelFault& out_fault);
bool readRttm(std::string_view in_text, const LabelReadOptions& in_options,
              std::vector<LabelSpan>& out_vSpans, LabelFault& out_fault);
bool readCsvLabels(std::string_view in_text, const LabelReadOptions& in_options,
                   std::vector<LabelSpan>& out_vSpans, LabelFault& out_fault);
bool readJsonLabels(std::string_view in_text, const LabelReadOptions& in_options,
                    std::vector<LabelSpan>& out_vSpans, LabelFault& out_fault);
std::unique_ptr<LabelWriter> newLabelTrackWriter(const LabelWriteOptions& in_options);
std::unique_ptr<LabelWriter> newTextGridWriter(const LabelWriteOptions& in_options);
std::unique_ptr<LabelWriter> newRttmWriter(const LabelWriteOptions& in_options);
std::unique_ptr<LabelWriter> newCsvLabelWriter(const LabelWriteOptions& in_options);
std::unique_ptr<LabelWriter> newJsonLabelWriter(const LabelWriteOptions& in_options);

} // namespace Vexalor
