#pragma once

#include <cstdint>
#include <cstring>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

/// Values as bytes, for what processes of one program hand to each other, through files or otherwise: numbers
/// as they are in memory, and before everything of variable length how much of it follows. A class says once
/// what it consists of, for both directions:
///
///     class Thing
///     {
///     public:
///         template <class Self, class Bytes>
///         static void exchange(Self& io_self, Bytes& io_bytes)
///         {
///             io_bytes(io_self.m_uiCount, io_self.m_vNames);
///         }
///     };
///
/// Numbers, bool, enumerations, strings, vectors, optional values, maps, sets and classes of that kind are
/// taken. Whether a value makes sense, that of an enumeration included, is for the class to check.
namespace Vexalor
{

class ByteWriter
{
public:
    template <class... Values>
    void operator()(const Values&... in_values)
    {
        (put(in_values), ...);
    }

    const std::string& getBytes() const { return m_strBytes; }

private:
    template <class T>
    void put(const T& in_value)
    {
        if constexpr (std::is_arithmetic_v<T> || std::is_enum_v<T>)
            append(&in_value, sizeof in_value);
        else
            T::exchange(in_value, *this);
    }
    void put(const std::string& in_strText)
    {
        put(std::uint64_t{in_strText.size()});
        m_strBytes += in_strText;
    }
    template <class T>
    void put(const std::vector<T>& in_vValues)
    {
        put(std::uint64_t{in_vValues.size()});
        if constexpr (std::is_arithmetic_v<T>)
            append(in_vValues.data(), in_vValues.size() * sizeof(T));
        else
            for (const T& value : in_vValues)
                put(value);
    }
    template <class T>
    void put(const std::optional<T>& in_value)
    {
        put(in_value.has_value());
        if (in_value)
            put(*in_value);
    }
    template <class Key, class T>
    void put(const std::map<Key, T>& in_values)
    {
        put(std::uint64_t{in_values.size()});
        for (const auto& [key, value] : in_values)
            (*this)(key, value);
    }
    template <class T>
    void put(const std::set<T>& in_values)
    {
        put(std::uint64_t{in_values.size()});
        for (const T& value : in_values)
            put(value);
    }

    void append(const void* in_pBytes, std::size_t in_uiSize)
    {
        m_strBytes.append(static_cast<const char*>(in_pBytes), in_uiSize);
    }

    std::string m_strBytes;
};

/// Takes any bytes: from the first value on that cannot be there nothing is read, and hasFailed is true.
/// Takes no more memory than a small multiple of the bytes.
class ByteReader
{
public:
    /// The bytes outlive the reader.
    explicit ByteReader(std::string_view in_bytes)
        : m_rest(in_bytes)
    {
    }

    template <class... Values>
    void operator()(Values&... out_values)
    {
        (get(out_values), ...);
    }

    /// For classes that find a value which makes no sense.
    void fail() { m_bFailed = true; }
    bool hasFailed() const { return m_bFailed; }
    /// True when every byte was read, and none was missing.
    bool isAtEnd() const { return !m_bFailed && m_rest.empty(); }

private:
    template <class T>
    void get(T& out_value)
    {
        if constexpr (std::is_same_v<T, bool>)
        {
            std::uint8_t uiByte = 0;
            take(&uiByte, sizeof uiByte);
            m_bFailed = m_bFailed || uiByte > 1;
            out_value = uiByte == 1;
        }
        else if constexpr (std::is_arithmetic_v<T> || std::is_enum_v<T>)
            take(&out_value, sizeof out_value);
        else
            T::exchange(out_value, *this);
    }
    void get(std::string& out_strText)
    {
        out_strText.assign(getLength(1), '\0');
        take(out_strText.data(), out_strText.size());
    }
    template <class T>
    void get(std::vector<T>& out_vValues)
    {
        out_vValues.clear();
        if constexpr (std::is_arithmetic_v<T>)
        {
            out_vValues.resize(getLength(sizeof(T)));
            take(out_vValues.data(), out_vValues.size() * sizeof(T));
        }
        else
            for (std::uint64_t ui = getLength(1); ui > 0 && !m_bFailed; --ui)
                get(out_vValues.emplace_back());
    }
    template <class T>
    void get(std::optional<T>& out_value)
    {
        bool bPresent = false;
        get(bPresent);
        out_value.reset();
        if (bPresent)
            get(out_value.emplace());
    }
    template <class Key, class T>
    void get(std::map<Key, T>& out_values)
    {
        out_values.clear();
        for (std::uint64_t ui = getLength(1); ui > 0 && !m_bFailed; --ui)
        {
            Key key{};
            get(key);
            get(out_values[key]);
        }
    }
    template <class T>
    void get(std::set<T>& out_values)
    {
        out_values.clear();
        for (std::uint64_t ui = getLength(1); ui > 0 && !m_bFailed; --ui)
        {
            T value{};
            get(value);
            out_values.insert(std::move(value));
        }
    }

    /// Of what consists of parts that take at least so many bytes each.
    std::uint64_t getLength(std::size_t in_uiLeast)
    {
        std::uint64_t uiLength = 0;
        get(uiLength);
        m_bFailed = m_bFailed || uiLength > m_rest.size() / in_uiLeast;
        return m_bFailed ? 0 : uiLength;
    }

    void take(void* out_pBytes, std::size_t in_uiSize)
    {
        m_bFailed = m_bFailed || in_uiSize > m_rest.size();
        if (m_bFailed || in_uiSize == 0)
            return;
        std::memcpy(out_pBytes, m_rest.data(), in_uiSize);
        m_rest.remove_prefix(in_uiSize);
    }

    std::string_view m_rest;
    bool m_bFailed = false;
};

} // namespace Vexalor
