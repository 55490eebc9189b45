// The peer of BinaryReadBench: the same patterns in an HDF5 file, a row each and contiguous, read in batches
// and pulled one by one through an interface of the same form. usage: Hdf5ReadLimit PATTERNS.raw PATTERNS.h5
// The file is made from the bare doubles when it is not there.

#include "bench/Bench.h"

#include <cstring>
#include <filesystem>
#include <fstream>
#include <hdf5.h>

using namespace Vexalor;

namespace
{

constexpr std::size_t NB_INPUTS = 40;
constexpr std::size_t NB_TARGETS = 3;
constexpr std::size_t NB_VALUES = NB_INPUTS + NB_TARGETS;
constexpr hsize_t BATCH = 1024;
constexpr const char* SET = "patterns";

/// Selects a batch of rows, as far as there are so many; the caller closes what it gets: the shape in memory.
hid_t selectBatch(hid_t in_space, hsize_t in_uiFirst, const hsize_t (&in_sizes)[2])
{
    const hsize_t from[2] = {in_uiFirst, 0};
    const hsize_t size[2] = {std::min(BATCH, in_sizes[0] - in_uiFirst), in_sizes[1]};
    H5Sselect_hyperslab(in_space, H5S_SELECT_SET, from, nullptr, size, nullptr);
    return H5Screate_simple(2, size, nullptr);
}

/// What the other side pulls its patterns through.
struct Generator
{
    virtual ~Generator() = default;
    virtual bool gotoStart() = 0;
    virtual bool generateNext() = 0;
    virtual bool getInput(std::vector<double>& out_vInput) = 0;
    virtual bool getTarget(std::vector<double>& out_vTarget) = 0;
    virtual bool endedCleanly() const = 0;
};

class BatchReader final : public Generator
{
public:
    BatchReader(const char* in_file, std::size_t in_uiInputs)
        : m_file(H5Fopen(in_file, H5F_ACC_RDONLY, H5P_DEFAULT))
        , m_set(H5Dopen2(m_file, SET, H5P_DEFAULT))
        , m_space(H5Dget_space(m_set))
        , m_uiInputs(in_uiInputs)
    {
        H5Sget_simple_extent_dims(m_space, m_sizes, nullptr);
        m_vRows.resize(BATCH * m_sizes[1]);
    }
    ~BatchReader() override
    {
        H5Sclose(m_space);
        H5Dclose(m_set);
        H5Fclose(m_file);
    }
    BatchReader(const BatchReader&) = delete;
    BatchReader& operator=(const BatchReader&) = delete;

    bool gotoStart() override
    {
        m_uiNext = 0;
        m_bClean = true;
        return true;
    }
    bool generateNext() override
    {
        if (m_uiNext == m_sizes[0] || (m_uiNext % BATCH == 0 && !readBatch()))
            return false;
        m_pRow = m_vRows.data() + m_uiNext % BATCH * m_sizes[1];
        ++m_uiNext;
        return true;
    }
    bool getInput(std::vector<double>& out_vInput) override
    {
        out_vInput.resize(m_uiInputs);
        std::memcpy(out_vInput.data(), m_pRow, m_uiInputs * sizeof(double));
        return true;
    }
    bool getTarget(std::vector<double>& out_vTarget) override
    {
        out_vTarget.resize(m_sizes[1] - m_uiInputs);
        std::memcpy(out_vTarget.data(), m_pRow + m_uiInputs, out_vTarget.size() * sizeof(double));
        return true;
    }
    bool endedCleanly() const override { return m_bClean; }

private:
    bool readBatch()
    {
        const hid_t rows = selectBatch(m_space, m_uiNext, m_sizes);
        m_bClean = H5Dread(m_set, H5T_NATIVE_DOUBLE, rows, m_space, H5P_DEFAULT, m_vRows.data()) >= 0;
        H5Sclose(rows);
        return m_bClean;
    }

    hid_t m_file;
    hid_t m_set;
    hid_t m_space;
    hsize_t m_sizes[2] = {};
    std::size_t m_uiInputs;
    std::vector<double> m_vRows;
    const double* m_pRow = nullptr;
    hsize_t m_uiNext = 0;
    bool m_bClean = true;
};

/// In batches as well: the page cache keeps a file that comes in one piece in larger pages, and reads it
/// faster.
bool writeBatches(hid_t in_set, hid_t in_space, const hsize_t (&in_sizes)[2],
                  const std::vector<double>& in_vValues)
{
    bool bWritten = true;
    for (hsize_t uiFirst = 0; bWritten && uiFirst < in_sizes[0]; uiFirst += BATCH)
    {
        const hid_t rows = selectBatch(in_space, uiFirst, in_sizes);
        bWritten = H5Dwrite(in_set, H5T_NATIVE_DOUBLE, rows, in_space, H5P_DEFAULT,
                            in_vValues.data() + uiFirst * in_sizes[1]) >= 0;
        H5Sclose(rows);
    }
    return bWritten;
}

bool makeFile(const char* in_raw, const char* in_file)
{
    std::ifstream raw(in_raw, std::ios::binary | std::ios::ate);
    std::vector<double> vValues(raw ? static_cast<std::size_t>(raw.tellg()) / sizeof(double) : 0);
    raw.seekg(0);
    raw.read(reinterpret_cast<char*>(vValues.data()),
             static_cast<std::streamsize>(vValues.size() * sizeof(double)));
    const hsize_t sizes[2] = {vValues.size() / NB_VALUES, NB_VALUES};
    if (!raw || sizes[0] == 0)
        return false;
    const hid_t file = H5Fcreate(in_file, H5F_ACC_TRUNC, H5P_DEFAULT, H5P_DEFAULT);
    const hid_t space = H5Screate_simple(2, sizes, nullptr);
    const hid_t set = H5Dcreate2(file, SET, H5T_IEEE_F64LE, space, H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT);
    const bool bWritten = writeBatches(set, space, sizes, vValues);
    H5Dclose(set);
    H5Sclose(space);
    return H5Fclose(file) >= 0 && bWritten;
}

} // namespace

int main(int in_iArguments, char** in_arguments)
{
    if (in_iArguments != 3)
        return 2;
    if (!std::filesystem::exists(in_arguments[2]) && !makeFile(in_arguments[1], in_arguments[2]))
        return 2;
    std::vector<double> vInput;
    std::vector<double> vTarget;
    BatchReader reader(in_arguments[2], NB_INPUTS);
    Bench::Pass pass;
    const auto times = Bench::measure(
        Bench::getRunCount(), [&] { pass = Bench::pullAll<Generator>(reader, vInput, vTarget); },
        Bench::wallSeconds);
    if (!pass.m_bDone)
        return 1;
    Bench::reportNanoseconds("HDF5, batches of 1024 rows", static_cast<double>(pass.m_uiPatterns), times);
    Bench::reportValue("    sum of the first inputs", pass.m_dInputSum);
    Bench::reportValue("    sum of the last targets", pass.m_dTargetSum);
    return 0;
}
