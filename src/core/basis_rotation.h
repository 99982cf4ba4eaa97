// Operators and states in another one-particle basis.
//
// Column i of the matrix M tells what orbital i of the old basis becomes in the new one: an annihilator i
// turns into sum_j M[j][i] annihilator j, a creator into sum_j conj(M[j][i]) creator j. M need not be
// unitary, nor square: it has a row for each new orbital and a column for each old one, modes counted after
// the orbitals. Throws std::invalid_argument when it has not.
#pragma once

#include "core/operator.h"
#include "core/wave_function.h"
#include "linalg/compact_matrix.h"

namespace fermix {

// O += Source in the changed basis, in normal order. All or nothing when memory runs out.
void MappedOperatorAddNormalOrder(OperatorType& O, const OperatorType& Source, const CompactMatrixType& M,
                                  OrderPredicate order);

// Psi += Source in the changed basis: a determinant is the product of its creators in ascending order on the
// vacuum. Fermions only. All or nothing when memory runs out.
void MappedWaveFunctionAdd(WaveFunctionType& Psi, const WaveFunctionType& Source, const CompactMatrixType& M);

}  // namespace fermix
