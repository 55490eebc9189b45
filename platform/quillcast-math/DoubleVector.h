#pragma once

#include "quillcast-core/Serialization.h"

#include <cstddef>
#include <initializer_list>
#include <iosfwd>
#include <string>
#include <vector>

namespace Vexalor
{

/// A vector of double: every input, target and window is one.
///
/// Text form: "[v v v]", one blank between two values, "[]" when empty. Values have the shortest decimal
/// digits that read back to the same double, in the classic locale whatever the stream's; "nan", "-nan",
/// "inf" and "-inf" are values. The form delimits itself. Reading takes the numbers of std::from_chars, with
/// any number of blanks (0x20) and tabs before, between and after them; it refuses everything else, a number
/// outside the range of double included.
class DoubleVector
{
public:
    /// Longest vector that reading accepts, so that a damaged file cannot take all memory.
    static constexpr std::size_t MAX_READ_SIZE = std::size_t(1) << 24;
    /// Longest text of one value that reading accepts; the exact decimal expansion of any double fits.
    static constexpr std::size_t MAX_READ_VALUE = 2048;

    DoubleVector() = default;
    explicit DoubleVector(std::size_t in_uiSize, double in_dValue = 0.0)
        : m_vValues(in_uiSize, in_dValue)
    {
    }
    DoubleVector(std::initializer_list<double> in_values)
        : m_vValues(in_values)
    {
    }

    double* begin() { return m_vValues.data(); }
    double* end() { return m_vValues.data() + m_vValues.size(); }
    const double* begin() const { return m_vValues.data(); }
    const double* end() const { return m_vValues.data() + m_vValues.size(); }

    std::size_t size() const { return m_vValues.size(); }
    bool empty() const { return m_vValues.empty(); }
    double& operator[](std::size_t in_uiIndex) { return m_vValues[in_uiIndex]; }
    double operator[](std::size_t in_uiIndex) const { return m_vValues[in_uiIndex]; }
    double& back() { return m_vValues.back(); }
    double back() const { return m_vValues.back(); }

    /// Keeps the capacity, as all operations that shorten do.
    void clear() { m_vValues.clear(); }
    void resize(std::size_t in_uiSize) { m_vValues.resize(in_uiSize); }
    void reserve(std::size_t in_uiSize) { m_vValues.reserve(in_uiSize); }
    void push_back(double in_dValue) { m_vValues.push_back(in_dValue); }
    void assign(const double* in_begin, const double* in_end) { m_vValues.assign(in_begin, in_end); }
    void append(const double* in_begin, const double* in_end)
    {
        m_vValues.insert(m_vValues.end(), in_begin, in_end);
    }
    void swap(DoubleVector& io_other) noexcept { m_vValues.swap(io_other.m_vValues); }

    /// Arithmetic mean, summed in order; nan when empty.
    double getAverage() const;

    /// Writes the text form; returns out_stream.
    std::ostream& write(std::ostream& out_stream) const;
    /// Reads one text form, leaving the stream after the "]". Line ends are not skipped. On a malformed form
    /// sets the fail flag and leaves the vector empty; the position in the stream is then unspecified.
    std::istream& read(std::istream& in_stream);

    /// Appends the text form to a buffer.
    void appendTo(std::string& io_strBuffer) const;
    /// Reads one text form from characters, by the grammar of read; leading blanks and tabs are skipped.
    /// Returns the position after the "]", or null, with the vector empty, when the form is malformed or
    /// incomplete.
    const char* parse(const char* in_begin, const char* in_end);

    /// Exact: same size and same values, where nan equals nan and 0.0 equals -0.0.
    friend bool operator==(const DoubleVector& in_left, const DoubleVector& in_right);

private:
    friend class boost::serialization::access;
    /// In an archive: the number of values as "count", then each as "item".
    template <class Archive>
    void serialize(Archive& io_archive, unsigned int in_uiVersion);
    template <class Archive>
    void save(Archive& io_archive, unsigned int in_uiVersion) const;
    template <class Archive>
    void load(Archive& io_archive, unsigned int in_uiVersion);

    std::vector<double> m_vValues;
};

inline std::ostream& operator<<(std::ostream& out_stream, const DoubleVector& in_vVector)
{
    return in_vVector.write(out_stream);
}

inline std::istream& operator>>(std::istream& in_stream, DoubleVector& out_vVector)
{
    return out_vVector.read(in_stream);
}

} // namespace Vexalor

BOOST_CLASS_IMPLEMENTATION(Vexalor::DoubleVector, boost::serialization::object_serializable)
BOOST_CLASS_TRACKING(Vexalor::DoubleVector, boost::serialization::track_never)
