#pragma once

#include "MLDataGenerator.h"
#include "test-support/CountingResettable.h"

#include <gtest/gtest.h>
#include <sstream>
#include <string>

namespace Vexalor::Testing
{

/// The rest of a pass, one entry a pattern, "!" for a reset of the entity before it.
inline std::string readPass(MachineLearning::DataGenerator& io_generator, CountingResettable& io_entity)
{
    std::ostringstream text;
    io_entity.m_iResets = 0;
    DoubleVector vInput;
    DoubleVector vTarget;
    EXPECT_FALSE(io_generator.getInput(vInput));
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
    EXPECT_EQ(io_entity.m_iResets, 0);
    EXPECT_TRUE(io_generator.atEnd());
    EXPECT_FALSE(io_generator.generateNext()) << "the end stays the end";
    EXPECT_FALSE(io_generator.getInput(vInput) || io_generator.getTarget(vTarget));
    return text.str();
}

} // namespace Vexalor::Testing
