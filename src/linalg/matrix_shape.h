// Matrices cut from and put together from other matrices. Indices start at 0.
#pragma once

#include <cstdint>
#include <vector>

#include "linalg/compact_matrix.h"

namespace fermix {

// The block of rows and columns first .. last, both included. Status 1 after a line when it is empty or not
// inside m.
[[nodiscard]] int Submatrix(const CompactMatrixType& m, std::uint32_t firstRow, std::uint32_t lastRow,
                            std::uint32_t firstCol, std::uint32_t lastCol, CompactMatrixType& result);
// Rows and columns of the given indices, in their order. Status 1 after a line when one is not below both
// dimensions.
[[nodiscard]] int Submatrix(const CompactMatrixType& m, const std::vector<std::uint32_t>& indices,
                            CompactMatrixType& result);

// One matrix from rows of blocks. Null or an empty matrix stands for zeros of the size that its row and
// column ask for; rows of blocks without content are left out, after a warning. Status 1 after a line when
// heights or widths do not agree.
[[nodiscard]] int MatrixFlatten(const std::vector<std::vector<const CompactMatrixType*>>& blocks,
                                CompactMatrixType& result);

// An n by n matrix with m in its upper left corner and z on the rest of the diagonal. Where m is not square,
// or larger than n, a line is printed and the result is a 1 by 1 zero.
CompactMatrixType MatrixExpand(const CompactMatrixType& m, std::uint32_t n, Complex16 z);

// Each element becomes a k by k block with it on the diagonal. Throws bad_alloc when that does not fit.
CompactMatrixType MatrixEnlarge(const CompactMatrixType& m, std::uint32_t k);
// The inverse for k = 2: rows and columns of even index only. Both dimensions are even.
CompactMatrixType MatrixRemoveSpin(const CompactMatrixType& m);

}  // namespace fermix
