#include "ml-annotate/AnnotationJson.h"

#include "ml-annotate/JsonWriter.h"

#include <cmath>

namespace Vexalor
{

namespace
{

void writeFormat(JsonWriter& io_json, const WavFormat& in_format)
{
    io_json.beginObject("fmt");
    io_json.number("tag", in_format.m_uiTag);
    io_json.number("channels", in_format.m_uiChannels);
    io_json.number("rate", in_format.m_uiRate);
    io_json.number("byte_rate", in_format.m_uiByteRate);
    io_json.number("block_align", in_format.m_uiBlockAlign);
    io_json.number("bits", in_format.m_uiBits);
    io_json.endObject();
}

void writeCues(JsonWriter& io_json, const std::vector<CuePoint>& in_vCues, double in_dRate)
{
    io_json.beginArray("cues");
    for (const CuePoint& cue : in_vCues)
    {
        io_json.beginObject();
        io_json.number("id", cue.m_uiId);
        io_json.number("position", cue.m_uiPosition);
        io_json.text("chunk", cue.m_strChunkId);
        io_json.number("chunk_start", cue.m_uiChunkStart);
        io_json.number("block_start", cue.m_uiBlockStart);
        io_json.number("sample_offset", cue.m_uiSampleOffset);
        io_json.text("label", cue.m_label);
        io_json.text("note", cue.m_note);
        io_json.number("time_s", cue.m_uiSampleOffset / in_dRate);
        io_json.endObject();
    }
    io_json.endArray();
}

void writeTexts(JsonWriter& io_json, const std::vector<CueText>& in_vTexts)
{
    io_json.beginArray("ltxt");
    for (const CueText& text : in_vTexts)
    {
        io_json.beginObject();
        io_json.number("cue_id", text.m_uiCueId);
        io_json.number("sample_length", text.m_uiSampleLength);
        io_json.text("purpose", text.m_strPurpose);
        io_json.number("country", text.m_uiCountry);
        io_json.number("language", text.m_uiLanguage);
        io_json.number("dialect", text.m_uiDialect);
        io_json.number("codepage", text.m_uiCodePage);
        io_json.text("text", text.m_strText);
        io_json.endObject();
    }
    io_json.endArray();
}

void writeLoops(JsonWriter& io_json, const std::vector<SampleLoop>& in_vLoops, double in_dRate)
{
    io_json.beginArray("smpl_loops");
    for (const SampleLoop& loop : in_vLoops)
    {
        io_json.beginObject();
        io_json.number("cue_id", loop.m_uiCueId);
        io_json.number("type", loop.m_uiType);
        io_json.number("start", loop.m_uiStart);
        io_json.number("end", loop.m_uiEnd);
        io_json.number("fraction", loop.m_uiFraction);
        io_json.number("play_count", loop.m_uiPlayCount);
        io_json.number("start_s", loop.m_uiStart / in_dRate);
        io_json.number("stop_s", loop.m_uiEnd / in_dRate);
        io_json.endObject();
    }
    io_json.endArray();
}

void writeAnnotations(JsonWriter& io_json, const char* in_name,
                      const std::vector<Annotation>& in_vAnnotations, double in_dRate)
{
    io_json.beginArray(in_name);
    for (const Annotation& annotation : in_vAnnotations)
    {
        io_json.beginObject();
        io_json.number("start_s", annotation.getStartTime());
        io_json.number("stop_s", annotation.getStopTime());
        io_json.number("start_sample",
                       static_cast<std::uint64_t>(std::llround(annotation.getStartTime() * in_dRate)));
        io_json.number("stop_sample",
                       static_cast<std::uint64_t>(std::llround(annotation.getStopTime() * in_dRate)));
        io_json.text("label", annotation.getLabel());
        io_json.text("note", annotation.getNote());
        io_json.endObject();
    }
    io_json.endArray();
}

} // namespace

std::string formatJson(const std::string& in_strFilename, const AnnotatedFile& in_file,
                       std::optional<std::uint64_t> in_uiDecodedFrames)
{
    const CueSheet& sheet = in_file.getCueSheet();
    const double dRate = in_file.getFormat().m_uiRate;
    JsonWriter json;
    json.beginObject();
    json.text("file", in_strFilename);
    json.text("container", in_file.getContainer());
    writeFormat(json, in_file.getFormat());
    json.number("frames", in_file.getFrameCount());
    json.number("duration_s", static_cast<double>(in_file.getFrameCount()) / dRate);
    if (in_uiDecodedFrames)
        json.number("decoded_frames", *in_uiDecodedFrames);
    json.beginArray("chunk_order");
    for (const std::string& strChunk : in_file.getChunkOrder())
        json.text(nullptr, strChunk);
    json.endArray();
    writeCues(json, sheet.m_vCues, dRate);
    json.beginObject("labels_without_cue");
    for (const auto& [uiId, strLabel] : sheet.m_labelsWithoutCue)
        json.text(std::to_string(uiId).c_str(), strLabel);
    json.endObject();
    writeTexts(json, sheet.m_vTexts);
    writeLoops(json, sheet.m_vLoops, dRate);
    writeAnnotations(json, "annotations", in_file.getAnnotations(), dRate);
    writeAnnotations(json, "markers", in_file.getMarkers(), dRate);
    json.endObject();
    return json.getText();
}

} // namespace Vexalor
