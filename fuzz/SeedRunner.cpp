// TARGET FOLDER...: a target without a fuzzer, so that ordinary builds compile the targets and show that
// their seeds still pass. Runs it over the files of the folders, each whole and cut off at every place. A
// folder that is not there is passed over, but some file must be.

#include "FuzzSupport.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

namespace
{

/// Cuts of longer files are spread over this many.
constexpr std::size_t MAX_CUTS = 512;

void run(const std::vector<char>& in_vContent, std::size_t in_uiSize)
{
    // A copy of its own, so that the sanitizer sees a read past the end.
    const std::vector<std::uint8_t> vInput(in_vContent.begin(),
                                           in_vContent.begin() + static_cast<std::ptrdiff_t>(in_uiSize));
    LLVMFuzzerTestOneInput(vInput.data(), vInput.size());
}

bool runFile(const std::filesystem::path& in_path)
{
    std::ifstream file(in_path, std::ios::binary);
    const std::vector<char> vContent{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    if (!file)
    {
        std::fprintf(stderr, "Cannot read %s\n", in_path.c_str());
        return false;
    }
    const std::size_t uiStep = std::max<std::size_t>(1, vContent.size() / MAX_CUTS);
    for (std::size_t uiSize = 0; uiSize < vContent.size(); uiSize += uiStep)
        run(vContent, uiSize);
    run(vContent, vContent.size());
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    LLVMFuzzerInitialize(&argc, &argv);
    int iFiles = 0;
    for (int i = 1; i < argc; ++i)
    {
        std::error_code error;
        for (const auto& entry : std::filesystem::directory_iterator(argv[i], error))
        {
            if (!entry.is_regular_file())
                continue;
            if (!runFile(entry.path()))
                return 1;
            ++iFiles;
        }
    }
    std::printf("%d files passed\n", iFiles);
    return iFiles == 0 ? 1 : 0;
}
