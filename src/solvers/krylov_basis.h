// Lanczos with a basis that is kept and made orthogonal in full, and Lanczos for many start states at once.
#pragma once

#include <vector>

#include "core/operator.h"
#include "core/wave_function.h"
#include "linalg/compact_matrix.h"
#include "linalg/tridiagonal.h"

namespace fermix {

// States as the rows of a matrix, over the determinants 1 .. N of a basis.
struct StateRows {
  std::shared_ptr<DeterminantBasis> basis;
  CompactMatrixType rows;
};

struct KrylovSettings {
  // Truncation threshold of the states; loosens with the depth in the chain, and doubles when memory runs
  // out. Also the squared overlap with earlier states up to which a new one counts as orthogonal.
  double epsilon = 0;
  bool shareRows = true;  // false asks for the way term by term
};

// Orthonormal Krylov states of H, in the order in which they arose, and their chain M, whose length the
// caller chose; b[0] is the norm of psi. A chain that closes early, because orthogonalisation leaves nothing
// new, is cut there, so that M has as many levels as there are states.
//
// States are vectors on one numbering, and H is remembered rows, where memory has room for them; where it has
// not, states have bases of their own and H goes term by term: the same up to rounding, slower. R:
// restrictions of what H makes; null takes those of H. psi, of a finite squared norm, is taken as it is. Ends
// the process when memory runs out and nothing is left that could be truncated.
StateRows LanczosTriDiagonalizeKrylov(const OperatorType& H, const WaveFunctionType& psi,
                                      const DeterminantRestrictionType* R, const KrylovSettings& settings,
                                      TriDiagonalMatrixType& M);

// All states, which are released one by one, on the union of their bases.
StateRows GatherStateRows(std::vector<WaveFunctionType> states, const KeyLayout& layout);

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
