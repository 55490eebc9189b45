// Generator configurations: what loads saves and loads equal to itself, with and without its explanation, and
// a pass over a small recording ends.

#include "FuzzSupport.h"
#include "MLDataGeneratorFactory.h"
#include "ml-config/Explanation.h"
#include "quillcast-infra/DynLibsLoader.h"
#include "test-support/WavBuilder.h"

#include <sstream>

using namespace Vexalor;
using namespace Vexalor::MachineLearning;

namespace
{

/// 400 samples of two channels: 300 of a tone, 100 of something else.
std::string stereoRecording()
{
    using namespace Testing;
    return Wav::riff(
        Wav::fmt(8000, 2) + Wav::data(std::vector<int>(800, 1000)) + Wav::cue({{1, 0}, {2, 300}}) +
        Wav::adtl(Wav::labl(1, "SF:1000") + Wav::ltxt(1, 300) + Wav::labl(2, "OTHER") + Wav::ltxt(2, 100)));
}

std::string save(const DataGenerator& in_generator)
{
    std::ostringstream saved;
    Fuzz::require(saveDataGeneratorToStream(saved, {}, in_generator), "a loaded generator can be saved");
    return saved.str();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* in_data, std::size_t in_uiSize)
{
    static const Fuzz::MemoryFile recording(stereoRecording());
    DynLibsLoader::setRefuseAll(true);
    CountedObjPtr<DataGenerator> pGenerator;
    try
    {
        pGenerator = loadDataGenerator(Fuzz::MemoryFile(Fuzz::toText(in_data, in_uiSize)).getPath());
    }
    catch (const std::exception&)
    {
        return 0; // refused
    }
    if (pGenerator.isNull())
        return 0;
    const std::string strSaved = save(*pGenerator);
    DescribingArchive archive;
    describeDataGenerator(archive, {}, *pGenerator);
    const ArchiveDescription description = archive.finish();
    Fuzz::require(description.m_strText == strSaved, "what is described is what is saved");
    const std::string strExplained = strSaved + makeComment(description.m_root);
    for (const std::string& strText : {strSaved, strExplained})
    {
        const auto pAgain = loadDataGenerator(Fuzz::MemoryFile(strText).getPath());
        Fuzz::require(!pAgain.isNull() && save(*pAgain) == strSaved, "what was saved loads as the same");
    }
    if (!prepareDataGenerator(*pGenerator, recording.getPath(), {}) || !pGenerator->gotoStart())
        return 0;
    DoubleVector vInput;
    while (pGenerator->generateNext())
        Fuzz::require(pGenerator->getInput(vInput), "a pattern has an input");
    return 0;
}
