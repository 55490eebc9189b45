#include "Library.h"
#include "Module.h"
#include "Output.h"
#include "quillcast-audio/AnnotatedFile.h"
#include "quillcast-core/InputFile.h"
#include "quillcast-core/Logger.h"

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
    py::list list;
    append(annotated.getAnnotations(), list);
    append(annotated.getMarkers(), list);
    list.attr("sort")(py::arg("key") = imports().m_annotationOrder);
    return list;
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
}

} // namespace Vexalor::Python
