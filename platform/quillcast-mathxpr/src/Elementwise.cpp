#include "Elementwise.h"

#include <utility>

namespace Vexalor::Math::Xpr
{

namespace
{

template <Op OP, Repeat REPEAT>
void loop(const double* in_pLeft, const double* in_pRight, std::size_t in_uiSize,
          double* __restrict out_pResult)
{
    const double dLeft = *in_pLeft;
    const double dRight = *in_pRight;
    for (std::size_t i = 0; i < in_uiSize; ++i)
        out_pResult[i] = apply<OP>(REPEAT == Repeat::LEFT ? dLeft : in_pLeft[i],
                                   REPEAT == Repeat::RIGHT ? dRight : in_pRight[i]);
}

template <std::size_t... OPS>
constexpr auto makeTable(std::index_sequence<OPS...>)
{
    struct Row
    {
        Scalar m_scalar;
        Elementwise m_loops[3];
    };
    struct Table
    {
        Row m_rows[NB_ELEMENTWISE];
    };
    return Table{{Row{apply<static_cast<Op>(OPS)>,
                      {loop<static_cast<Op>(OPS), Repeat::NONE>, loop<static_cast<Op>(OPS), Repeat::LEFT>,
                       loop<static_cast<Op>(OPS), Repeat::RIGHT>}}...}};
}

constexpr auto TABLE = makeTable(std::make_index_sequence<NB_ELEMENTWISE>());

} // namespace

Scalar findScalar(Op in_op)
{
    return TABLE.m_rows[static_cast<std::size_t>(in_op)].m_scalar;
}

Elementwise findElementwise(Op in_op, Repeat in_repeat)
{
    return TABLE.m_rows[static_cast<std::size_t>(in_op)].m_loops[static_cast<std::size_t>(in_repeat)];
}

} // namespace Vexalor::Math::Xpr
