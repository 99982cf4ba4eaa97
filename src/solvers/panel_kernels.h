// Passes over panels, vectors side by side: what Lanczos from several start states spends its time in, next
// to H itself.
//
// Columns are treated alike and never mixed, except that real and imaginary part are truncated together.
// Coefficients and sums come one a column; panels of one call have the same columns and numbers. Sums run in
// lanes and in chunks, in an order that depends on the length only.
#pragma once

#include <array>

#include "core/panel.h"

namespace fermix {

using ColumnValues = std::array<double, 8>;  // the first ones, as many as a panel has columns

// Sums of x y, and y -= factor z, in one pass that uses y as it was.
ColumnValues PanelDotAndSubtract(Panel& y, const Panel& x, const ColumnValues& factor, const Panel& z);
// y -= factor z; sums of the squares of what is left.
ColumnValues PanelSubtractAndSquare(Panel& y, const ColumnValues& factor, const Panel& z);
// Sums of squares.
ColumnValues PanelSquares(const Panel& x);

// What truncation found in each column; for complex vectors the same for both columns of one.
struct Truncation {
  ColumnValues before{}, kept{};  // elements that were not 0, and how many of them are left
  ColumnValues squares{};         // sums of squares of what is left
};
// x *= factor; then elements of magnitude at or below epsilon become 0.
Truncation PanelScaleAndTruncate(Panel& x, bool complex, const ColumnValues& factor,
                                 const ColumnValues& epsilon);

// Elements that are not 0, as above.
ColumnValues PanelCount(const Panel& x, bool complex);

}  // namespace fermix
