#pragma once

#include "common/Network.h"
#include "detector/DetectorContent.h"
#include "quillcast-audio/LinearAudioWindower.h"
#include "quillcast-core/CloneableObjPtr.h"
#include "quillcast-core/DescribingArchive.h"
#include "quillcast-math/FeatureComputer.h"

#include <istream>
#include <memory>
#include <string>
#include <string_view>

namespace Vexalor
{
class AudioClassifierSet;
}

namespace Vexalor::MachineLearning
{

/// A trained detector: windows, features, scaling, network and classes as one thing, which one file holds
/// (doc/detectors.md). A detector that exists has been tried: its features can be computed, its network takes
/// them and has an output for each class.
///
/// Scaling has one place: in the weights of a FANN network, or before an ONNX network.
class Detector
{
public:
    /// Reads a detector file. Null, with file and reason logged at error level, for one that cannot be read
    /// or used, however it is damaged.
    static std::unique_ptr<Detector> newFromFile(const char* in_filename);
    /// The same from a stream, which messages call in_name.
    static std::unique_ptr<Detector> newFromStream(std::istream& io_stream, const char* in_name);

    /// From its parts. Null with the reason in out_strReason.
    static std::unique_ptr<Detector> newFromContent(DetectorContent in_content, std::string& out_strReason);

    /// True for the text of a detector file, good or damaged; false for that of a generator configuration.
    static bool isDetector(std::string_view in_text);

    /// Why no detector can be made of a generator; empty when one can.
    static std::string findFault(const DataGenerator& in_generator);

    /// The name of a file without its folder and its last extension, by which scripts know its detector.
    static std::string makeName(const std::string& in_strPath);

    Detector(const Detector&) = delete;
    Detector& operator=(const Detector&) = delete;

    const DetectorContent& getContent() const { return m_content; }
    const LinearAudioWindower::Config& getWindows() const { return m_windows; }
    /// A name for each output, in their order: the classes as they are matched to labels.
    const StringVector& getClassNames() const { return m_vClassNames; }
    /// With its scaling, in the state it starts in.
    const Network& getNetwork() const { return *m_pNetwork; }

    /// From windows to outputs, for one stream; owned by the caller.
    FeatureComputerWithInputs* newComputer() const;

    /// The generator of the patterns of a recording, or of those of a list, before it is handed that file. A
    /// detector gives it away once; null, with the reason logged, when it refuses the file's kind.
    CountedObjPtr<DataGenerator> takeGeneratorFor(const char* in_inputFile) const;

    /// What its file says, as text and as a tree. Throws archive exceptions.
    ArchiveDescription describe() const;

private:
    Detector() = default;

    std::string prepare();
    std::string prepareNetwork();
    std::string prepareOnnx();
    std::string checkSizes() const;

    DetectorContent m_content;
    LinearAudioWindower::Config m_windows;
    CloneableObjPtr<FeatureComputer> m_pFeatures;
    StringVector m_vClassNames;
    std::unique_ptr<Network> m_pNetwork;
};

/// Makes the outputs of a detector an input of the scripts of a set, under that name. With in_bClassify the
/// set gets a DetectorClassifier of that name, too, for who needs no script. Before the set is frozen. False,
/// with the reason logged, when windows or rate differ, and when the name is taken or cannot be one.
bool addDetector(const Detector& in_detector, const std::string& in_strName, bool in_bClassify,
                 AudioClassifierSet& io_set);

} // namespace Vexalor::MachineLearning
