#include "common/FannFileCheck.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <vector>

namespace Vexalor::MachineLearning
{

namespace
{

constexpr std::string_view MAGIC = "FANN_FLO_2.1";
constexpr unsigned int ANY_COUNT = std::numeric_limits<int>::max();
constexpr unsigned int LAST_ACTIVATION = 17;
/// No neuron is written in fewer characters: "(0, 0, 0)".
constexpr std::size_t LEAST_ENTRY = 9;

/// A field that stands alone on its line: an unsigned number of at most m_uiMax or, with REAL, any finite
/// one.
struct Field
{
    const char* m_name;
    unsigned int m_uiMax;
};
constexpr unsigned int REAL = std::numeric_limits<unsigned int>::max();

/// In the order of the file.
constexpr std::array<Field, 27> FIELDS{{{"num_layers", ANY_COUNT},
                                        {"learning_rate", REAL},
                                        {"connection_rate", REAL},
                                        {"network_type", 1},
                                        {"learning_momentum", REAL},
                                        {"training_algorithm", 4},
                                        {"train_error_function", 1},
                                        {"train_stop_function", 1},
                                        {"cascade_output_change_fraction", REAL},
                                        {"quickprop_decay", REAL},
                                        {"quickprop_mu", REAL},
                                        {"rprop_increase_factor", REAL},
                                        {"rprop_decrease_factor", REAL},
                                        {"rprop_delta_min", REAL},
                                        {"rprop_delta_max", REAL},
                                        {"rprop_delta_zero", REAL},
                                        {"cascade_output_stagnation_epochs", ANY_COUNT},
                                        {"cascade_candidate_change_fraction", REAL},
                                        {"cascade_candidate_stagnation_epochs", ANY_COUNT},
                                        {"cascade_max_out_epochs", ANY_COUNT},
                                        {"cascade_min_out_epochs", ANY_COUNT},
                                        {"cascade_max_cand_epochs", ANY_COUNT},
                                        {"cascade_min_cand_epochs", ANY_COUNT},
                                        {"cascade_num_candidate_groups", ANY_COUNT},
                                        {"bit_fail_limit", REAL},
                                        {"cascade_candidate_limit", REAL},
                                        {"cascade_weight_multiplier", REAL}}};
constexpr std::size_t NUM_LAYERS = 0;
constexpr std::size_t CONNECTION_RATE = 2;
constexpr std::size_t NETWORK_TYPE = 3;

class Checker
{
public:
    explicit Checker(std::string_view in_text)
        : m_left(in_text)
    {
    }

    bool check()
    {
        return checkMagic() && checkFields() && checkCascade() && checkLayers() && checkScaling() &&
               checkNeurons() && checkConnections() && checkEnd();
    }

    std::string getReason() const
    {
        return "line " + std::to_string(m_uiLine) + ": " + (m_field.empty() ? "" : m_field + ": ") +
               m_strReason;
    }

private:
    struct Layer
    {
        std::size_t m_uiBegin;
        std::size_t m_uiEnd;
    };

    bool fail(const std::string& in_strReason)
    {
        m_strReason = in_strReason;
        return false;
    }

    void nextLine()
    {
        const std::size_t uiEnd = std::min(m_left.find('\n'), m_left.size());
        m_line = m_left.substr(0, uiEnd);
        m_left.remove_prefix(std::min(uiEnd + 1, m_left.size()));
        ++m_uiLine;
    }

    bool startField(const std::string& in_strName)
    {
        nextLine();
        m_field = in_strName;
        if (!m_line.starts_with(in_strName + "="))
            return fail("field expected here");
        m_line.remove_prefix(in_strName.size() + 1);
        return true;
    }

    void skipBlanks() { m_line.remove_prefix(std::min(m_line.find_first_not_of(' '), m_line.size())); }

    bool endField()
    {
        skipBlanks();
        return m_line.empty() || fail("surplus text");
    }

    bool skipText(std::string_view in_text)
    {
        if (!m_line.starts_with(in_text))
            return fail("'" + std::string(in_text) + "' expected");
        m_line.remove_prefix(in_text.size());
        return true;
    }

    template <class Number>
    bool readNumber(Number& out_number)
    {
        skipBlanks();
        const auto result = std::from_chars(m_line.data(), m_line.data() + m_line.size(), out_number);
        if (result.ec != std::errc())
            return fail("number expected");
        m_line.remove_prefix(static_cast<std::size_t>(result.ptr - m_line.data()));
        return true;
    }

    bool readCount(unsigned int in_uiMax, unsigned int& out_uiCount)
    {
        if (!readNumber(out_uiCount))
            return false;
        return out_uiCount <= in_uiMax || fail("number above " + std::to_string(in_uiMax));
    }

    bool readReal(double& out_dReal)
    {
        if (!readNumber(out_dReal))
            return false;
        return std::isfinite(out_dReal) || fail("finite number expected");
    }

    bool checkMagic()
    {
        nextLine();
        return m_line == MAGIC || fail("no network file of version " + std::string(MAGIC));
    }

    bool checkFields()
    {
        for (std::size_t i = 0; i < FIELDS.size(); ++i)
            if (!startField(FIELDS[i].m_name) || !readField(FIELDS[i], m_values[i]) || !endField())
                return false;
        m_field = FIELDS[CONNECTION_RATE].m_name;
        return (m_values[CONNECTION_RATE] > 0 && m_values[CONNECTION_RATE] <= 1) || fail("not in (0, 1]");
    }

    bool readField(const Field& in_field, double& out_dValue)
    {
        if (in_field.m_uiMax == REAL)
            return readReal(out_dValue) &&
                   (std::abs(out_dValue) <= std::numeric_limits<float>::max() || fail("number too large"));
        unsigned int uiCount = 0;
        const bool bRead = readCount(in_field.m_uiMax, uiCount);
        out_dValue = uiCount;
        return bRead;
    }

    /// Settings of another way of training, which the reader takes all the same.
    bool checkCascade()
    {
        unsigned int uiCount = 0;
        unsigned int uiFunction = 0;
        double dSteepness = 0;
        if (!startField("cascade_activation_functions_count") || !readCount(ANY_COUNT, uiCount) ||
            !endField() || !startField("cascade_activation_functions"))
            return false;
        for (unsigned int i = 0; i < uiCount; ++i)
            if (!readCount(LAST_ACTIVATION, uiFunction))
                return false;
        if (!endField() || !startField("cascade_activation_steepnesses_count") ||
            !readCount(ANY_COUNT, uiCount) || !endField() || !startField("cascade_activation_steepnesses"))
            return false;
        for (unsigned int i = 0; i < uiCount; ++i)
            if (!readReal(dSteepness))
                return false;
        return endField();
    }

    /// Layers hold a bias neuron at their end, except those after the first of a shortcut network.
    bool checkLayers()
    {
        if (!startField("layer_sizes"))
            return false;
        const std::size_t uiMost = m_left.size() / LEAST_ENTRY;
        if (m_values[NUM_LAYERS] < 2)
            return fail("fewer than two layers");
        std::size_t uiBegin = 0;
        for (unsigned int i = 0; i < m_values[NUM_LAYERS]; ++i)
        {
            unsigned int uiSize = 0;
            if (!readCount(ANY_COUNT, uiSize))
                return false;
            if (uiSize < (hasBias(i) ? 2u : 1u))
                return fail("layer without neurons");
            if (uiSize > uiMost - uiBegin)
                return fail("more neurons than the file has room for");
            m_vLayers.push_back({uiBegin, uiBegin + uiSize});
            uiBegin += uiSize;
        }
        return endField();
    }

    bool isShortcut() const { return m_values[NETWORK_TYPE] == 1; }
    bool hasBias(std::size_t in_uiLayer) const { return in_uiLayer == 0 || !isShortcut(); }

    bool checkScaling()
    {
        unsigned int uiIncluded = 0;
        if (!startField("scale_included") || !readCount(1, uiIncluded) || !endField())
            return false;
        return uiIncluded == 0 || fail("networks with input scaling are not supported");
    }

    bool checkNeurons()
    {
        if (!startField("neurons (num_inputs, activation_function, activation_steepness)"))
            return false;
        for (std::size_t uiLayer = 0; uiLayer < m_vLayers.size(); ++uiLayer)
            for (std::size_t i = m_vLayers[uiLayer].m_uiBegin; i < m_vLayers[uiLayer].m_uiEnd; ++i)
                if (!checkNeuron(uiLayer, i))
                    return false;
        return endField();
    }

    bool checkNeuron(std::size_t in_uiLayer, std::size_t in_uiNeuron)
    {
        unsigned int uiConnections = 0;
        unsigned int uiFunction = 0;
        double dSteepness = 0;
        skipBlanks();
        if (!skipText("(") || !readCount(ANY_COUNT, uiConnections) || !skipText(", ") ||
            !readCount(LAST_ACTIVATION, uiFunction) || !skipText(", ") || !readReal(dSteepness) ||
            !skipText(")"))
            return false;
        const bool bIsBias = hasBias(in_uiLayer) && in_uiNeuron + 1 == m_vLayers[in_uiLayer].m_uiEnd;
        const std::size_t uiMost =
            in_uiLayer == 0 || bIsBias ? 0 : m_vLayers[in_uiLayer].m_uiBegin - firstSource(in_uiLayer);
        const std::size_t uiLeast = isFull() ? uiMost : std::min<std::size_t>(uiMost, 1);
        if (uiConnections > uiMost || uiConnections < uiLeast)
            return fail("wrong number of connections of neuron " + std::to_string(in_uiNeuron));
        if (uiConnections > 0 && dSteepness <= 0)
            return fail("steepness not above 0 of neuron " + std::to_string(in_uiNeuron));
        m_vConnections.push_back(uiConnections);
        return true;
    }

    bool isFull() const { return m_values[CONNECTION_RATE] >= 1; }

    /// The first neuron from which a layer may be connected; the last is the one before the layer.
    std::size_t firstSource(std::size_t in_uiLayer) const
    {
        return isShortcut() ? 0 : m_vLayers[in_uiLayer - 1].m_uiBegin;
    }

    bool checkConnections()
    {
        if (!startField("connections (connected_to_neuron, weight)"))
            return false;
        for (std::size_t uiLayer = 1; uiLayer < m_vLayers.size(); ++uiLayer)
            for (std::size_t i = m_vLayers[uiLayer].m_uiBegin; i < m_vLayers[uiLayer].m_uiEnd; ++i)
                for (unsigned int j = 0; j < m_vConnections[i]; ++j)
                    if (!checkConnection(uiLayer, i, j))
                        return false;
        return endField();
    }

    bool checkConnection(std::size_t in_uiLayer, std::size_t in_uiNeuron, unsigned int in_uiIndex)
    {
        unsigned int uiSource = 0;
        double dWeight = 0;
        skipBlanks();
        if (!skipText("(") || !readCount(ANY_COUNT, uiSource) || !skipText(", ") || !readReal(dWeight) ||
            !skipText(")"))
            return false;
        const std::size_t uiFirst = firstSource(in_uiLayer);
        const bool bFits = isFull() ? uiSource == uiFirst + in_uiIndex
                                    : uiSource >= uiFirst && uiSource < m_vLayers[in_uiLayer].m_uiBegin;
        return bFits || fail("wrong source of a connection of neuron " + std::to_string(in_uiNeuron));
    }

    /// Comments may follow, a line each.
    bool checkEnd()
    {
        m_field.clear();
        do
        {
            nextLine();
            skipBlanks();
        } while (!m_left.empty() && (m_line.empty() || m_line.front() == '#'));
        return m_line.empty() || m_line.front() == '#' || fail("surplus text");
    }

    std::string_view m_left;
    std::string_view m_line;
    std::size_t m_uiLine = 0;
    std::string m_field;
    std::string m_strReason;
    std::array<double, FIELDS.size()> m_values{};
    std::vector<Layer> m_vLayers;
    std::vector<unsigned int> m_vConnections;
};

} // namespace

bool checkFannText(std::string_view in_text, std::string& out_strReason)
{
    Checker checker(in_text);
    if (checker.check())
        return true;
    out_strReason = checker.getReason();
    return false;
}

} // namespace Vexalor::MachineLearning
