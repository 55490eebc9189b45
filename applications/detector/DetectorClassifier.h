#pragma once

#include "XprClassifierSet.h"
#include "quillcast-core/StringVector.h"

#include <string>

namespace Vexalor::MachineLearning
{

/// A classifier whose result are the outputs of a detector that is an input of its set: an entry for each
/// class, in the order of the outputs and under its name.
class DetectorClassifier final : public XprClassifierSet::ClassifierImpl
{
public:
    /// The name of the input, which is added to the set as well.
    DetectorClassifier(const std::string& in_strInput, const StringVector& in_vClassNames)
        : m_strInput(in_strInput)
        , m_vClassNames(in_vClassNames)
    {
    }

    DetectorClassifier* clone() const override { return new DetectorClassifier(*this); }

protected:
    bool classify_i(Classifier::Result& io_result) override;

private:
    DetectorClassifier(const DetectorClassifier& in_other);

    std::string m_strInput;
    StringVector m_vClassNames;
    CountedObjPtr<Math::Xpr::Variable> m_pVariable; ///< null before the first window
    DoubleVector m_vOutputs;
};

} // namespace Vexalor::MachineLearning
