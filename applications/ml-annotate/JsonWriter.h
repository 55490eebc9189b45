#pragma once

#include <concepts>
#include <cstdint>
#include <optional>
#include <string>

namespace Vexalor
{

/// Builds JSON text. Inside an object every value has a name; inside an array the name is null. Begin and end
/// must match. Texts that are no UTF-8 are taken as Latin-1.
class JsonWriter
{
public:
    void beginObject(const char* in_name = nullptr) { begin(in_name, '{'); }
    void endObject() { end('}'); }
    void beginArray(const char* in_name = nullptr) { begin(in_name, '['); }
    void endArray() { end(']'); }

    void number(const char* in_name, std::unsigned_integral auto in_uiValue)
    {
        startValue(in_name);
        m_strText += std::to_string(std::uint64_t(in_uiValue));
    }
    /// Finite, with the shortest digits that read back to the same value.
    void number(const char* in_name, double in_dValue);
    void text(const char* in_name, const std::string& in_strValue);
    /// "null" when there is none.
    void text(const char* in_name, const std::optional<std::string>& in_value);

    const std::string& getText() const { return m_strText; }

private:
    void begin(const char* in_name, char in_bracket);
    void end(char in_bracket);
    void startValue(const char* in_name);
    void newLine();
    void append(const std::string& in_strValue);

    std::string m_strText;
    std::size_t m_uiDepth = 0;
    bool m_bFirst = true; ///< nothing stands in the innermost bracket yet
};

} // namespace Vexalor
