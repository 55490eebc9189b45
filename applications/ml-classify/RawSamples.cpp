#include "ml-classify/RawSamples.h"

#include "quillcast-core/Logger.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <unistd.h>

namespace Vexalor
{

namespace
{

constinit Logger s_logger("quillcast.app.RawSamples");

template <class Unsigned>
Unsigned compose(const unsigned char* in_pBytes, std::size_t in_uiCount)
{
    Unsigned uiValue = 0;
    for (std::size_t i = 0; i < in_uiCount; ++i)
        uiValue |= static_cast<Unsigned>(in_pBytes[i]) << (8 * i);
    return uiValue;
}

/// A whole number of BYTES bytes, its sign bit first in its last byte.
template <int BYTES>
double decodeInteger(const unsigned char* in_pBytes)
{
    const auto uiValue = compose<std::uint32_t>(in_pBytes, BYTES) << (32 - 8 * BYTES);
    return std::bit_cast<std::int32_t>(uiValue) / 2147483648.0;
}

double decodeUnsigned8(const unsigned char* in_pBytes)
{
    return (*in_pBytes - 128) / 128.0;
}

template <class Real, class Unsigned>
double decodeReal(const unsigned char* in_pBytes)
{
    return std::bit_cast<Real>(compose<Unsigned>(in_pBytes, sizeof(Real)));
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

RawSampleReader::RawSampleReader(int in_iDescriptor, const SampleEncoding& in_encoding)
    : m_iDescriptor(in_iDescriptor)
    , m_encoding(in_encoding)
    , m_vBuffer(BUFFER_SIZE)
{
}

std::size_t RawSampleReader::read(double* out_samples, std::size_t in_uiCount)
{
    while (m_uiEnd - m_uiBegin < m_encoding.m_uiBytes)
        if (!fill())
            return 0;
    const std::size_t uiCount = std::min(in_uiCount, (m_uiEnd - m_uiBegin) / m_encoding.m_uiBytes);
    for (std::size_t i = 0; i < uiCount; ++i, m_uiBegin += m_encoding.m_uiBytes)
        out_samples[i] = m_encoding.m_decode(m_vBuffer.data() + m_uiBegin);
    return uiCount;
}

/// Takes what there is, and waits only while there is nothing. False at the end.
bool RawSampleReader::fill()
{
    const std::size_t uiWaiting = m_uiEnd - m_uiBegin;
    std::memmove(m_vBuffer.data(), m_vBuffer.data() + m_uiBegin, uiWaiting);
    m_uiBegin = 0;
    m_uiEnd = uiWaiting;
    ssize_t iRead = -1;
    do
        iRead = ::read(m_iDescriptor, m_vBuffer.data() + m_uiEnd, m_vBuffer.size() - m_uiEnd);
    while (iRead < 0 && errno == EINTR);
    if (iRead > 0)
    {
        m_uiEnd += static_cast<std::size_t>(iRead);
        return true;
    }
    m_bInputError = iRead < 0 || uiWaiting > 0;
    if (iRead < 0)
        QC_ERROR("Cannot read samples: " << std::strerror(errno));
    else if (uiWaiting > 0)
        QC_ERROR("The samples end within a sample: " << uiWaiting << " of " << m_encoding.m_uiBytes
                                                     << " bytes");
    return false;
}

} // namespace Vexalor
