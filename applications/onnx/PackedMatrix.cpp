#include "onnx/PackedMatrix.h"

#include <algorithm>

namespace Vexalor::MachineLearning::Onnx
{

PackedMatrix::PackedMatrix(const float* in_pElements, std::size_t in_uiRows, std::size_t in_uiColumns,
                           std::size_t in_uiRowStep, std::size_t in_uiColumnStep)
    : m_uiRows(in_uiRows)
    , m_uiColumns(in_uiColumns)
{
    m_vElements.reserve(in_uiRows * in_uiColumns);
    const std::size_t uiPanels = in_uiColumns / PANEL * PANEL;
    for (std::size_t uiPanel = 0; uiPanel < uiPanels; uiPanel += PANEL)
        for (std::size_t k = 0; k < in_uiRows; ++k)
            for (std::size_t n = uiPanel; n < uiPanel + PANEL; ++n)
                m_vElements.push_back(in_pElements[k * in_uiRowStep + n * in_uiColumnStep]);
    for (std::size_t n = uiPanels; n < in_uiColumns; ++n)
        for (std::size_t k = 0; k < in_uiRows; ++k)
            m_vElements.push_back(in_pElements[k * in_uiRowStep + n * in_uiColumnStep]);
}

void PackedMatrix::multiplyAdd(const float* in_pVector, const float* in_pStart, float* out_pSums) const
{
    const float* pElements = m_vElements.data();
    std::size_t n = 0;
    for (; n + PANEL <= m_uiColumns; n += PANEL, pElements += PANEL * m_uiRows)
        multiplyPanel(in_pVector, pElements, in_pStart + n, out_pSums + n);
    for (; n < m_uiColumns; ++n, pElements += m_uiRows)
        out_pSums[n] = in_pStart[n] + multiplyColumn(in_pVector, pElements);
}

void PackedMatrix::multiplyPanel(const float* in_pVector, const float* in_pPanel, const float* in_pStart,
                                 float* out_pSums) const
{
    float sums[PANEL];
    std::copy_n(in_pStart, PANEL, sums);
    for (std::size_t k = 0; k < m_uiRows; ++k, in_pPanel += PANEL)
        for (std::size_t n = 0; n < PANEL; ++n)
            sums[n] += in_pVector[k] * in_pPanel[n];
    std::copy_n(sums, PANEL, out_pSums);
}

float PackedMatrix::multiplyColumn(const float* in_pVector, const float* in_pColumn) const
{
    float sums[LANES] = {};
    std::size_t k = 0;
    for (; k + LANES <= m_uiRows; k += LANES)
        for (std::size_t i = 0; i < LANES; ++i)
            sums[i] += in_pVector[k + i] * in_pColumn[k + i];
    for (std::size_t i = 0; k + i < m_uiRows; ++i)
        sums[i] += in_pVector[k + i] * in_pColumn[k + i];
    for (std::size_t uiHalf = LANES / 2; uiHalf > 0; uiHalf /= 2)
        for (std::size_t i = 0; i < uiHalf; ++i)
            sums[i] += sums[i + uiHalf];
    return sums[0];
}

} // namespace Vexalor::MachineLearning::Onnx
