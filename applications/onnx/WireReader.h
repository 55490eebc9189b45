#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace Vexalor::MachineLearning::Onnx
{

/// Why a network is not taken; ends its loading, which reports the text.
class Refusal : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// The fields of one message of a Protocol Buffers file, in the order of the file, without a copy of
/// anything: texts and messages inside are parts of what is read. Throws Refusal for damaged bytes.
///
/// Call order: (next (getNumber | getBytes | getReal | appendIntegers)?)*.
class WireReader
{
public:
    /// Most entries of a list of integers, so that lists stay small beside a large file.
    static constexpr std::size_t MAX_INTEGERS = 8192;

    explicit WireReader(std::string_view in_message)
        : m_left(in_message)
    {
    }

    /// Goes to the next field; false at the end.
    bool next();

    std::uint64_t getField() const { return m_uiField; }
    std::uint64_t getNumber() const;
    std::int64_t getInteger() const { return static_cast<std::int64_t>(getNumber()); }
    float getReal() const;
    std::string_view getBytes() const;
    /// Appends a field that repeats, packed into one or not.
    void appendIntegers(std::vector<std::int64_t>& io_vIntegers) const;
    /// Bytes of a field of single-precision numbers, packed into one or not; little-endian.
    std::string_view getRealBytes() const;

private:
    enum class Kind
    {
        VARINT = 0,
        FIXED64 = 1,
        BYTES = 2,
        FIXED32 = 5
    };

    void require(Kind in_kind) const;

    std::string_view m_left;
    std::uint64_t m_uiField = 0;
    Kind m_kind = Kind::VARINT;
    std::uint64_t m_uiNumber = 0;
    std::string_view m_bytes;
};

} // namespace Vexalor::MachineLearning::Onnx
