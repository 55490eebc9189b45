#pragma once

#include "MLDataGenerator.h"
#include "quillcast-core/Logger.h"

#include <cstdint>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace Vexalor::MachineLearning
{

class SplitFileWriter;

/// What the writers of pattern files share: the file and its name, the sizes that the first patterns fix, and
/// whether anything was lost on the way to the disk.
class PatternFileWriter : public virtual FileDataWriter
{
public:
    bool open(const char* in_filename) override;
    const char* getCurrentFilename() const override { return m_strFilename.c_str(); }
    bool close() override;
    bool hasLost() const override { return m_bLost; }
    void setCurrentFilename(const char* in_filename) override;

    /// The next open begins a split set, whose parts are cut once they hold more than that many MiB, between
    /// two patterns.
    void setSplitSize(std::uint64_t in_uiMegabytes) { m_splitSize = in_uiMegabytes; }

protected:
    /// Messages go to the logger of the format.
    explicit PatternFileWriter(Logger& in_logger);
    ~PatternFileWriter() override;

    /// Called by open and close: for what a format keeps between them.
    virtual void begin_i() {}
    virtual void end_i() {}

    /// For destructors, which cannot tell otherwise: closes, and logs that patterns are lost.
    void closeOrTell();
    bool isOpen() const;
    /// Brings bytes to the file; m_bLost when the system refuses them or none is open.
    void writeOut(std::string_view in_bytes);
    /// Brings m_strBytes there and empties it.
    void flush();

    std::string m_strFilename;
    std::string m_strBytes;         ///< of the format, not in the file yet
    std::uint64_t m_uiNbInput = 0;  ///< 0: not fixed yet
    std::uint64_t m_uiNbTarget = 0; ///< the same
    std::uint64_t m_uiNbPattern = 0;
    bool m_bLost = false; ///< a pattern did not reach the file, or not its place

private:
    /// Right after the file was used: what it refused is lost; tells the reason, once.
    void noteLoss(bool in_bWasGood);

    bool openFile();
    void closeFile();

    Logger& m_logger;
    std::optional<std::uint64_t> m_splitSize; ///< MiB
    std::unique_ptr<SplitFileWriter> m_pSet;  ///< in place of the file
    std::ofstream m_file;
};

} // namespace Vexalor::MachineLearning
