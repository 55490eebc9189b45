#pragma once

#include "Library.h"
#include "MLDataGenerator.h"
#include "MLPatternBatch.h"
#include "MLScalingDataGenerator.h"

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

namespace Vexalor::Python
{

using MachineLearning::DataGenerator;
using MachineLearning::PatternBatch;
using MachineLearning::ScalingDataGenerator;

/// How a generator is made, so that it can be made again: in another process, or for a share of its patterns.
struct Recipe
{
    enum class Kind
    {
        CONFIGURATION, ///< m_strConfiguration is that of a generator
        DETECTOR,      ///< it is a detector file
        PATTERN_FILE   ///< there is none, and m_strInput is a pattern file
    };
    /// What a share counts.
    enum class Unit
    {
        SEQUENCE,
        PATTERN, ///< each is a sequence then
        STRETCH  ///< of a list of recordings, and nothing else of it is read; sequences where there is none
    };

    Kind m_kind = Kind::CONFIGURATION;
    std::string m_strConfiguration;
    std::string m_strInput;
    bool m_bCached = false;
    std::optional<ScalingDataGenerator::Config> m_scaling;
    std::uint64_t m_uiShare = 0;
    std::uint64_t m_uiShares = 1;
    Unit m_unit = Unit::STRETCH;
};

/// A generator as Python holds it: one class for all of them, which finds what a generator can do. In a
/// process that was forked it reads files of its own. Used by one thread at a time; a second one gets a
/// Failure. What fails throws a Failure.
class PatternStream
{
public:
    explicit PatternStream(const Recipe& in_recipe);

    const Recipe& getRecipe() const { return m_recipe; }
    /// What is pulled.
    const CountedObjPtr<DataGenerator>& getGenerator() const { return m_pGenerator; }
    /// The generator of the configuration, without what is wrapped around it.
    const CountedObjPtr<DataGenerator>& getInnerGenerator() const { return m_pInner; }

    /// Begins a pass and returns its number; a pass before it has ended with that.
    std::uint64_t startPass();
    /// Up to so many patterns of a pass that has begun; Python's None at the end. Throws what a handler of a
    /// signal has raised.
    py::object nextBatch(std::uint64_t in_uiPass, std::size_t in_uiSize);

    /// Patterns of a pass, and those of them that have a target; reads each as a program in C++ does, one by
    /// one. Throws as nextBatch does.
    std::pair<std::uint64_t, std::uint64_t> count();

    /// For who begins passes that he does not end.
    void fillCache();

    /// A generator that pulls the same patterns and lets signals through, for the library; opens the files of
    /// this process. A pass before it has ended with that.
    CountedObjPtr<DataGenerator> newInterruptible();

    /// For an Exclusive.
    bool& getUse() { return m_bUsed; }

private:
    bool isForked() const;
    bool isCutShort() const;
    void open();
    bool build();
    bool isStretch() const;
    bool takeInput(DataGenerator& io_generator) const;
    CountedObjPtr<DataGenerator> takeShare(const CountedObjPtr<DataGenerator>& in_pSource);
    void keepScaling();
    void fill(std::size_t in_uiSize);
    void noteEnd();
    bool countPiece(std::uint64_t& io_uiPatterns, std::uint64_t& io_uiTargets);
    py::object takeBatch();

    Recipe m_recipe;
    CountedObjPtr<DataGenerator> m_pInner;
    CountedObjPtr<DataGenerator> m_pGenerator;
    CountedObjPtr<ScalingDataGenerator> m_pScaling; ///< null without scaling
    PatternBatch m_batch;
    std::uint64_t m_uiPass = 0;
    unsigned int m_uiForks = 0; ///< of the process that opened the files
    DoubleVector m_vInput;      ///< of the pattern that is counted
    DoubleVector m_vTarget;
    bool m_bUsed = false;
    bool m_bAtEnd = false;    ///< of the pass
    std::string m_strFailure; ///< why the pass did not end well, told when its last patterns were taken
};

} // namespace Vexalor::Python
