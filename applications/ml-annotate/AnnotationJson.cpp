#include "ml-annotate/AnnotationJson.h"

#include "labels/TextEncoding.h"

#include <cmath>
#include <nlohmann/json.hpp>

namespace Vexalor
{

namespace
{

using Json = nlohmann::ordered_json;

/// Whole seconds are written without a point.
Json toJson(double in_dSeconds)
{
    return in_dSeconds == std::floor(in_dSeconds) ? Json(static_cast<std::int64_t>(in_dSeconds))
                                                  : Json(in_dSeconds);
}

Json toJson(const std::string& in_strText)
{
    return TextEncoding::toUtf8(in_strText);
}

Json toJson(const std::optional<std::string>& in_text)
{
    return in_text ? toJson(*in_text) : Json(nullptr);
}

/// An array with what a function makes of each.
template <class Items, class Describe>
Json describeAll(const Items& in_items, const Describe& in_describe)
{
    Json array = Json::array();
    for (const auto& item : in_items)
        array.push_back(in_describe(item));
    return array;
}

Json describe(const WavFormat& in_format)
{
    return {{"tag", in_format.m_uiTag},
            {"channels", in_format.m_uiChannels},
            {"rate", in_format.m_uiRate},
            {"byte_rate", in_format.m_uiByteRate},
            {"block_align", in_format.m_uiBlockAlign},
            {"bits", in_format.m_uiBits}};
}

Json describe(const CuePoint& in_cue, double in_dRate)
{
    return {{"id", in_cue.m_uiId},
            {"position", in_cue.m_uiPosition},
            {"chunk", toJson(in_cue.m_strChunkId)},
            {"chunk_start", in_cue.m_uiChunkStart},
            {"block_start", in_cue.m_uiBlockStart},
            {"sample_offset", in_cue.m_uiSampleOffset},
            {"label", toJson(in_cue.m_label)},
            {"note", toJson(in_cue.m_note)},
            {"time_s", toJson(in_cue.m_uiSampleOffset / in_dRate)}};
}

Json describe(const CueText& in_text)
{
    return {{"cue_id", in_text.m_uiCueId},
            {"sample_length", in_text.m_uiSampleLength},
            {"purpose", toJson(in_text.m_strPurpose)},
            {"country", in_text.m_uiCountry},
            {"language", in_text.m_uiLanguage},
            {"dialect", in_text.m_uiDialect},
            {"codepage", in_text.m_uiCodePage},
            {"text", toJson(in_text.m_strText)}};
}

Json describe(const SampleLoop& in_loop, double in_dRate)
{
    return {{"cue_id", in_loop.m_uiCueId},
            {"type", in_loop.m_uiType},
            {"start", in_loop.m_uiStart},
            {"end", in_loop.m_uiEnd},
            {"fraction", in_loop.m_uiFraction},
            {"play_count", in_loop.m_uiPlayCount},
            {"start_s", toJson(in_loop.m_uiStart / in_dRate)},
            {"stop_s", toJson(in_loop.m_uiEnd / in_dRate)}};
}

Json describe(const Annotation& in_annotation, double in_dRate)
{
    const auto toSample = [&](double in_dTime)
    {
        return static_cast<std::uint64_t>(std::llround(in_dTime * in_dRate));
    };
    return {{"start_s", toJson(in_annotation.getStartTime())},
            {"stop_s", toJson(in_annotation.getStopTime())},
            {"start_sample", toSample(in_annotation.getStartTime())},
            {"stop_sample", toSample(in_annotation.getStopTime())},
            {"label", toJson(in_annotation.getLabel())},
            {"note", toJson(in_annotation.getNote())}};
}

} // namespace

std::string formatJson(const std::string& in_strFilename, const AnnotatedFile& in_file,
                       std::optional<std::uint64_t> in_uiDecodedFrames)
{
    const CueSheet& sheet = in_file.getCueSheet();
    const double dRate = in_file.getFormat().m_uiRate;
    const auto describeTimed = [&](const auto& in_item)
    {
        return describe(in_item, dRate);
    };
    Json json;
    json["file"] = toJson(in_strFilename);
    json["container"] = toJson(in_file.getContainer());
    json["fmt"] = describe(in_file.getFormat());
    json["frames"] = in_file.getFrameCount();
    json["duration_s"] = toJson(static_cast<double>(in_file.getFrameCount()) / dRate);
    if (in_uiDecodedFrames)
        json["decoded_frames"] = *in_uiDecodedFrames;
    json["chunk_order"] = describeAll(in_file.getChunkOrder(),
                                      [](const std::string& in_strChunk) { return toJson(in_strChunk); });
    json["cues"] = describeAll(sheet.m_vCues, describeTimed);
    Json::object_t labels;
    for (const auto& [uiId, strLabel] : sheet.m_labelsWithoutCue)
        labels.emplace_back(std::to_string(uiId), toJson(strLabel));
    json["labels_without_cue"] = std::move(labels);
    json["ltxt"] = describeAll(sheet.m_vTexts, [](const CueText& in_text) { return describe(in_text); });
    json["smpl_loops"] = describeAll(sheet.m_vLoops, describeTimed);
    json["annotations"] = describeAll(in_file.getAnnotations(), describeTimed);
    json["markers"] = describeAll(in_file.getMarkers(), describeTimed);
    return json.dump(1);
}

} // namespace Vexalor
