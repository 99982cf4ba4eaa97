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
// Returns the number of levels whose energies mean something: all of them, or those before the first vector
// of which normalisation or truncation left nothing or too little. Coefficients behind it hardly reach the
// function of the chain, yet its eigenvalues may lie anywhere.
std::uint32_t LanczosTriDiagonalize(const OperatorType& H, WaveFunctionType psi, double epsilon,
                                    TriDiagonalMatrixType& M, double width);
// The same with explicit restrictions; psi is taken as it is.
std::uint32_t LanczosTriDiagonalizeRestricted(const OperatorType& H, WaveFunctionType psi,
                                              const DeterminantRestrictionType& R, double epsilon,
                                              TriDiagonalMatrixType& M, double width);

}  // namespace fermix
