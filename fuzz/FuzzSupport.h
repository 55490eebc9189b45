#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace Vexalor::Fuzz
{

/// A file in memory that has a path as long as it lives, for what is read and written by name.
class MemoryFile
{
public:
    explicit MemoryFile(std::string_view in_content = {});
    ~MemoryFile();
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    const char* getPath() const { return m_strPath.c_str(); }
    std::string getContent() const;

private:
    int m_iDescriptor;
    std::string m_strPath;
};

/// The input of a target as text.
inline std::string toText(const std::uint8_t* in_data, std::size_t in_uiSize)
{
    return std::string(in_data, in_data + in_uiSize);
}

/// Ends the run, which keeps the input, when what must hold does not.
void require(bool in_bHolds, const char* in_what);

} // namespace Vexalor::Fuzz

/// Called by the fuzzer before the first input: switches logging off.
extern "C" int LLVMFuzzerInitialize(int* io_iCount, char*** io_arguments);
/// A target: takes any input.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* in_data, std::size_t in_uiSize);
