#include "common/FannNetwork.h"

#include "common/FannFileCheck.h"
#include "common/NetworkFile.h"
#include "quillcast-core/Assertion.h"
#include "quillcast-core/Logger.h"

#include <algorithm>
#include <clocale>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <doublefann.h>

#include <new>
#include <random>

// FANN's reader and writer on an open stream: exported, but declared in no header for users.
extern "C"
{
    struct fann* fann_create_from_fd(FILE* in_file, const char* in_name);
    int fann_save_internal_fd(struct fann* in_pFann, FILE* out_file, const char* in_name,
                              unsigned int in_uiFixed);
}

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.app.FannNetwork");

/// FANN reads and writes numbers in the locale of the process.
class ClassicLocaleScope
{
public:
    ClassicLocaleScope()
        : m_classic(newlocale(LC_ALL_MASK, "C", nullptr))
        , m_earlier(uselocale(m_classic))
    {
    }
    ~ClassicLocaleScope()
    {
        uselocale(m_earlier);
        freelocale(m_classic);
    }
    ClassicLocaleScope(const ClassicLocaleScope&) = delete;
    ClassicLocaleScope& operator=(const ClassicLocaleScope&) = delete;

private:
    locale_t m_classic;
    locale_t m_earlier;
};

/// A stream of the C library that writes into memory.
class MemoryFile
{
public:
    MemoryFile()
        : m_pFile(open_memstream(&m_pText, &m_uiSize))
    {
    }
    ~MemoryFile()
    {
        std::fclose(m_pFile);
        std::free(m_pText);
    }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    FILE* get() { return m_pFile; }
    std::string_view getText()
    {
        std::fflush(m_pFile);
        return {m_pText, m_uiSize};
    }

private:
    char* m_pText = nullptr;
    std::size_t m_uiSize = 0;
    FILE* m_pFile;
};

/// From a text that was checked; null with FANN's own reason if it refuses all the same.
fann* createFromText(const std::string& in_strText, std::string& out_strReason)
{
    const ClassicLocaleScope locale;
    MemoryFile errors;
    FILE* pFile = fmemopen(const_cast<char*>(in_strText.data()), in_strText.size(), "r");
    if (pFile == nullptr)
    {
        out_strReason = "out of memory";
        return nullptr;
    }
    fann_set_error_log(nullptr, errors.get());
    fann* pFann = fann_create_from_fd(pFile, "network");
    fann_set_error_log(nullptr, nullptr);
    std::fclose(pFile);
    out_strReason = errors.getText().substr(0, errors.getText().find('\n'));
    return pFann;
}

fann_activationfunc_enum toActivation(FannNetwork::Output in_output)
{
    switch (in_output)
    {
    case FannNetwork::Output::SIGMOID:
        return FANN_SIGMOID;
    case FannNetwork::Output::SYMMETRIC:
        return FANN_SIGMOID_SYMMETRIC;
    case FannNetwork::Output::LINEAR:
        break;
    }
    return FANN_LINEAR;
}

/// Uniform in [-1, 1), the same on every machine, which the distributions of the standard library are not.
double drawUniform(std::mt19937_64& io_generator)
{
    return std::ldexp(static_cast<double>(io_generator() >> 11), -52) - 1.0;
}

void drawWeights(fann& io_fann, std::uint64_t in_uiSeed)
{
    std::mt19937_64 generator(in_uiSeed);
    const fann_neuron* pEnd = (io_fann.last_layer - 1)->last_neuron;
    for (const fann_neuron* pNeuron = io_fann.first_layer->first_neuron; pNeuron != pEnd; ++pNeuron)
        for (unsigned int i = pNeuron->first_con; i < pNeuron->last_con; ++i)
            io_fann.weights[i] =
                std::sqrt(3.0 / (pNeuron->last_con - pNeuron->first_con)) * drawUniform(generator);
}

double countConnections(const std::vector<unsigned int>& in_vSizes)
{
    double dConnections = 0;
    for (std::size_t i = 1; i < in_vSizes.size(); ++i)
        dConnections += (in_vSizes[i - 1] + 1.0) * in_vSizes[i];
    return dConnections;
}

} // namespace

/// A network of the library's that shares the weights of another one.
struct FannNetwork::Copy
{
    explicit Copy(const fann& in_other)
        : m_fann(in_other)
        , m_vLayers(in_other.first_layer, in_other.last_layer)
        , m_vNeurons(in_other.first_layer->first_neuron, (in_other.last_layer - 1)->last_neuron)
        , m_vOutput(in_other.num_output)
    {
        const fann_neuron* pOthers = in_other.first_layer->first_neuron;
        for (fann_layer& layer : m_vLayers)
        {
            layer.first_neuron = m_vNeurons.data() + (layer.first_neuron - pOthers);
            layer.last_neuron = m_vNeurons.data() + (layer.last_neuron - pOthers);
        }
        // Only where not all are connected are the connections looked at.
        if (in_other.connection_rate < 1)
            for (unsigned int i = 0; i < in_other.total_connections; ++i)
                m_vConnections.push_back(m_vNeurons.data() + (in_other.connections[i] - pOthers));
        m_fann.first_layer = m_vLayers.data();
        m_fann.last_layer = m_vLayers.data() + m_vLayers.size();
        m_fann.connections = m_vConnections.data();
        m_fann.output = m_vOutput.data();
    }
    Copy(const Copy&) = delete;
    Copy& operator=(const Copy&) = delete;

    fann m_fann;
    std::vector<fann_layer> m_vLayers;
    std::vector<fann_neuron> m_vNeurons;
    std::vector<fann_neuron*> m_vConnections;
    std::vector<double> m_vOutput;
};

FannNetwork::FannNetwork(fann* io_pFann)
    : m_pFann(io_pFann, fann_destroy)
    , m_pRun(io_pFann)
{
    fann_set_error_log(reinterpret_cast<struct fann_error*>(io_pFann), nullptr);
}

FannNetwork::FannNetwork(const FannNetwork& in_other, std::unique_ptr<Copy> in_pCopy)
    : m_pFann(in_other.m_pFann)
    , m_pCopy(std::move(in_pCopy))
    , m_pRun(&m_pCopy->m_fann)
{
}

FannNetwork::~FannNetwork() = default;

FannNetwork* FannNetwork::newFromFile(const char* in_filename)
{
    QC_TRACE("FannNetwork::newFromFile");
    std::string strText;
    std::string strReason;
    if (readNetworkFile(in_filename, strText, strReason))
        return newFromText(strText, in_filename);
    QC_ERROR("Cannot read network file " << in_filename << ": " << strReason);
    return nullptr;
}

FannNetwork* FannNetwork::newFromText(const std::string& in_strText, const char* in_name)
{
    QC_TRACE("FannNetwork::newFromText");
    std::string strReason;
    fann* pFann = checkFannText(in_strText, strReason) ? createFromText(in_strText, strReason) : nullptr;
    if (pFann != nullptr)
        return new FannNetwork(pFann);
    QC_ERROR("Cannot read network file " << in_name << ": " << strReason);
    return nullptr;
}

FannNetwork* FannNetwork::newLayered(const std::vector<unsigned int>& in_vSizes, Output in_output,
                                     std::uint64_t in_uiSeed)
{
    QC_TRACE("FannNetwork::newLayered");
    if (!QC_CHECK(in_vSizes.size() >= 2) ||
        !QC_CHECK(std::count(in_vSizes.begin(), in_vSizes.end(), 0u) == 0))
        return nullptr;
    if (countConnections(in_vSizes) > MAX_CONNECTIONS)
    {
        QC_ERROR("A network may have up to " << MAX_CONNECTIONS << " connections, this one would have "
                                             << countConnections(in_vSizes));
        return nullptr;
    }
    fann_set_error_log(nullptr, nullptr);
    fann* pFann = fann_create_standard_array(static_cast<unsigned int>(in_vSizes.size()), in_vSizes.data());
    if (pFann == nullptr)
        throw std::bad_alloc();
    fann_set_activation_function_hidden(pFann, FANN_SIGMOID_SYMMETRIC);
    fann_set_activation_function_output(pFann, toActivation(in_output));
    drawWeights(*pFann, in_uiSeed);
    return new FannNetwork(pFann);
}

FannNetwork* FannNetwork::clone() const
{
    return new FannNetwork(*this, std::make_unique<Copy>(*m_pFann));
}

std::size_t FannNetwork::getInputSize() const
{
    return m_pRun->num_input;
}

std::size_t FannNetwork::getOutputSize() const
{
    return m_pRun->num_output;
}

std::size_t FannNetwork::getCloneSize() const
{
    const auto uiLayers = static_cast<std::size_t>(m_pRun->last_layer - m_pRun->first_layer);
    const std::size_t uiConnections = m_pRun->connection_rate < 1 ? m_pRun->total_connections : 0;
    return sizeof(*this) + sizeof(Copy) + uiLayers * sizeof(fann_layer) +
           m_pRun->total_neurons * sizeof(fann_neuron) + uiConnections * sizeof(fann_neuron*) +
           getOutputSize() * sizeof(double);
}

bool FannNetwork::isUsable(const double* in_begin, const double* in_end) const
{
    const auto uiSize = static_cast<std::size_t>(in_end - in_begin);
    const double* pBad = in_begin;
    while (pBad != in_end && std::isfinite(*pBad))
        ++pBad;
    if (uiSize == getInputSize() && pBad == in_end)
        return true;
    if (uiSize != getInputSize() && !m_bReported)
        QC_ERROR("The network takes " << getInputSize() << " inputs, the patterns have " << uiSize);
    else if (!m_bReported)
        QC_ERROR("Input " << pBad - in_begin << " of the network is " << *pBad);
    m_bReported = true;
    return false;
}

bool FannNetwork::compute(const double* in_begin, const double* in_end, DoubleVector& out_vOutput) const
{
    if (!isUsable(in_begin, in_end))
        return false;
    const double* pOutput = fann_run(m_pRun, const_cast<double*>(in_begin));
    out_vOutput.assign(pOutput, pOutput + getOutputSize());
    return true;
}

bool FannNetwork::foldInputScaling(const DoubleVector& in_vMean, const DoubleVector& in_vFactor)
{
    QC_TRACE("FannNetwork::foldInputScaling");
    if (!QC_CHECK(in_vMean.size() == getInputSize()) || !QC_CHECK(in_vFactor.size() == getInputSize()))
        return false;
    const fann_layer& layer = m_pFann->first_layer[1];
    for (const fann_neuron* pNeuron = layer.first_neuron; pNeuron != layer.last_neuron; ++pNeuron)
    {
        if (pNeuron->first_con == pNeuron->last_con)
            continue;
        double* pWeights = m_pFann->weights + pNeuron->first_con;
        for (std::size_t i = 0; i < in_vMean.size(); ++i)
        {
            pWeights[i] *= in_vFactor[i];
            pWeights[in_vMean.size()] -= pWeights[i] * in_vMean[i];
        }
    }
    return true;
}

bool FannNetwork::foldTargetScaling(const DoubleVector& in_vMean, double in_dDeviation)
{
    QC_TRACE("FannNetwork::foldTargetScaling");
    if (!QC_CHECK(in_vMean.size() == getOutputSize()))
        return false;
    const fann_neuron* pNeuron = (m_pFann->last_layer - 1)->first_neuron;
    for (std::size_t i = 0; i < in_vMean.size(); ++i, ++pNeuron)
    {
        for (unsigned int j = pNeuron->first_con; j < pNeuron->last_con; ++j)
            m_pFann->weights[j] *= in_dDeviation;
        // The last weight is the bias's, and the output its sum times the steepness.
        m_pFann->weights[pNeuron->last_con - 1] += in_vMean[i] / pNeuron->activation_steepness;
    }
    return true;
}

bool FannNetwork::foldLinearScaling(const DoubleVector& in_vSlope, const DoubleVector& in_vIntercept)
{
    QC_TRACE("FannNetwork::foldLinearScaling");
    const std::size_t uiInputs = getInputSize();
    if (in_vSlope.size() != uiInputs || in_vIntercept.size() != uiInputs)
        return false;
    const fann_neuron* pInputs = m_pFann->first_layer->first_neuron;
    std::vector<double> vWeights(m_pFann->weights, m_pFann->weights + m_pFann->total_connections);
    const fann_neuron* pEnd = (m_pFann->last_layer - 1)->last_neuron;
    for (const fann_neuron* pNeuron = pInputs; pNeuron != pEnd; ++pNeuron)
    {
        double dBias = 0.0;
        bool bHasBias = false;
        std::size_t uiBias = 0;
        for (unsigned int i = pNeuron->first_con; i < pNeuron->last_con; ++i)
        {
            const auto uiSource = static_cast<std::size_t>(m_pFann->connections[i] - pInputs);
            if (uiSource < uiInputs)
            {
                dBias += vWeights[i] * in_vIntercept[uiSource];
                vWeights[i] *= in_vSlope[uiSource];
            }
            else if (uiSource == uiInputs)
            {
                bHasBias = true;
                uiBias = i;
            }
        }
        if (bHasBias)
            vWeights[uiBias] += dBias;
        else if (dBias != 0.0)
            return false;
    }
    std::copy(vWeights.begin(), vWeights.end(), m_pFann->weights);
    return true;
}

std::string FannNetwork::getText() const
{
    QC_TRACE("FannNetwork::getText");
    const ClassicLocaleScope locale;
    MemoryFile file;
    fann_save_internal_fd(m_pFann.get(), file.get(), "network", 0);
    return std::string(file.getText());
}

} // namespace Vexalor::MachineLearning
