#include "ml-classify/RawSamples.h"

#include "quillcast-core/Logger.h"

#include <algorithm>
#include <bit>
#include <iterator>
#include <utility>

namespace Vexalor
{

namespace
{

constinit Logger s_logger("quillcast.app.RawSamples");

/// A whole number of BYTES bytes, its sign bit first in its last byte.
template <int BYTES>
double decodeInteger(const unsigned char* in_pBytes)
{
    const auto uiValue = readLittleEndian<std::uint32_t>(in_pBytes, BYTES) << (32 - 8 * BYTES);
    return std::bit_cast<std::int32_t>(uiValue) / 2147483648.0;
}

double decodeUnsigned8(const unsigned char* in_pBytes)
{
    return (*in_pBytes - 128) / 128.0;
}

template <class Real, class Unsigned>
double decodeReal(const unsigned char* in_pBytes)
{
    return std::bit_cast<Real>(readLittleEndian<Unsigned>(in_pBytes));
}

/// ITU-T G.711, mu-law: sign, three bits of exponent and four of mantissa, all inverted.
double decodeMuLaw(const unsigned char* in_pBytes)
{
    constexpr int BIAS = 0x84;
    const int iCode = ~*in_pBytes;
    const int iMagnitude = ((((iCode & 0x0F) << 3) + BIAS) << ((iCode & 0x70) >> 4)) - BIAS;
    return ((iCode & 0x80) != 0 ? -iMagnitude : iMagnitude) / 32768.0;
}

/// ITU-T G.711, A-law: the same with every other bit inverted, and the first segment linear.
double decodeALaw(const unsigned char* in_pBytes)
{
    const int iCode = *in_pBytes ^ 0x55;
    const int iExponent = (iCode & 0x70) >> 4;
    const int iMantissa = ((iCode & 0x0F) << 4) + 8;
    const int iMagnitude = iExponent == 0 ? iMantissa : (iMantissa + 0x100) << (iExponent - 1);
    return ((iCode & 0x80) != 0 ? iMagnitude : -iMagnitude) / 32768.0;
}

constexpr SampleEncoding ENCODINGS[] = {
    {"s16", 2, decodeInteger<2>},
    {"s24", 3, decodeInteger<3>},
    {"s32", 4, decodeInteger<4>},
    {"u8", 1, decodeUnsigned8},
    {"f32", 4, decodeReal<float, std::uint32_t>},
    {"f64", 8, decodeReal<double, std::uint64_t>},
    {"mulaw", 1, decodeMuLaw},
    {"alaw", 1, decodeALaw},
};

} // namespace

const SampleEncoding* SampleEncoding::find(const std::string& in_strName)
{
    const auto* itEncoding =
        std::find_if(std::begin(ENCODINGS), std::end(ENCODINGS),
                     [&](const SampleEncoding& in_encoding) { return in_strName == in_encoding.m_name; });
    return itEncoding == std::end(ENCODINGS) ? nullptr : itEncoding;
}

std::string SampleEncoding::listNames()
{
    std::string strNames;
    for (const SampleEncoding& encoding : ENCODINGS)
        strNames += (strNames.empty() ? "" : ", ") + std::string(encoding.m_name);
    return strNames;
}

RawSampleReader::RawSampleReader(ByteStream& io_stream, const SampleLayout& in_layout)
    : m_stream(io_stream)
    , m_layout(in_layout)
    , m_uiFrameBytes(in_layout.m_uiChannels * in_layout.m_pEncoding->m_uiBytes)
    , m_uiLeft(in_layout.m_uiBytes)
{
    if (m_layout.m_uiChannels == 1)
        m_layout.m_iChannel = 0;
}

std::size_t RawSampleReader::read(double* out_samples, std::size_t in_uiCount)
{
    if (m_bFinished || m_uiLeft < m_uiFrameBytes || !m_stream.await(m_uiFrameBytes))
    {
        if (!std::exchange(m_bFinished, true))
            finish();
        return 0;
    }
    const auto uiFrames = static_cast<std::size_t>(std::min<std::uint64_t>(
        {in_uiCount, m_stream.getCount() / m_uiFrameBytes, m_uiLeft / m_uiFrameBytes}));
    const unsigned char* pFrame = m_stream.getBytes();
    for (std::size_t i = 0; i < uiFrames; ++i, pFrame += m_uiFrameBytes)
        out_samples[i] = decodeFrame(pFrame);
    m_stream.consume(uiFrames * m_uiFrameBytes);
    if (m_uiLeft != SampleLayout::OPEN_END)
        m_uiLeft -= uiFrames * m_uiFrameBytes;
    return uiFrames;
}

/// One channel, or the mean, added up in the order of the channels, as recordings are read.
double RawSampleReader::decodeFrame(const unsigned char* in_pFrame) const
{
    const SampleEncoding& encoding = *m_layout.m_pEncoding;
    if (m_layout.m_iChannel >= 0)
        return encoding.m_decode(in_pFrame +
                                 static_cast<std::size_t>(m_layout.m_iChannel) * encoding.m_uiBytes);
    double dSum = 0.0;
    for (std::size_t i = 0; i < m_layout.m_uiChannels; ++i)
        dSum += encoding.m_decode(in_pFrame + i * encoding.m_uiBytes);
    return dSum / m_layout.m_uiChannels;
}

void RawSampleReader::finish()
{
    const std::size_t uiRest = m_stream.getCount();
    if (m_uiLeft < m_uiFrameBytes)
        m_stream.skip(SampleLayout::OPEN_END);
    else if (m_stream.getError().empty() && m_layout.m_bRecording && m_uiLeft != SampleLayout::OPEN_END)
        QC_WARN("The recording on standard input is shorter than its header says");
    m_bInputError = !m_stream.getError().empty() || (!m_layout.m_bRecording && uiRest > 0);
    if (!m_stream.getError().empty())
        QC_ERROR("Cannot read samples: " << m_stream.getError());
    else if (m_bInputError)
        QC_ERROR("The samples end within a sample: " << uiRest << " of " << m_uiFrameBytes << " bytes");
}

} // namespace Vexalor
