// Restarted block Lanczos: the lowest eigenstates of an operator inside a fixed basis.
//
// A block of N start vectors is multiplied by H until the Krylov space has M vectors; H in that space is
// diagonalised, its lowest N vectors are the block of the next restart. A block vector whose residual
// vanishes deflates: it leaves the block, and the run is over when the block is empty. Degenerate states need
// no care, as a block of width N holds them.
#pragma once

#include <vector>

#include "solvers/convergence_settings.h"
#include "solvers/fixed_basis_operator.h"
#include "solvers/krylov_matrix.h"

namespace fermix {

// True when the block vector at level, of that norm, has vanished against the scale of H, which is read from
// the first level diagonal elements. A Ritz vector of a later restart shrinks the block only when it is
// really null: converged states keep their place.
template <class T>
bool TimeToDeflateInBlockLanczosKrylov(double norm, double zero, std::uint32_t level,
                                       std::uint32_t blockWidth, const KrylovMatrix<T>& krylov,
                                       std::uint32_t restartLoop);

// Bytes that a restart works in beside its vectors: a product term by term, and the eigensystem of the Krylov
// space.
template <class T>
constexpr std::size_t KrylovWorkBytes(std::size_t elements, std::size_t vectors) {
  return sizeof(T) * (3 * elements + 5 * vectors * vectors);
}

enum class KrylovStatus { Done, OutOfMemory, NotFinite };

// The lowest N eigenvectors of H + shift, ascending, from N start vectors.
//
// v         the N start vectors of H.N elements, and behind them NKrylovStart + N of any contents; on return
//           the N eigenvectors. Vectors beyond the dimension of the space are 0.
// settings  zero, NKrylovStart, NKrylovMax, NKrylovStep and ShiftScheme are read
// Stops when the block is empty, or when ten restarts no longer visibly lower the largest residual: the
// states are then as good as the arithmetic allows.
template <class T>
[[nodiscard]] KrylovStatus RestartedBlockLanczos(const FixedBasisOperator<T>& H, double shift,
                                                 std::vector<WorkVector<T>>& v, std::uint32_t N,
                                                 const ConvergenceSettingsType& settings);

}  // namespace fermix
