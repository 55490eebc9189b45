#pragma once

#include "labels/LabelSpan.h"
#include "quillcast-core/StringVector.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace Vexalor
{

/// What is known of the recording whose labels are read, and what of them is wanted.
struct LabelReadOptions
{
    std::string m_strRecording; ///< its name, without folder and extension; for files that tell of several
    double m_dSeconds = 0.0;    ///< its length; 0 when it is not known
    StringVector m_vTiers;      ///< of a TextGrid; all when empty
};

struct LabelWriteOptions
{
    std::string m_strRecording;    ///< its name, without folder and extension
    double m_dSeconds = 0.0;       ///< its length; 0 when it is not known
    unsigned int m_uiDecimals = 0; ///< digits after the point, at least; more where a time needs them
};

/// Why labels were refused, and on which line, counted from 1; 0 when it is no single one.
struct LabelFault
{
    std::size_t m_uiLine = 0;
    std::string m_strReason;

    std::string getText() const;
};

/// Makes the text of labels that come one after the other.
///
/// Call order: begin add* setSeconds? end. Each appends to the text what can be said by then. False, with
/// getError, for a label that the format cannot hold.
class LabelWriter
{
public:
    virtual ~LabelWriter() = default;

    virtual void begin(std::string&) {}
    virtual bool add(const LabelSpan& in_span, std::string& io_strText) = 0;
    /// The length of the recording, before end, where it is known that late.
    virtual void setSeconds(double) {}
    virtual void end(std::string&) {}

    const std::string& getError() const { return m_strError; }

protected:
    bool refuse(const LabelSpan& in_span, const std::string& in_strReason);

private:
    std::string m_strError;
};

/// One of the formats of files of labels; doc/formats.md, "Labels", has them all.
struct LabelFormat
{
    /// Larger files are refused, and so are files with more labels.
    static constexpr std::size_t MOST_BYTES = std::size_t(64) << 20;
    static constexpr std::size_t MOST_LABELS = std::size_t(1) << 20;

    using Read = bool (*)(std::string_view in_text, const LabelReadOptions& in_options,
                          std::vector<LabelSpan>& out_vSpans, LabelFault& out_fault);
    using NewWriter = std::unique_ptr<LabelWriter> (*)(const LabelWriteOptions& in_options);

    const char* m_name;
    const char* m_extensions; ///< as they are usually spelt, with their points
    const char* m_description;
    Read m_read; ///< of UTF-8 without a byte order mark
    NewWriter m_newWriter;

    /// By the name, in any letter case; null for an unknown one.
    static const LabelFormat* find(const std::string& in_strName);
    /// By the extension, in any letter case; null for an unknown one.
    static const LabelFormat* findForFile(const std::string& in_strFile);
    /// All names, joined by ", ".
    static std::string listNames();

    /// Reads a text in any of the encodings of such files: UTF-8 with or without a byte order mark, UTF-16
    /// with one. False, with the fault, for anything that is no such text; then no spans are delivered.
    bool read(std::string_view in_text, const LabelReadOptions& in_options,
              std::vector<LabelSpan>& out_vSpans, LabelFault& out_fault) const;
    /// The text of all spans. False, with the reason, when one cannot be held.
    bool write(const std::vector<LabelSpan>& in_vSpans, const LabelWriteOptions& in_options,
               std::string& out_strText, std::string& out_strError) const;
};

} // namespace Vexalor
