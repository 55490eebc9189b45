#pragma once

#include "test-support/Command.h"
#include "test-support/TempDir.h"
#include "test-support/WavBuilder.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace Vexalor::Testing
{

using Arguments = std::vector<std::string>;

inline Arguments operator+(Arguments in_vFirst, const Arguments& in_vMore)
{
    in_vFirst.insert(in_vFirst.end(), in_vMore.begin(), in_vMore.end());
    return in_vFirst;
}

/// A folder with a list of recordings, some of which cannot be used, and a network; programs run in it.
class ListedRecordings
{
protected:
    static constexpr const char* NAMES[] = {"a.wav",    "missing.wav", "b.wav", "c.wav",
                                            "text.wav", "d.wav",       "e.wav"};

    /// Of a generator of that kind.
    void makeList(const char* in_generator, const char* in_classes) const
    {
        for (std::uint32_t i = 0; i < 5; ++i)
            record(std::string(1, static_cast<char>('a' + i)) + ".wav", 1600 + 700 * i, 400 + 100 * i,
                   i % 2 == 0 ? "SF:1000" : "SF:1400");
        m_folder.write("text.wav", "no recording");
        std::string strList;
        for (const char* name : NAMES)
            strList += std::string(name) + '\n';
        m_folder.write("set.lst", strList);
        run("ml-config", Arguments{"write", "set.xml", "--generator", in_generator, "--feature", "energy",
                                   "--feature", "zero-crossing", "--classes", in_classes});
        run("ml-train", DATA + Arguments{"--network", "net", "--hidden", "2", "--epochs", "5"});
    }

    void record(const std::string& in_strName, std::uint32_t in_uiSize, std::uint32_t in_uiStart,
                const char* in_label) const
    {
        constexpr std::uint32_t RATE = 8000;
        std::vector<int> vSamples = toneSamples(RATE, in_uiSize, 1000, 16384);
        const std::uint32_t uiStop = in_uiSize - 300;
        for (std::uint32_t i = 0; i < vSamples.size(); ++i)
            if (i < in_uiStart || i >= uiStop)
                vSamples[i] /= 100;
        m_folder.write(
            in_strName,
            annotatedWav(RATE, vSamples, {{in_uiStart, uiStop, "VOICE"}, {in_uiStart, uiStop, in_label}}));
    }

    CommandResult run(const char* in_program, Arguments in_vArguments, int in_iExit = 0) const
    {
        in_vArguments.insert(in_vArguments.begin(), std::string(QC_BINARY_DIR "/bin/") + in_program);
        CommandResult result = runCommand(in_vArguments, m_folder.path());
        EXPECT_EQ(result.m_iExit, in_iExit) << in_program << ' ' << result.m_strErr;
        return result;
    }

    /// The report without the summaries of the set before it.
    static std::string reportOf(const CommandResult& in_result)
    {
        const std::size_t uiPlace = in_result.m_strOut.find("\nNumber of data pattern(s)");
        return uiPlace == std::string::npos ? "none" : in_result.m_strOut.substr(uiPlace);
    }

    const Arguments DATA = {"--data-gen-config", "set.xml", "--data-gen-filename", "set.lst"};
    const Arguments TEST = DATA + Arguments{"--network", "net", "--mean-square-error",
                                            "--cross-entropy-error", "--classification-error"};

    TempDir m_folder;
};

} // namespace Vexalor::Testing
