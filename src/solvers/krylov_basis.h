// Lanczos with a basis that is kept and made orthogonal in full, and Lanczos for many start states at once.
#pragma once

#include <vector>

#include "core/operator.h"
#include "core/wave_function.h"
#include "linalg/tridiagonal.h"

namespace fermix {

// Orthonormal Krylov states in the order in which they arose, each on a basis of its own.
struct KrylovBasis {
  std::vector<WaveFunctionType> states;
};

// Fills the chain M, whose length the caller chose, from the start state psi: b[0] is its norm. A chain that
// closes early, because nothing new is left after orthogonalisation, is cut there, so that M has as many
// levels as there are states.
//
// R        restrictions of what H makes; null takes those of H
// epsilon  truncation threshold of the states, and the squared overlap with earlier ones up to which a new
//          one counts as orthogonal
KrylovBasis LanczosTriDiagonalizeKrylov(const OperatorType& H, WaveFunctionType psi,
                                        const DeterminantRestrictionType* R, double epsilon,
                                        TriDiagonalMatrixType& M);

// A chain and how many of its levels, from the first on, have energies that mean something.
struct LanczosChain {
  TriDiagonalMatrixType M;
  std::uint32_t levels = 0;
};

// One chain of NTri levels for each start state, as LanczosTriDiagonalizeRestricted gives them. Start states
// that share a basis need its memory once.
std::vector<LanczosChain> LanczosForAll(const OperatorType& H, const DeterminantRestrictionType& R,
                                        std::vector<WaveFunctionType> starts, double epsilon,
                                        std::uint32_t NTri, double width);

}  // namespace fermix
