#pragma once

// What nearly every suite of the library uses: names, messages that are captured, a folder of its own, and
// passes over generators as text.

#include "MLDataGenerator.h"
#include "test-support/CountingResettable.h"
#include "test-support/LogCapture.h"
#include "test-support/ScriptedGenerator.h"
#include "test-support/TempDir.h"

#include <gmock/gmock.h>
#include <sstream>
#include <string>
#include <vector>

namespace Vexalor::Testing
{

using Texts = std::vector<std::string>;
using Patterns = std::vector<ScriptedGenerator::Pattern>;

inline std::string toText(const OutputStreamable& in_object)
{
    std::ostringstream text;
    in_object.write(text);
    return text.str();
}

inline std::string statusOf(MachineLearning::DataGenerator& io_generator)
{
    std::ostringstream text;
    io_generator.dumpStatus(text);
    return text.str();
}

/// What is left of a pass, an entry a pattern: "!" for each reset of the entity before it, its input, and its
/// target if it has one. Resets of the start do not count.
inline std::string readPass(MachineLearning::DataGenerator& io_generator, CountingResettable& io_entity)
{
    std::ostringstream text;
    DoubleVector vInput;
    DoubleVector vTarget;
    io_entity.m_iResets = 0;
    while (io_generator.generateNext())
    {
        text << std::string(static_cast<std::size_t>(io_entity.m_iResets), '!');
        io_entity.m_iResets = 0;
        EXPECT_TRUE(io_generator.getInput(vInput));
        text << vInput;
        if (io_generator.getTarget(vTarget))
            text << "->" << vTarget;
        text << ';';
    }
    return text.str();
}

/// A whole pass.
inline std::string readAll(MachineLearning::DataGenerator& io_generator, CountingResettable& io_entity)
{
    EXPECT_TRUE(io_generator.gotoStart());
    return readPass(io_generator, io_entity);
}

inline std::string readAll(MachineLearning::DataGenerator& io_generator)
{
    CountingResettable nobody;
    return readAll(io_generator, nobody);
}

/// Whether a file of these patterns could be written.
template <class Writer>
bool writePatterns(Writer& io_writer, const std::string& in_strPath, const Patterns& in_vPatterns)
{
    bool bWritten = io_writer.open(in_strPath.c_str());
    for (const auto& [vInput, vTarget, bReset] : in_vPatterns)
        bWritten = io_writer.write(bReset, vInput, vTarget) && bWritten;
    return io_writer.close() && bWritten;
}

/// Runs an application of the library with these arguments.
template <class Application>
int runApplication(Application& io_application, Texts in_vArguments)
{
    in_vArguments.insert(in_vArguments.begin(), "program");
    std::vector<const char*> vArguments;
    for (const std::string& strArgument : in_vArguments)
        vArguments.push_back(strArgument.c_str());
    return io_application.run(static_cast<int>(vArguments.size()), vArguments.data());
}

} // namespace Vexalor::Testing

using namespace Vexalor;
using namespace Vexalor::MachineLearning;
using namespace Vexalor::Testing;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
