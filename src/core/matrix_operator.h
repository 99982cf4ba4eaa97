// Matrices as one-particle operators, and back.
#pragma once

#include "core/operator.h"
#include "linalg/compact_matrix.h"

namespace fermix {

// The sum of m[i][j] a+_i a_j on Ni orbitals, without the elements that are 0. Throws invalid_argument when m
// is not square, or has more rows than a ladder operator can number.
OperatorType CompactMatrixToOperator(const CompactMatrixType& m);

// The matrix h of the part sum_ij h_ij a+_i a_j of O in normal order, NFermion rows; complex if the strings
// of length 2 are. Constants, modes, pairs and longer products are left out.
CompactMatrixType OperatorToOneParticleMatrix(const OperatorType& O);

}  // namespace fermix
