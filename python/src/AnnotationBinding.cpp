#include "Library.h"
#include "Module.h"
#include "Output.h"
#include "labels/LabelFile.h"
#include "quillcast-audio/AnnotatedFile.h"
#include "quillcast-core/InputFile.h"
#include "quillcast-core/Logger.h"

#include <cmath>
#include <filesystem>
#include <optional>
#include <pybind11/stl.h>
#include <pybind11/stl/filesystem.h>
#include <vector>

namespace Vexalor::Python
{

namespace
{

constinit Logger s_logger("quillcast.python");

/// The texts of recordings are bytes of no declared encoding: those that are not UTF-8 become surrogates, and
/// bytes again when they are written.
py::object toText(const std::string& in_strBytes)
{
    PyObject* const pText = PyUnicode_DecodeUTF8(
        in_strBytes.data(), static_cast<Py_ssize_t>(in_strBytes.size()), "surrogateescape");
    if (pText == nullptr)
        throw py::error_already_set();
    return py::reinterpret_steal<py::object>(pText);
}

std::string toBytes(const py::handle& in_text)
{
    PyObject* const pBytes = PyUnicode_AsEncodedString(in_text.ptr(), "utf-8", "surrogateescape");
    if (pBytes == nullptr)
        throw py::error_already_set();
    return py::reinterpret_steal<py::bytes>(pBytes);
}

void append(const std::vector<Annotation>& in_vAnnotations, py::list& io_list)
{
    for (const Annotation& annotation : in_vAnnotations)
        io_list.append(imports().m_annotation(toText(annotation.getLabel()), annotation.getStartTime(),
                                              annotation.getStopTime(), toText(annotation.getNote())));
}

/// In the order of time.
py::list toList(const std::vector<Annotation>& in_vAnnotations, const std::vector<Annotation>& in_vMarkers)
{
    py::list list;
    append(in_vAnnotations, list);
    append(in_vMarkers, list);
    list.attr("sort")(py::arg("key") = imports().m_annotationOrder);
    return list;
}

py::list readAnnotations(const std::filesystem::path& in_file)
{
    AnnotatedFile annotated;
    require(
        [&]
        {
            InputFile file;
            if (file.openRegular(in_file.c_str()))
                return annotated.readFromWAV(file);
            QC_ERROR("Cannot read " << in_file.string() << ": " << file.getReason());
            return false;
        },
        "the annotations cannot be read");
    return toList(annotated.getAnnotations(), annotated.getMarkers());
}

constexpr const char* PARTS = "an annotation is a label, a start and a stop in seconds, and perhaps a note";

Annotation toAnnotation(const py::handle& in_item)
{
    const auto values = py::reinterpret_borrow<py::object>(in_item).cast<py::tuple>();
    if (values.size() < 3 || values.size() > 4)
        throw py::value_error(PARTS);
    if (!py::isinstance<py::str>(values[0]) || PyNumber_Check(py::object(values[1]).ptr()) == 0 ||
        PyNumber_Check(py::object(values[2]).ptr()) == 0 ||
        (values.size() == 4 && !py::isinstance<py::str>(values[3])))
        throw py::type_error(PARTS);
    return {toBytes(values[0]), values[1].cast<double>(), values[2].cast<double>(),
            values.size() == 4 ? toBytes(values[3]) : std::string()};
}

const LabelFormat& findFormat(const std::filesystem::path& in_file,
                              const std::optional<std::string>& in_format)
{
    const LabelFormat* const pFormat =
        in_format ? LabelFormat::find(*in_format) : LabelFormat::findForFile(in_file.string());
    if (pFormat == nullptr)
        throw py::value_error(
            (in_format ? "format must be one of " : "the extension tells no format; give one of ") +
            LabelFormat::listNames());
    return *pFormat;
}

py::list readLabels(const std::filesystem::path& in_file, const std::optional<std::string>& in_format,
                    const std::optional<std::string>& in_recording, const StringVector& in_vTiers)
{
    const LabelFormat& format = findFormat(in_file, in_format);
    if (!in_vTiers.empty() && &format != LabelFormat::find("textgrid"))
        throw py::value_error(std::string("only a TextGrid has tiers, the labels are read as ") +
                              format.m_name);
    const std::string strFile = in_file == "-" ? "./-" : in_file.string(); // no standard input here
    const LabelReadOptions options{in_recording.value_or(LabelFile::getName(strFile)), 0.0, in_vTiers};
    std::vector<LabelSpan> vSpans;
    require([&] { return LabelFile::read(strFile, format, options, vSpans); }, "the labels cannot be read");
    std::vector<Annotation> vAnnotations;
    std::vector<Annotation> vMarkers;
    LabelFile::toAnnotations(vSpans, vAnnotations, vMarkers);
    return toList(vAnnotations, vMarkers);
}

void writeLabels(const std::filesystem::path& in_file, const py::iterable& in_annotations,
                 const std::optional<std::string>& in_format, const std::optional<std::string>& in_recording,
                 double in_dSeconds, bool in_bForced)
{
    const LabelFormat& format = findFormat(in_file, in_format);
    if (!std::isfinite(in_dSeconds) || in_dSeconds < 0.0)
        throw py::value_error("seconds must be a length, 0 or more");
    const LabelWriteOptions options{in_recording.value_or(LabelFile::getName(in_file.string())), in_dSeconds,
                                    0};
    std::vector<LabelSpan> vSpans;
    for (const py::handle item : in_annotations)
        vSpans.push_back(LabelFile::toSpan(toAnnotation(item)));
    require(
        [&]
        {
            std::string strText;
            std::string strError;
            if (format.write(vSpans, options, strText, strError))
                return writeFile(in_file, in_bForced, strText);
            QC_ERROR("Cannot write " << in_file.string() << ": " << strError);
            return false;
        },
        "the labels cannot be written");
}

void writeAnnotations(const std::filesystem::path& in_file, const py::iterable& in_annotations,
                      const std::optional<std::filesystem::path>& in_copy, bool in_bForced)
{
    std::vector<Annotation> vAnnotations;
    std::vector<Annotation> vMarkers;
    for (const py::handle item : in_annotations)
    {
        Annotation annotation = toAnnotation(item);
        const bool bMarker = annotation.getStartTime() == annotation.getStopTime();
        (bMarker ? vMarkers : vAnnotations).push_back(std::move(annotation));
    }
    AnnotatedFile annotated;
    annotated.setAnnotations(std::move(vAnnotations));
    annotated.setMarkers(std::move(vMarkers));
    require(
        [&]
        {
            if (!in_copy)
                return annotated.writeToWAV(in_file.c_str());
            return mayWrite(*in_copy, in_bForced) && annotated.writeToWAV(in_file.c_str(), in_copy->c_str());
        },
        "the annotations cannot be written");
}

} // namespace

void bindAnnotations(py::module_& io_module)
{
    io_module.def("read_annotations", &readAnnotations, py::arg("recording"),
                  "The Annotations of a WAV recording, markers among them, in the order of time.");
    io_module.def(
        "write_annotations", &writeAnnotations, py::arg("recording"), py::arg("annotations"), py::kw_only(),
        py::arg("copy") = py::none(), py::arg("force") = false,
        R"(Replaces the annotations of a WAV recording; samples and everything else stay as they are.

annotations  Annotations, or (label, start, stop) and perhaps a note; times in seconds, rounded to samples
copy         a file that gets the recording with these annotations, which itself stays as it is
force        write the copy over a recording, too)");
    io_module.def("read_labels", &readLabels, py::arg("file"), py::kw_only(), py::arg("format") = py::none(),
                  py::arg("recording") = py::none(), py::arg("tiers") = StringVector(),
                  R"(The Annotations of a file of labels, in the order of time.

format     "text" (label tracks of editors), "textgrid", "rttm", "csv" or "json"; that of the extension unless given
recording  whose labels are read, in a file that tells of several; without extension; that of the file unless given
tiers      of a TextGrid; all unless given)");
    io_module.def("write_labels", &writeLabels, py::arg("file"), py::arg("annotations"), py::kw_only(),
                  py::arg("format") = py::none(), py::arg("recording") = py::none(), py::arg("seconds") = 0.0,
                  py::arg("force") = false,
                  R"(Writes a file of labels.

annotations  Annotations, or (label, start, stop), in seconds; a note is left out
format       as for read_labels
recording    its name, without extension, for formats that tell it; that of the file unless given
seconds      its length, for formats that tell it; up to the last label unless given
force        write over a recording, too)");
}

} // namespace Vexalor::Python
