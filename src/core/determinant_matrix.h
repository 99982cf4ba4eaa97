// Dense matrices of operators on many-body states.
#pragma once

#include "core/operator.h"
#include "core/wave_function.h"
#include "linalg/compact_matrix.h"

namespace fermix {

// Element (i, j) = <i| H |j> for the determinants of basis in element order, i and j from 0; complex if H is
// not real. What leaves the basis is dropped, restrictions of H are not looked at. Throws bad_alloc, and
// invalid_argument when the spaces differ.
[[nodiscard]] CompactMatrixType OperatorToDeterminantMatrix(const OperatorType& H,
                                                            const WaveFunctionType& basis);

// Whether O is Hermitian up to rounding: 1e-14 of its largest coefficient.
bool QHermitianToRounding(const OperatorType& O);
// Makes a square matrix Hermitian to the last digit, as tests of matrices ask.
void MirrorUpperTriangle(CompactMatrixType& A);

// Element (i, j) = <i| O |j> for the states of a list; complex if O or one of them is not real. Where O is
// Hermitian up to rounding only one triangle is computed, and mirrored. Throws as above.
[[nodiscard]] CompactMatrixType OperatorToFunctionMatrix(
    const OperatorType& O, const std::vector<const WaveFunctionType*>& functions);

}  // namespace fermix
