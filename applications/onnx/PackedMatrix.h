#pragma once

#include <cstddef>
#include <vector>

namespace Vexalor::MachineLearning::Onnx
{

/// A constant matrix of K rows and N columns, laid out for products of a row vector with it: panels of
/// columns whose sums stay in registers while the rows go by, then the columns left over one by one.
class PackedMatrix
{
public:
    /// Takes the element of row k and column n from in_pElements[k * in_uiRowStep + n * in_uiColumnStep].
    PackedMatrix(const float* in_pElements, std::size_t in_uiRows, std::size_t in_uiColumns,
                 std::size_t in_uiRowStep, std::size_t in_uiColumnStep);

    std::size_t getRows() const { return m_uiRows; }
    std::size_t getColumns() const { return m_uiColumns; }

    /// out_pSums = in_pStart + in_pVector x matrix, of N elements; in_pStart may be out_pSums.
    void multiplyAdd(const float* in_pVector, const float* in_pStart, float* out_pSums) const;

private:
    static constexpr std::size_t PANEL = 32;
    static constexpr std::size_t LANES = 16;

    void multiplyPanel(const float* in_pVector, const float* in_pPanel, const float* in_pStart,
                       float* out_pSums) const;
    float multiplyColumn(const float* in_pVector, const float* in_pColumn) const;

    std::size_t m_uiRows;
    std::size_t m_uiColumns;
    std::vector<float> m_vElements;
};

} // namespace Vexalor::MachineLearning::Onnx
