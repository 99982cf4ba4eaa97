// The intermediate states of two-step processes, chi(w) = 1 / (E(w) + i h - H) |phi>, for all energies at
// once.
//
// H is known on states that span all it makes of phi: its eigenstates, or a Krylov basis with the
// eigenvectors of the chain. The states of all energies are then one product of matrices.
#pragma once

#include <algorithm>

#include "core/block_wave_function.h"
#include "host/base/status.h"
#include "solvers/krylov_basis.h"
#include "spectra/energy_grid.h"

namespace fermix {

// op(A) op(B) of matrices whose shapes fit.
CompactMatrixType MatrixProduct(char opA, char opB, const CompactMatrixType& A, const CompactMatrixType& B);

// H on a Krylov basis of the start state phi.
struct KrylovPropagator {
  StateRows states;
  CompactMatrixType eigenvectors;  // rows, over the states
  std::vector<double> e;           // eigenvalues, ascending
  CompactMatrixType overlaps;      // one row: <eigenvector|phi>
};

// H on the Krylov basis of phi with at most NTri states. R: restrictions of what H makes; null takes those of
// H. Throws std::runtime_error with failed, the text for the user, when the chain can't be diagonalised.
KrylovPropagator MakeKrylovPropagator(const OperatorType& H, const WaveFunctionType& phi,
                                      const DeterminantRestrictionType* R, double epsilon, std::uint32_t NTri,
                                      const char* failed);

// Column k holds state k of the block, a row for each determinant of the basis.
BlockWaveFunctionType StatesOfColumns(std::shared_ptr<DeterminantBasis> basis, CompactMatrixType columns);

// chi(w) for w = first .. first + count - 1.
BlockWaveFunctionType IntermediateStates(const KrylovPropagator& propagator, double E0,
                                         const EnergyGrid& grid, std::uint32_t first, std::uint32_t count);

// T psi with restrictions on the result: those given, or else those of T and of H together.
WaveFunctionType RestrictedTransition(const OperatorType& T, const WaveFunctionType& psi,
                                      const DeterminantRestrictionType& given, const OperatorType& H);

// <psi|H|psi> / <psi|psi>, or <psi|H|psi> where psi has no norm.
double EnergyOfState(const OperatorType& H, const WaveFunctionType& psi);

// Calls step(first, count) for the energies 0 .. NE, as many at a time as fit into a limited amount of memory
// with blocks of count states of N determinants. A step that finds no memory is repeated with fewer energies.
template <class Step>
void ForEnergyBatches(std::uint32_t NE, std::size_t N, Step&& step) {
  constexpr std::size_t Values = std::size_t{1} << 24;  // 256 MB
  std::uint32_t most = static_cast<std::uint32_t>(Values / (N + 1) + 1);
  for (std::uint64_t first = 0, all = std::uint64_t{NE} + 1; first < all;) {
    const auto count = static_cast<std::uint32_t>(std::min<std::uint64_t>(most, all - first));
    const auto batch = [&] { step(static_cast<std::uint32_t>(first), count); };
    if (count == 1) {
      batch();
    } else if (!FitsInMemory(batch)) {
      most = count / 2;
      continue;
    }
    first += count;
  }
}

}  // namespace fermix
