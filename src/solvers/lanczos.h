// Lanczos tridiagonalisation on a determinant basis that grows and is truncated in every step.
#pragma once

#include "core/operator_on_state.h"
#include "linalg/tridiagonal.h"

namespace fermix {

// Fills the chain M, whose length the caller chose, from the start state psi: a[0] = 0, a[k] and b[k] the
// Lanczos coefficients, b[0] the norm of psi. Three vectors, no reorthogonalisation, no early stop.
//
// epsilon  truncation threshold of the vectors; loosens with the depth in the chain, and doubles when memory
// runs out width    spectral resolution aimed at psi      consumed. With restrictions on H they are applied
// to psi first. Ends the process when nothing is left that could be truncated.
void LanczosTriDiagonalize(const OperatorType& H, WaveFunctionType psi, double epsilon,
                           TriDiagonalMatrixType& M, double width);
// The same with explicit restrictions; psi is taken as it is.
void LanczosTriDiagonalizeRestricted(const OperatorType& H, WaveFunctionType psi,
                                     const DeterminantRestrictionType& R, double epsilon,
                                     TriDiagonalMatrixType& M, double width);

}  // namespace fermix
