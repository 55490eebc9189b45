#pragma once

#include "MLDataGenerator.h"
#include "MLGeneratorFacts.h"

#include <string>

namespace Vexalor::MachineLearning
{

/// What the readers of pattern files share: they have a name until they open it, and mark sequences.
class PatternFileDataGenerator
    : public virtual FileDataGenerator
    , public virtual MultiPassDataGenerator
    , public virtual GeneratorWithFacts
{
public:
    /// Used by the first gotoStart; an open file is read on. False for null.
    bool setCurrentFilename(const char* in_filename) override;
    const char* getCurrentFilename() const override { return m_strFilename.c_str(); }

    bool setEntityToReset(Handle<Resettable, ReferenceCount> in_entity) override
    {
        m_pEntityToReset = in_entity;
        return true;
    }

    GeneratorFacts getFacts() const override { return {}; }

protected:
    std::string m_strFilename;
    Handle<Resettable, ReferenceCount> m_pEntityToReset;
};

} // namespace Vexalor::MachineLearning
