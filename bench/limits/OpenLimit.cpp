// The limit of naming a recording in SetBench: opening it with libsndfile. usage: OpenLimit FOLDER

#include "bench/limits/ByHand.h"

#include <filesystem>
#include <sndfile.h>

using namespace Vexalor;

int main(int in_iArguments, char** in_arguments)
{
    std::vector<std::string> vNames;
    for (const auto& entry : std::filesystem::directory_iterator(in_iArguments == 2 ? in_arguments[1] : "."))
        vNames.push_back(entry.path().string());
    std::sort(vNames.begin(), vNames.end());
    bool bOpened = !vNames.empty();
    const auto openAll = [&]
    {
        for (const std::string& strName : vNames)
        {
            SF_INFO info{};
            SNDFILE* pFile = sf_open(strName.c_str(), SFM_READ, &info);
            bOpened = pFile != nullptr && bOpened;
            sf_close(pFile);
        }
    };
    Bench::reportNanoseconds("opened with libsndfile", static_cast<double>(vNames.size()),
                             Bench::measure(Bench::getRunCount(), openAll));
    return bOpened ? 0 : 1;
}
