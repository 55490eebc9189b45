// The limit of ExpressionBench: the same work by hand. usage: ExpressionLimit RECORDING.wav

#include "bench/limits/Windows.h"

using namespace Vexalor;

int main(int in_iArguments, char** in_arguments)
{
    const Bench::Recording recording(in_iArguments == 2 ? in_arguments[1] : "");
    const Bench::Tones tones;
    std::vector<double> vEnergies;
    std::vector<double> vCrossings;
    for (long i = 0; i < recording.m_iWindows; ++i)
    {
        vEnergies.push_back(Bench::computeEnergy(recording.getWindow(i)));
        vCrossings.push_back(Bench::countCrossings(recording.getWindow(i)));
    }
    double copy[Bench::WINDOW_LENGTH];
    const auto all = [&](long in_iIndex)
    {
        std::memcpy(copy, recording.getWindow(in_iIndex), sizeof copy);
        asm volatile("" ::"r"(copy) : "memory");
        return tones.decide(copy) +
               Bench::computeFormulas(Bench::computeEnergy(copy), Bench::countCrossings(copy));
    };
    const auto formulas = [&](long in_iIndex)
    {
        const auto uiIndex = static_cast<std::size_t>(in_iIndex);
        return Bench::computeFormulas(vEnergies[uiIndex], vCrossings[uiIndex]);
    };
    Bench::timeWindows(recording, "by hand: tones and decision",
                       [&](long in_iIndex) { return tones.decide(recording.getWindow(in_iIndex)); });
    Bench::timeWindows(recording, "by hand: 20 formulas", formulas);
    Bench::timeWindows(recording, "by hand: all four parts", all);
    return 0;
}
