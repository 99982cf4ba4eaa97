// Orthonormal rows or columns that span the same space as those of a matrix.
#pragma once

#include "linalg/compact_matrix.h"

namespace fermix {

// The orthonormal rows closest to those of m (Löwdin): singular values become 1, those at or below threshold
// 0; with more rows than columns the missing ones count as 0. Where some vanish, the rows span the rest with
// fewer independent vectors than rows; with removeRows the row of smallest norm goes, until the remaining
// ones are independent. Status 1 after a line when m is not finite or LAPACK fails; m is then unchanged.
[[nodiscard]] int CompactMatrixSVDOrthogonalizeRow(CompactMatrixType& m, double threshold, bool removeRows);

// One row after the other, each without its projections on those before it. A row is dropped when what is
// left of it is small: a real one when its squared norm is below threshold, a complex one when its norm is at
// or below it. Dropped rows are removed, or stand at the end as zeros. Status 1 after a line when m is not
// finite.
[[nodiscard]] int CompactMatrixGramSchmidtOrthogonalizeRow(CompactMatrixType& m, double threshold,
                                                           bool removeRows);

// The same on columns.
[[nodiscard]] int CompactMatrixSVDOrthogonalizeCol(CompactMatrixType& m, double threshold,
                                                   bool removeColumns);
[[nodiscard]] int CompactMatrixGramSchmidtOrthogonalizeCol(CompactMatrixType& m, double threshold,
                                                           bool removeColumns);

}  // namespace fermix
