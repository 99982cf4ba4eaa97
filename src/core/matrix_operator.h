// Matrices as one-particle operators.
#pragma once

#include "core/operator.h"
#include "linalg/compact_matrix.h"

namespace fermix {

// The sum of m[i][j] a+_i a_j on Ni orbitals, without the elements that are 0. Throws invalid_argument when m
// is not square, or has more rows than a ladder operator can number.
OperatorType CompactMatrixToOperator(const CompactMatrixType& m);

}  // namespace fermix
