// The limit of BinaryReadBench: records copied straight out of the block, through an interface of the same
// form with a disabled trace scope in each operation. usage: BinaryReadLimit PATTERNS.binary

#include "bench/limits/ByHand.h"

#include <cstdint>

using namespace Vexalor;

namespace
{

class BlockReader final : public Bench::PulledSource
{
public:
    explicit BlockReader(const char* in_name)
        : m_iFile(::open(in_name, O_RDONLY))
    {
    }
    ~BlockReader() override { ::close(m_iFile); }

    bool gotoStart() override
    {
        const Bench::DisabledScope scope("BlockReader::gotoStart");
        m_uiHave = m_uiAt = 0;
        if (::pread(m_iFile, m_sizes, 16, 14) != 16)
            return false;
        m_uiRecord = 2 + 8 * (m_sizes[0] + m_sizes[1]);
        return ::lseek(m_iFile, 30, SEEK_SET) == 30;
    }

    bool generateNext() override
    {
        const Bench::DisabledScope scope("BlockReader::generateNext");
        const Bench::DisabledScope inner("BlockReader::readRecord");
        if (m_uiHave - m_uiAt < m_uiRecord && !fill())
            return false;
        m_pRecord = m_vBlock.data() + m_uiAt;
        m_bTarget = m_pRecord[1 + 8 * m_sizes[0]] != 0;
        m_uiAt += 2 + 8 * m_sizes[0] + (m_bTarget ? 8 * m_sizes[1] : 0);
        return true;
    }

    bool getInput(std::vector<double>& out_vInput) override
    {
        const Bench::DisabledScope scope("BlockReader::getInput");
        out_vInput.resize(m_sizes[0]);
        std::memcpy(out_vInput.data(), m_pRecord + 1, 8 * m_sizes[0]);
        return true;
    }

    bool getTarget(std::vector<double>& out_vTarget) override
    {
        const Bench::DisabledScope scope("BlockReader::getTarget");
        if (!m_bTarget)
            return false;
        out_vTarget.resize(m_sizes[1]);
        std::memcpy(out_vTarget.data(), m_pRecord + 2 + 8 * m_sizes[0], 8 * m_sizes[1]);
        return true;
    }

    bool endedCleanly() const override { return m_uiHave == m_uiAt; }

private:
    bool fill()
    {
        std::memmove(m_vBlock.data(), m_vBlock.data() + m_uiAt, m_uiHave - m_uiAt);
        m_uiHave -= m_uiAt;
        m_uiAt = 0;
        const ssize_t iRead = ::read(m_iFile, m_vBlock.data() + m_uiHave, m_vBlock.size() - m_uiHave);
        m_uiHave += iRead > 0 ? static_cast<std::size_t>(iRead) : 0;
        return m_uiHave >= m_uiRecord;
    }

    int m_iFile;
    std::vector<char> m_vBlock = std::vector<char>(256 << 10);
    std::size_t m_uiHave = 0;
    std::size_t m_uiAt = 0;
    std::size_t m_uiRecord = 0;
    std::uint64_t m_sizes[2] = {};
    const char* m_pRecord = nullptr;
    bool m_bTarget = false;
};

} // namespace

int main(int in_iArguments, char** in_arguments)
{
    BlockReader reader(in_iArguments == 2 ? in_arguments[1] : "");
    std::vector<double> vInput;
    std::vector<double> vTarget;
    Bench::Pass pass;
    const auto times = Bench::measure(
        Bench::getRunCount(), [&] { pass = Bench::pullAll<Bench::PulledSource>(reader, vInput, vTarget); },
        Bench::wallSeconds);
    if (!pass.m_bDone)
        return 2;
    Bench::reportNanoseconds("copied out of the block", static_cast<double>(pass.m_uiPatterns), times);
    Bench::reportValue("    sum of the first inputs", pass.m_dInputSum);
    return 0;
}
