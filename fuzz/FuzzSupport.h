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

/// Watches how much memory is taken beyond what was in use when it began; where the build has no address
/// sanitizer it sees nothing. One at a time.
class MemoryWatch
{
public:
    MemoryWatch();
    ~MemoryWatch();
    MemoryWatch(const MemoryWatch&) = delete;
    MemoryWatch& operator=(const MemoryWatch&) = delete;

    /// Bytes.
    std::size_t getPeak() const;
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
