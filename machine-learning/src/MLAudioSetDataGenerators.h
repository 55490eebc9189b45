#pragma once

#include "MLAudioFileDataGenerator.h"
#include "MLDataGeneratorForAMToneDetector.h"
#include "MLDataGeneratorForWidebandToneDetector.h"
#include "MLFileSetDataGenerator.h"
#include "MLVadAudioFileDataGenerator.h"

/// The sets of recordings that configuration files can name: a generator of a single recording under one of
/// the two strategies.
namespace Vexalor::MachineLearning
{

using AudioSetDataGenerator = FileSetDataGenerator<AudioFileDataGenerator, FileSetDataGeneratorNoT>;

using LowMemoryAudioSetDataGenerator =
    FileSetDataGenerator<AudioFileDataGenerator, LowMemoryFileSetDataGeneratorNoT>;

using LowMemoryAudioSetDataGeneratorForWidebandToneDetector =
    FileSetDataGenerator<DataGeneratorForWidebandToneDetector, LowMemoryFileSetDataGeneratorNoT>;

using LowMemoryAudioSetDataGeneratorForAMToneDetector =
    FileSetDataGenerator<DataGeneratorForAMToneDetector, LowMemoryFileSetDataGeneratorNoT>;

/// Has no Config of its own.
using LowMemoryVadAudioSetDataGenerator =
    FileSetDataGenerator<VadAudioFileDataGenerator, LowMemoryFileSetDataGeneratorNoT,
                         LowMemoryAudioSetDataGenerator::Config>;

} // namespace Vexalor::MachineLearning

BOOST_CLASS_EXPORT_KEY2(Vexalor::MachineLearning::AudioSetDataGenerator::Config,
                        "MLAudioSetDataGeneratorConfig")
BOOST_CLASS_EXPORT_KEY2(Vexalor::MachineLearning::AudioSetDataGenerator, "MLAudioSetDataGenerator")
BOOST_CLASS_EXPORT_KEY2(Vexalor::MachineLearning::LowMemoryAudioSetDataGenerator::Config,
                        "MLLowMemoryAudioSetDataGeneratorConfig")
BOOST_CLASS_EXPORT_KEY2(Vexalor::MachineLearning::LowMemoryAudioSetDataGenerator,
                        "MLLowMemoryAudioSetDataGenerator")
BOOST_CLASS_EXPORT_KEY2(
    Vexalor::MachineLearning::LowMemoryAudioSetDataGeneratorForWidebandToneDetector::Config,
    "MLLowMemoryAudioSetDataGeneratorForWidebandToneDetectorConfig")
BOOST_CLASS_EXPORT_KEY2(Vexalor::MachineLearning::LowMemoryAudioSetDataGeneratorForWidebandToneDetector,
                        "MLLowMemoryAudioSetDataGeneratorForWidebandToneDetector")
BOOST_CLASS_EXPORT_KEY2(Vexalor::MachineLearning::LowMemoryAudioSetDataGeneratorForAMToneDetector::Config,
                        "MLLowMemoryAudioSetDataGeneratorForAMToneDetectorConfig")
BOOST_CLASS_EXPORT_KEY2(Vexalor::MachineLearning::LowMemoryAudioSetDataGeneratorForAMToneDetector,
                        "MLLowMemoryAudioSetDataGeneratorForAMToneDetector")
BOOST_CLASS_EXPORT_KEY2(Vexalor::MachineLearning::LowMemoryVadAudioSetDataGenerator,
                        "MLLowMemoryVadAudioSetDataGenerator")
