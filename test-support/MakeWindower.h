#pragma once

#include "quillcast-audio/LinearAudioWindower.h"

#include <cstdint>

namespace Vexalor::Testing
{

/// A configuration whose window and shift are given in milliseconds.
inline LinearAudioWindower::Config makeWindower(std::uint32_t in_uiRate, std::uint64_t in_uiLength,
                                                std::uint64_t in_uiShift)
{
    LinearAudioWindower::Config config;
    config.m_uiSamplingRate = in_uiRate;
    config.m_uiWindowLength = in_uiLength;
    config.m_uiWindowShift = in_uiShift;
    return config;
}

} // namespace Vexalor::Testing
