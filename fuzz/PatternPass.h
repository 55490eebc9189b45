#pragma once

#include "FuzzSupport.h"
#include "MLDataGenerator.h"

#include <string>

namespace Vexalor::Fuzz
{

/// Writes the mark of a new sequence.
struct Marker : public virtual Resettable
{
    bool reset() override
    {
        m_strText += "reset\n";
        return true;
    }
    std::string m_strText;
};

/// What a pass delivers, as a text pattern file.
template <class Generator>
std::string readPass(Generator& io_generator)
{
    const CountedObjPtr<Marker> pMarker(new Marker);
    io_generator.setEntityToReset(pMarker);
    require(io_generator.gotoStart(), "a pass starts");
    std::string& strText = pMarker->m_strText;
    strText.clear();
    DoubleVector vInput;
    while (io_generator.generateNext())
    {
        DoubleVector vTarget;
        require(io_generator.getInput(vInput), "a pattern has an input");
        io_generator.getTarget(vTarget);
        vInput.appendTo(strText);
        vTarget.appendTo(strText += ' ');
        strText += '\n';
    }
    require(io_generator.atEnd(), "a pass ends");
    return strText;
}

/// What the passes over a file of such bytes deliver.
template <class Generator>
std::string readTwice(const std::string& in_strContent, bool in_bClean = true)
{
    const MemoryFile file(in_strContent);
    Generator generator;
    generator.setCurrentFilename(file.getPath());
    const std::string strFirst = readPass(generator);
    require(generator.endedCleanly() || !in_bClean, "a pass ends cleanly");
    require(readPass(generator) == strFirst, "the second pass delivers the same");
    return strFirst;
}

} // namespace Vexalor::Fuzz
