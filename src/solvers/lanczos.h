// Lanczos tridiagonalisation on a determinant basis that grows and is truncated in every step.
#pragma once

#include "core/operator_on_state.h"
#include "linalg/tridiagonal.h"

namespace fermix {

// Fills the chain M, whose length the caller chose, from the start state psi: a[0] = 0, a[k] and b[k] the
// Lanczos coefficients, b[0] the norm of psi. Three vectors, no reorthogonalisation, no early stop: a chain
// that closes goes on with zeros.
//
// epsilon  truncation threshold of the vectors; loosens with the depth in the chain, and doubles when memory
//          runs out
// width    spectral resolution aimed at, in units of H
// psi      consumed. Restrictions on H are applied to it first, and to all that follows
// Ends the process when memory runs out and nothing is left that could be truncated.
void LanczosTriDiagonalize(const OperatorType& H, WaveFunctionType psi, double epsilon,
                           TriDiagonalMatrixType& M, double width);
// The same with explicit restrictions; psi is taken as it is.
void LanczosTriDiagonalizeRestricted(const OperatorType& H, WaveFunctionType psi,
                                     const DeterminantRestrictionType& R, double epsilon,
                                     TriDiagonalMatrixType& M, double width);

}  // namespace fermix
