#include "ml-train/TrainingOptions.h"

#include "quillcast-infra/ApplicationImpl.h"
#include "quillcast-infra/CommandLineError.h"

#include <charconv>
#include <limits>

namespace Vexalor::MachineLearning::TrainingOptions
{

namespace
{

constexpr unsigned int MOST = 1'000'000'000;

/// "20,10": two layers; "0": none.
std::vector<unsigned int> parseLayers(const std::string& in_strText)
{
    std::vector<unsigned int> vSizes;
    if (in_strText == "0")
        return vSizes;
    const char* pText = in_strText.data();
    const char* pEnd = pText + in_strText.size();
    while (true)
    {
        unsigned int uiSize = 0;
        const auto result = std::from_chars(pText, pEnd, uiSize);
        if (result.ec != std::errc() || uiSize == 0 || uiSize > MOST)
            break;
        vSizes.push_back(uiSize);
        if (result.ptr == pEnd)
            return vSizes;
        if (*result.ptr != ',')
            break;
        pText = result.ptr + 1;
    }
    throw CommandLineError("option '--hidden': '" + in_strText + "' is neither 0 nor sizes joined by commas");
}

FannTrainer::Method parseMethod(const std::string& in_strText)
{
    if (in_strText == "rprop")
        return FannTrainer::Method::RPROP;
    if (in_strText == "adam")
        return FannTrainer::Method::ADAM;
    throw CommandLineError("option '--training': '" + in_strText + "' is neither rprop nor adam");
}

} // namespace

void addOptions(options_description& io_options)
{
    auto addOption = io_options.add_options();
    const auto text = [](const char* in_default, const char* in_name = "N")
    {
        return value<std::string>()->value_name(in_name)->default_value(in_default);
    };
    addOption("hidden", text("20", "LIST"), "sizes of the hidden layers, joined by commas; 0: none");
    addOption("training", text("rprop", "METHOD"),
              "rprop, a step an epoch, or adam, a step a batch, of fewer epochs");
    addOption("batch", text("64"), "patterns in a batch of adam");
    addOption("learning-rate", text("0.003", "X"), "length of the first steps of adam");
    addOption("epochs", text("200"), "most epochs to train");
    addOption("seed", text("1"), "seed of the start weights");
    addOption("desired-error", text("0", "X"), "stop at this mean square error of an epoch");
    addOption("hold-out", text("0"),
              "hold out one pattern in so many and take the weights that are best for these; 0: none");
    addOption("patience", text("20"), "stop after so many epochs that are no better for what is held out");
}

FannTrainer::Settings getSettings(const variables_map& in_map)
{
    const auto getNumber = [&](const char* in_option, unsigned int in_uiMin)
    {
        return static_cast<unsigned int>(ApplicationImpl::getCount(in_map, in_option, in_uiMin, MOST));
    };
    FannTrainer::Settings settings;
    settings.m_vHiddenSizes = parseLayers(in_map["hidden"].as<std::string>());
    settings.m_method = parseMethod(in_map["training"].as<std::string>());
    settings.m_uiBatch = getNumber("batch", 1);
    settings.m_dLearningRate = ApplicationImpl::getReal(in_map, "learning-rate", 1e-9, 1.0);
    settings.m_uiEpochs = getNumber("epochs", 1);
    settings.m_uiSeed =
        ApplicationImpl::getCount(in_map, "seed", 0, std::numeric_limits<std::uint64_t>::max());
    settings.m_dDesiredError =
        ApplicationImpl::getReal(in_map, "desired-error", 0, std::numeric_limits<double>::max());
    settings.m_uiHoldOut = getNumber("hold-out", 0);
    settings.m_uiPatience = getNumber("patience", 1);
    if (settings.m_uiHoldOut == 1)
        throw CommandLineError("option '--hold-out': 1 would leave no pattern to train on");
    for (const char* pOption : {"batch", "learning-rate"})
        if (settings.m_method != FannTrainer::Method::ADAM && !in_map[pOption].defaulted())
            throw CommandLineError(std::string("option '--") + pOption + "' is of --training adam");
    return settings;
}

} // namespace Vexalor::MachineLearning::TrainingOptions
