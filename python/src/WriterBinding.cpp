#include "Arrays.h"
#include "Library.h"
#include "MLBinaryFileDataGenerator.h"
#include "MLVectorFileDataGenerator.h"
#include "Module.h"
#include "Output.h"
#include "common/OutputFile.h"
#include "quillcast-core/FileReplacer.h"

#include <algorithm>
#include <pybind11/stl.h>
#include <pybind11/stl/filesystem.h>

namespace Vexalor::Python
{

using namespace MachineLearning;

namespace
{

/// Patterns that are written between two looks at signals.
constexpr std::size_t PIECE = 1024;

std::unique_ptr<FileDataWriter> newWriter(const std::string& in_strFormat)
{
    if (in_strFormat == "text")
        return std::make_unique<VectorFileWriter>();
    if (in_strFormat == "binary")
        return std::make_unique<BinaryFileWriter>();
    throw py::value_error("format must be 'text' or 'binary'");
}

/// Rows of arrays as they come from Python.
struct Rows
{
    const double* m_pInputs;
    std::size_t m_uiInputSize;
    const double* m_pTargets; ///< null: none has one
    std::size_t m_uiTargetSize;
    const bool* m_pValid; ///< null: all have a target
    const bool* m_pFirst; ///< null: none begins a sequence
};

/// Writes a pattern file, which takes its name when it is closed.
class PatternWriter
{
public:
    PatternWriter(const std::filesystem::path& in_file, const std::string& in_strFormat, bool in_bForced)
        : m_file(in_file.string())
        , m_pWriter(newWriter(in_strFormat))
    {
        require(
            [&]
            {
                return mayWrite(in_file, in_bForced) && reportOutput(m_file, m_file.openNameOnly()) &&
                       m_pWriter->open(m_file.getTemporaryPath().c_str());
            },
            "the file cannot be written");
        m_pWriter->setCurrentFilename(m_file.getPath().c_str());
    }

    void write(const DoubleArray& in_inputs, const std::optional<DoubleArray>& in_targets,
               const std::optional<BoolArray>& in_valid, const std::optional<BoolArray>& in_first)
    {
        const Exclusive use(m_bUsed);
        if (m_pWriter == nullptr)
            throw Failure(m_file.getPath() + " is closed");
        if (in_inputs.ndim() != 2 || (in_targets && in_targets->ndim() != 2))
            throw py::value_error("inputs and targets must be matrices, a row a pattern");
        const py::ssize_t rows = in_inputs.shape(0);
        if ((in_targets && in_targets->shape(0) != rows) || !isFlagOf(in_valid, rows) ||
            !isFlagOf(in_first, rows))
            throw py::value_error("inputs, targets, valid and first must have as many rows");
        if (in_valid && !in_targets)
            throw py::value_error("valid is about targets, and there are none");
        writeRows({in_inputs.data(), static_cast<std::size_t>(in_inputs.shape(1)),
                   in_targets ? in_targets->data() : nullptr,
                   in_targets ? static_cast<std::size_t>(in_targets->shape(1)) : 0,
                   in_valid ? in_valid->data() : nullptr, in_first ? in_first->data() : nullptr},
                  static_cast<std::size_t>(rows));
    }

    /// The file is complete and takes its name; again: nothing.
    void close()
    {
        const Exclusive use(m_bUsed);
        const std::unique_ptr<FileDataWriter> pWriter = std::move(m_pWriter);
        if (pWriter != nullptr)
            require([&] { return pWriter->close() && reportOutput(m_file, m_file.commit()); },
                    "the file could not be written");
    }

    /// There is no such file then, or what it was before.
    void abandon()
    {
        const Exclusive use(m_bUsed);
        m_pWriter.reset();
    }

private:
    static bool isFlagOf(const std::optional<BoolArray>& in_flags, py::ssize_t in_rows)
    {
        return !in_flags || (in_flags->ndim() == 1 && in_flags->shape(0) == in_rows);
    }

    void writeRows(const Rows& in_rows, std::size_t in_uiSize)
    {
        for (std::size_t uiStart = 0; uiStart < in_uiSize; uiStart += PIECE)
        {
            const std::size_t uiEnd = std::min(in_uiSize, uiStart + PIECE);
            require([&] { return writePiece(in_rows, uiStart, uiEnd); }, "the patterns could not be written");
            checkSignals();
        }
    }

    bool writePiece(const Rows& in_rows, std::size_t in_uiStart, std::size_t in_uiEnd)
    {
        bool bWritten = true;
        for (std::size_t i = in_uiStart; i < in_uiEnd && bWritten; ++i)
        {
            const double* const pInput = in_rows.m_pInputs + i * in_rows.m_uiInputSize;
            m_vInput.assign(pInput, pInput + in_rows.m_uiInputSize);
            m_vTarget.clear();
            if (in_rows.m_pTargets != nullptr && (in_rows.m_pValid == nullptr || in_rows.m_pValid[i]))
            {
                const double* const pTarget = in_rows.m_pTargets + i * in_rows.m_uiTargetSize;
                m_vTarget.assign(pTarget, pTarget + in_rows.m_uiTargetSize);
            }
            bWritten =
                m_pWriter->write(in_rows.m_pFirst != nullptr && in_rows.m_pFirst[i], m_vInput, m_vTarget);
        }
        return bWritten && !m_pWriter->hasLost();
    }

    FileReplacer m_file;
    std::unique_ptr<FileDataWriter> m_pWriter; ///< null when it is closed
    DoubleVector m_vInput;
    DoubleVector m_vTarget;
    bool m_bUsed = false;
};

} // namespace

void bindWriter(py::module_& io_module)
{
    py::class_<PatternWriter>(io_module, "PatternWriter",
                              R"(Writes a pattern file from arrays, in a with statement.

The file takes its name when it is closed; an exception in between leaves none, or what it was before.)")
        .def(py::init<const std::filesystem::path&, const std::string&, bool>(), py::arg("file"),
             py::kw_only(), py::arg("format") = "text", py::arg("force") = false,
             R"(format  "text", which keeps every digit, or "binary", which needs one pattern with a target
force   write over a recording, too)")
        .def("write", &PatternWriter::write, py::arg("inputs"), py::arg("targets") = py::none(),
             py::arg("valid") = py::none(), py::arg("first") = py::none(), R"(Appends patterns.

inputs   shape (n, N)
targets  shape (n, K); none: the patterns have no target
valid    shape (n,), bool: which patterns have a target; all unless given
first    shape (n,), bool: which patterns are the first of a sequence; none unless given)")
        .def("close", &PatternWriter::close,
             "Completes the file; an Error when not all of it could be written.")
        .def("__enter__", [](py::object in_self) { return in_self; })
        .def(
            "__exit__",
            [](PatternWriter& io_writer, const py::object& in_exception, const py::object&, const py::object&)
            {
                if (in_exception.is_none())
                    io_writer.close();
                else
                    io_writer.abandon();
            });
}

} // namespace Vexalor::Python
