#include "spectra/intermediate_states.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <stdexcept>

#include "core/expectation.h"
#include "core/operator_on_state.h"

namespace fermix {

CompactMatrixType MatrixProduct(char opA, char opB, const CompactMatrixType& A, const CompactMatrixType& B) {
  CompactMatrixType C;
  if (CompactMatrixMultiply(opA, opB, A, B, C)) throw std::logic_error("product of matrices that don't fit");
  return C;
}

KrylovPropagator MakeKrylovPropagator(const OperatorType& H, const WaveFunctionType& phi,
                                      const DeterminantRestrictionType* R, double epsilon, std::uint32_t NTri,
                                      const char* failed) {
  KrylovBasis K = LanczosTriDiagonalizeKrylov(H, R, phi, {NTri, epsilon});
  KrylovPropagator propagator{std::move(K.states), {}, {}, {}};
  if (TriDiagonalMatrixToEigensystem(K.chain, propagator.eigenvectors, propagator.e))
    throw std::runtime_error(failed);
  const std::size_t n = propagator.e.size();
  propagator.overlaps = InitCompactMatrix(1, static_cast<std::uint32_t>(n), false);
  for (std::size_t k = 0; k < n; ++k)
    std::get<0>(propagator.overlaps.Data)[k] =
        K.chain.b[0] * std::get<0>(propagator.eigenvectors.Data)[k * n];
  return propagator;
}

namespace {

// Column w - first: <eigenvector|phi> / (E0 + E(w) + i Gamma / 2 - e), w = first .. first + count - 1. A row
// for each eigenvalue.
CompactMatrixType PropagatedOverlaps(const std::vector<double>& e, const CompactMatrixType& overlaps,
                                     double E0, const EnergyGrid& grid, std::uint32_t first,
                                     std::uint32_t count) {
  CompactMatrixType G = InitCompactMatrix(static_cast<std::uint32_t>(e.size()), count, true);
  auto& data = std::get<1>(G.Data);
  const double h = grid.Gamma / 2;
  for (std::uint32_t k = 0; k < e.size(); ++k) {
    const Complex16 overlap = CompactMatrixElement(overlaps, 0, k);
    for (std::uint32_t w = 0; w < count; ++w)
      data[std::size_t{k} * count + w] = overlap / Complex16{E0 + GridEnergy(grid, first + w) - e[k], h};
  }
  return G;
}

}  // namespace

BlockWaveFunctionType StatesOfColumns(std::shared_ptr<DeterminantBasis> basis, CompactMatrixType columns) {
  const std::uint32_t width = columns.Nj;
  BlockWaveFunctionType Psi(basis->layout, width, true);
  auto& values = std::get<BlockedArray<Complex16>>(Psi.values);
  values.resize(std::size_t{basis->N} + 1);
  Psi.basis = std::move(basis);
  MakeCompactRealMatrixComplex(columns);
  for (std::size_t i = 1; i < values.size; ++i)
    std::copy_n(std::get<1>(columns.Data).data() + (i - 1) * width, width, values.at(i));
  return Psi;
}

BlockWaveFunctionType IntermediateStates(const KrylovPropagator& propagator, double E0,
                                         const EnergyGrid& grid, std::uint32_t first, std::uint32_t count) {
  const StateRows& states = propagator.states;
  if (propagator.e.empty())
    return StatesOfColumns(states.basis, InitCompactMatrix(states.basis->N, count, true));
  const CompactMatrixType G = PropagatedOverlaps(propagator.e, propagator.overlaps, E0, grid, first, count);
  return StatesOfColumns(states.basis, MatrixProduct('T', 'N', states.rows,
                                                     MatrixProduct('T', 'N', propagator.eigenvectors, G)));
}

WaveFunctionType RestrictedTransition(const OperatorType& T, const WaveFunctionType& psi,
                                      const DeterminantRestrictionType& given, const OperatorType& H) {
  if (NRestrictions(given)) return OperatorPsiRestricted(T, psi, given);
  WaveFunctionType phi = OperatorPsi(T, psi);
  if (NRestrictions(H.Restrictions)) WaveFunctionRestrict(phi, H.Restrictions);
  return phi;
}

double EnergyOfState(const OperatorType& H, const WaveFunctionType& psi) {
  const double norm2 = WaveFunctionCalculateNormSqr(psi), E = PsiHermitianOperatorPsi(H, psi);
  return norm2 > DBL_EPSILON ? E / norm2 : E;
}

}  // namespace fermix
