#include "MLDataConvertApplication.h"
#include "common/PatternProgress.h"

using namespace Vexalor;
using namespace Vexalor::MachineLearning;

namespace
{

/// Converts pattern files with scaling and cache chosen by the user, and shows how far it is.
class ConvertApplication : public DataConvertApplication
{
public:
    ConvertApplication()
        : DataConvertApplication("ml-convert")
    {
        addWrapperOptions();
        setDescription(
            "Writes the patterns of a generator to a pattern file, or tests that a file delivers the same.");
        setExamples("ml-convert --datagen-config text.xml --input-file p.txt \\\n"
                    "    --output-type binary --output-file p.bin\n"
                    "ml-convert --test --strict --datagen-config text.xml --input-file p.txt \\\n"
                    "    --output-datagen-config binary.xml --output-file p.bin");
    }

protected:
    bool processCmdlineVarsMap(const variables_map& in_map) override
    {
        takeWrapperOptions(in_map);
        return DataConvertApplication::processCmdlineVarsMap(in_map);
    }

    DataConverter::Watch newWatch_i() override
    {
        const auto pProgress = std::make_shared<PatternProgress>(getName());
        return [this, pProgress](std::uint64_t in_uiPatterns)
        {
            if (pProgress->isDue())
                pProgress->show(in_uiPatterns, getShareRead());
            return true;
        };
    }
};

} // namespace

int main(int argc, char** argv)
{
    return runApplication<ConvertApplication>(argc, argv);
}
