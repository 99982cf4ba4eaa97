// Vectors side by side on a numbering of determinants, and their products with remembered rows.
//
// A solver that runs from several start states applies one operator to all of them: a row is then read once
// for all vectors. Vectors are dense on the numbering: element `number` of column j stands at
// value[number * columns + j]; a complex vector is two columns, real and imaginary part. Number 0 belongs to
// no determinant and holds zeros.
#pragma once

#include "core/operator_rows.h"

namespace fermix {

struct Panel {
  std::uint32_t columns = 1;  // 1, 2, 4 or 8; for complex vectors 2, 4 or 8
  LargeVector<double> value;
};

inline std::size_t Numbers(const Panel& panel) { return panel.value.size() / panel.columns; }

// Lengthens the panel by zeros to hold the numbers below `numbers`. Throws bad_alloc.
void ExtendPanel(Panel& panel, std::size_t numbers);

// y = O x, with the columns of x; those of a complex operator are complex. Rows that x needs and that are
// missing are made, and remembered as far as there is room; the numbering may grow, x and y then hold all its
// numbers. Once each number has a row, y is gathered instead of scattered, which takes O for Hermitian.
// Throws bad_alloc; x has its values then.
template <class C>
void OperatorRowsMultiplyPanel(OperatorRows<C>& O, Panel& x, Panel& y);

}  // namespace fermix
