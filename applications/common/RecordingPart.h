#pragma once

#include "MLFileSetDataGenerator.h"

namespace Vexalor::MachineLearning
{

/// A part of a list of recordings that one process hands to another.
struct RecordingPart : RecordingList
{
    template <class Self, class Bytes>
    static void exchange(Self& io_self, Bytes& io_bytes)
    {
        io_bytes(io_self.m_strName, io_self.m_vFilenames, io_self.m_place, io_self.m_classes, io_self.m_pass);
    }
};

} // namespace Vexalor::MachineLearning
