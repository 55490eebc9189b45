// Convolution: patches of the input side by side, and products of them with the weights; and what lies beside
// a tensor.

#include "onnx/Operators.h"

#include <algorithm>

namespace Vexalor::MachineLearning::Onnx
{

namespace
{

/// One dimension that a kernel moves along.
struct Track
{
    std::int64_t m_iSize;
    std::int64_t m_iKernel;
    std::int64_t m_iStep;
    std::int64_t m_iSpread;
    std::int64_t m_iBefore; ///< zeros in front
    std::int64_t m_iPlaces;
};

/// The d-th of a list of an attribute, within what sizes can be.
std::int64_t getSize(const std::vector<std::int64_t>& in_vSizes, std::size_t in_uiIndex,
                     std::int64_t in_iLeast)
{
    if (in_vSizes.empty())
        return in_iLeast;
    if (in_uiIndex >= in_vSizes.size() || in_vSizes[in_uiIndex] < in_iLeast || in_vSizes[in_uiIndex] > 65536)
        throw Refusal("pads, strides or dilations of " + toText(in_vSizes));
    return in_vSizes[in_uiIndex];
}

std::vector<Track> getTracks(Call& io_call, const Shape& in_input, const Shape& in_weights)
{
    Node& node = io_call.m_node;
    const std::string_view autoPad = node.getText("auto_pad", "NOTSET");
    const bool bSame = autoPad == "SAME_UPPER" || autoPad == "SAME_LOWER";
    if (!bSame && autoPad != "NOTSET" && autoPad != "VALID")
        throw Refusal("its attribute \"auto_pad\" is " + toText(autoPad));
    const std::vector<std::int64_t> vPads = node.getIntegers("pads");
    const std::vector<std::int64_t> vSteps = node.getIntegers("strides");
    const std::vector<std::int64_t> vSpreads = node.getIntegers("dilations");
    const std::vector<std::int64_t> vKernel = node.getIntegers("kernel_shape");
    if (!vKernel.empty() &&
        !std::equal(vKernel.begin(), vKernel.end(), in_weights.begin() + 2, in_weights.end()))
        throw Refusal("a kernel of " + toText(vKernel) + ", but weights of " + toText(in_weights));
    std::vector<Track> vTracks;
    for (std::size_t d = 0; d + 2 < in_input.size(); ++d)
    {
        Track track{in_input[d + 2], in_weights[d + 2], getSize(vSteps, d, 1), getSize(vSpreads, d, 1), 0, 0};
        const std::int64_t iReach = (track.m_iKernel - 1) * track.m_iSpread + 1;
        std::int64_t iPads = 0;
        if (bSame)
        {
            iPads = std::max<std::int64_t>(
                ((track.m_iSize - 1) / track.m_iStep) * track.m_iStep + iReach - track.m_iSize, 0);
            track.m_iBefore = (iPads + (autoPad == "SAME_LOWER" ? 1 : 0)) / 2;
        }
        else if (autoPad == "NOTSET")
        {
            track.m_iBefore = getSize(vPads, d, 0);
            iPads = track.m_iBefore + getSize(vPads, d + in_input.size() - 2, 0);
        }
        if (track.m_iSize + iPads < iReach)
            throw Refusal("a kernel that reaches over " + std::to_string(iReach) + " of " +
                          std::to_string(track.m_iSize + iPads) + " elements");
        track.m_iPlaces = (track.m_iSize + iPads - iReach) / track.m_iStep + 1;
        vTracks.push_back(track);
    }
    return vTracks;
}

/// The element under in_iTap of the kernel when it stands at in_iPlace, both counted over all dimensions;
/// NOTHING beside the input.
std::uint32_t findTap(const std::vector<Track>& in_vTracks, std::int64_t in_iPlace, std::int64_t in_iTap)
{
    std::int64_t iSource = 0;
    std::int64_t iStride = 1;
    for (std::size_t d = in_vTracks.size(); d-- > 0;)
    {
        const Track& track = in_vTracks[d];
        const std::int64_t iAt = in_iPlace % track.m_iPlaces * track.m_iStep +
                                 in_iTap % track.m_iKernel * track.m_iSpread - track.m_iBefore;
        if (iAt < 0 || iAt >= track.m_iSize)
            return Builder::NOTHING;
        iSource += iAt * iStride;
        iStride *= track.m_iSize;
        in_iPlace /= track.m_iPlaces;
        in_iTap /= track.m_iKernel;
    }
    return static_cast<std::uint32_t>(iSource);
}

/// Patches of shape [batch x groups, places, channels of a group x taps].
Value gatherPatches(Builder& io_builder, const Value& in_value, const std::vector<Track>& in_vTracks,
                    std::int64_t in_iGroups, std::int64_t in_iChannels)
{
    std::int64_t iPlaces = 1;
    std::int64_t iTaps = 1;
    for (const Track& track : in_vTracks)
    {
        iPlaces *= track.m_iPlaces;
        iTaps *= track.m_iKernel;
        countElements({iPlaces, iTaps}); // bounds both
    }
    const Shape shape{in_value.m_shape[0] * in_iGroups, iPlaces, in_iChannels * iTaps};
    const auto uiPlane = static_cast<std::uint32_t>(countPart(in_value.m_shape, 2, in_value.m_shape.size()));
    std::vector<std::uint32_t> vSources = io_builder.newSources(shape);
    for (std::int64_t iGroup = 0; iGroup < shape[0]; ++iGroup)
        for (std::int64_t iPlace = 0; iPlace < iPlaces; ++iPlace)
            for (std::int64_t iChannel = iGroup * in_iChannels; iChannel < (iGroup + 1) * in_iChannels;
                 ++iChannel)
                for (std::int64_t iTap = 0; iTap < iTaps; ++iTap)
                {
                    const std::uint32_t uiTap = findTap(in_vTracks, iPlace, iTap);
                    vSources.push_back(uiTap == Builder::NOTHING
                                           ? uiTap
                                           : static_cast<std::uint32_t>(iChannel) * uiPlane + uiTap);
                }
    return io_builder.gather(in_value, shape, std::move(vSources));
}

} // namespace

void buildConv(Call& io_call)
{
    Builder& builder = io_call.m_builder;
    const Value& value = io_call.at(0);
    const Value& weights = io_call.getConstant(1, "W");
    const std::int64_t iGroups = io_call.m_node.getInteger("group", 1);
    const Shape& shape = value.m_shape;
    if (shape.size() < 3 || weights.m_shape.size() != shape.size() || weights.getCount() == 0 ||
        iGroups < 1 || iGroups > shape[1] || weights.m_shape[1] * iGroups != shape[1] ||
        weights.m_shape[0] % iGroups != 0)
        throw Refusal("weights of shape " + toText(weights.m_shape) + " for an input of shape " +
                      toText(shape) + " in " + std::to_string(iGroups) + " groups");
    const std::vector<Track> vTracks = getTracks(io_call, shape, weights.m_shape);
    const Value patches = gatherPatches(builder, value, vTracks, iGroups, weights.m_shape[1]);
    const auto uiOutputs = static_cast<std::size_t>(weights.m_shape[0] / iGroups);
    const auto uiPlaces = static_cast<std::size_t>(patches.m_shape[1]);
    const auto uiInner = static_cast<std::size_t>(patches.m_shape[2]);

    const Place bias = builder.locate(
        io_call.has(2)
            ? builder.reshape(io_call.at(2), {weights.m_shape[0]})
            : builder.newConstant({weights.m_shape[0]},
                                  std::vector<float>(uiOutputs * static_cast<std::size_t>(iGroups))));
    const Value products = builder.newValue(
        {patches.m_shape[0], patches.m_shape[1], static_cast<std::int64_t>(uiOutputs)}, value.isConstant());
    const std::vector<float> vElements = builder.copyElements(weights);
    std::vector<std::shared_ptr<const PackedMatrix>> vMatrices;
    for (std::size_t g = 0; g < static_cast<std::size_t>(iGroups); ++g)
        vMatrices.push_back(
            builder.pack(&vElements[g * uiOutputs * uiInner], uiInner, uiOutputs, 1, uiInner));
    for (std::size_t i = 0; i < static_cast<std::size_t>(patches.m_shape[0]); ++i)
        builder.multiply(value.isConstant(), builder.locate(patches) + i * uiPlaces * uiInner, uiPlaces,
                         vMatrices[i % vMatrices.size()], bias + i % vMatrices.size() * uiOutputs,
                         products.m_place + i * uiPlaces * uiOutputs);

    Shape outputShape{shape[0], weights.m_shape[0]};
    for (const Track& track : vTracks)
        outputShape.push_back(track.m_iPlaces);
    io_call.give(builder.reshape(builder.permute(products, {0, 2, 1}), outputShape));
}

void buildPad(Call& io_call)
{
    const Value& value = io_call.at(0);
    const std::size_t uiRank = value.m_shape.size();
    const std::vector<std::int64_t> vPads = getList(io_call, 1, "pads");
    const std::string_view mode = io_call.m_node.getText("mode", "constant");
    float fValue = io_call.m_node.getReal("value", 0.0F);
    if (io_call.has(2))
        fValue = *io_call.m_builder.locate(io_call.getConstant(2, "constant_value")).in(nullptr);
    if (mode != "constant" || fValue != 0.0F)
        throw Refusal("only zeros are supported beside a tensor");
    std::vector<Track> vTracks;
    Shape shape;
    for (std::size_t d = 0; d < uiRank; ++d)
    {
        const std::int64_t iBefore = getSize(vPads, d, 0);
        const std::int64_t iSize = value.m_shape[d] + iBefore + getSize(vPads, d + uiRank, 0);
        vTracks.push_back({value.m_shape[d], 1, 1, 1, iBefore, iSize});
        shape.push_back(iSize);
    }
    std::vector<std::uint32_t> vSources = io_call.m_builder.newSources(shape);
    const auto iCount = static_cast<std::int64_t>(countElements(shape));
    for (std::int64_t i = 0; i < iCount; ++i)
        vSources.push_back(findTap(vTracks, i, 0));
    io_call.give(io_call.m_builder.gather(value, shape, std::move(vSources)));
}

} // namespace Vexalor::MachineLearning::Onnx
