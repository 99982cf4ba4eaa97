// Lanczos with a basis that is kept and made orthogonal in full.
#pragma once

#include "core/wave_function.h"
#include "linalg/compact_matrix.h"
#include "solvers/lanczos.h"

namespace fermix {

// States as the rows of a matrix, over the determinants 1 .. N of a basis.
struct StateRows {
  std::shared_ptr<DeterminantBasis> basis;
  CompactMatrixType rows;
};

// Orthonormal Krylov states in the order in which they arose, and H on them. A chain that closes early,
// because orthogonalisation leaves nothing new, ends there: it has as many levels as there are states. b[0]
// is the norm of the start state.
template <class States>
struct KrylovSpace {
  States states;
  TriDiagonalMatrixType chain;
};
using KrylovBasis = KrylovSpace<StateRows>;
// Each state on a basis of its own, elements in the order in which they arose.
using KrylovStates = KrylovSpace<std::vector<WaveFunctionType>>;

// The Krylov space of psi, whose squared norm is finite, with at most settings.length >= 1 states. The width
// plays no part. epsilon is also the squared overlap with earlier states up to which a new one counts as
// orthogonal.
//
// States are vectors on one numbering where memory has room for them, and rows of H are remembered as far as
// it has; elsewhere states have bases of their own and H goes term by term: the same up to rounding, slower.
// R: restrictions of what H makes; null takes those of H. psi is taken as it is. Ends the process when memory
// runs out and nothing is left that could be truncated. Throws overflow_error when H psi has no finite norm.
KrylovBasis LanczosTriDiagonalizeKrylov(const OperatorType& H, const DeterminantRestrictionType* R,
                                        const WaveFunctionType& psi, const LanczosSettings& settings);
KrylovStates LanczosKrylovStates(const OperatorType& H, const DeterminantRestrictionType* R,
                                 const WaveFunctionType& psi, const LanczosSettings& settings);

}  // namespace fermix
