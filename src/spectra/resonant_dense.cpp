// Resonant spectra from all eigenstates of H1 and H2, on bases that the operators close.
#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "core/determinant_matrix.h"
#include "core/operator_on_state.h"
#include "host/base/verbosity.h"
#include "linalg/eigen_factors.h"
#include "solvers/closed_space.h"
#include "spectra/intermediate_states.h"
#include "spectra/resonant_problem.h"
#include "spectra/shared_poles.h"

namespace fermix {

namespace {

// The determinants of all T on U, closed under H.
bool ReachedSpace(const std::vector<const OperatorType*>& T, const DeterminantRestrictionType& given,
                  const OperatorType& H, const DeterminantRestrictionType& R, std::uint32_t most,
                  const WaveFunctionType& U, WaveFunctionType& reached) {
  reached = RestrictedTransition(*T[0], U, given, H);
  for (std::size_t t = 1; t < T.size() && ElementCount(reached) <= most; ++t)
    AddBasis(reached, RestrictedTransition(*T[t], U, given, H));
  return CloseUnder(H, R, most, reached);
}

// The determinants of the intermediate and of the final states.
struct Spaces {
  WaveFunctionType intermediate, final;
};

bool FindSpaces(const ResonantProblem& problem, Spaces& spaces) {
  const ConvergenceSettingsType& s = problem.settings.solver;
  const std::uint32_t most =
      problem.settings.ForceDenseMethod ? std::numeric_limits<std::uint32_t>::max() : s.DenseBorder;
  WaveFunctionType U = WaveFunctionCopy(*problem.psi[0]);
  for (std::size_t p = 1; p < problem.psi.size() && ElementCount(U) <= most; ++p)
    AddBasis(U, *problem.psi[p]);
  return ElementCount(U) <= most &&
         ReachedSpace(problem.T1, s.Restrictions1, problem.H1, problem.R1(), most, U, spaces.intermediate) &&
         ReachedSpace(problem.T2, s.Restrictions2, problem.H2, problem.R2(), most, spaces.intermediate,
                      spaces.final);
}

// The Hamiltonians on their spaces: the propagator needs H1 as a chain and its eigenvalues, the spectra need
// components along eigenvectors of H2.
struct Intermediate {
  std::shared_ptr<DeterminantBasis> basis;
  ChainForm H1;
  std::vector<double> e;
};
struct Final {
  std::shared_ptr<DeterminantBasis> basis;
  EigenFactors H2;
};

void OrThrow(int status) {
  if (status)
    throw std::runtime_error("CompactMatrixEigensystem failed in calculation of resonant spectra\n");
}

Intermediate MakeIntermediate(const OperatorType& H1, const WaveFunctionType& space) {
  Intermediate result{space.basis, {}, {}};
  OrThrow(CompactMatrixToChainForm(OperatorToDeterminantMatrix(H1, space), result.H1));
  OrThrow(TriDiagonalMatrixToEigenvalues(result.H1.T, result.e));
  return result;
}

Final MakeFinal(const OperatorType& H2, const WaveFunctionType& space) {
  Final result{space.basis, {}};
  OrThrow(CompactMatrixEigenFactors(OperatorToDeterminantMatrix(H2, space), result.H2));
  return result;
}

// The values of the states of a block over the determinants of basis; what it lacks is dropped.
CompactMatrixType ValuesOnBasis(const BlockWaveFunctionType& Psi, const DeterminantBasis& basis) {
  const std::uint32_t width = BlockSize(Psi);
  CompactMatrixType values = InitCompactMatrix(basis.N, width, true);
  std::visit(
      [&](const auto& from) {
        for (std::uint32_t i = 1; i <= Psi.basis->N; ++i)
          if (const std::uint32_t n = BasisFind(basis, Psi.basis->keys.at(i)))
            std::copy_n(from.at(i), width, std::get<1>(values.Data).data() + (std::size_t{n} - 1) * width);
      },
      Psi.values);
  return values;
}

// |<eigenstate|x>|^2: a row for each eigenstate, a column for each state x of the block.
CompactMatrixType Weights(const Final& final, const BlockWaveFunctionType& x) {
  const CompactMatrixType components = EigenComponents(final.H2, ValuesOnBasis(x, *final.basis));
  CompactMatrixType weights = InitCompactMatrix(components.Ni, components.Nj, false);
  std::transform(std::get<1>(components.Data).begin(), std::get<1>(components.Data).end(),
                 std::get<0>(weights.Data).begin(), [](Complex16 z) { return NormSqr(z); });
  if (!QFinite(weights)) throw std::runtime_error(ResonantNotFinite);
  return weights;
}

// phi in the basis in which H1 is a chain.
std::vector<Complex16> ChainComponents(const Intermediate& intermediate, const WaveFunctionType& phi) {
  CompactMatrixType column = InitCompactMatrix(intermediate.basis->N, 1, true);
  for (std::uint32_t i = 1; i <= ElementCount(phi); ++i)
    if (const std::uint32_t n = BasisFind(*intermediate.basis, ElementKey(phi, i)))
      std::get<1>(column.Data)[n - 1] = ElementValue(phi, i);
  return std::get<1>(ToChainBasis(intermediate.H1, std::move(column)).Data);
}

// chi(w) = 1 / (E0_1 + E(w) + i Gamma1 / 2 - H1) |phi>, w = first .. first + count - 1.
BlockWaveFunctionType IntermediateStates(const Intermediate& intermediate, const std::vector<Complex16>& phi,
                                         double E0_1, const EnergyGrid& incident, std::uint32_t first,
                                         std::uint32_t count) {
  CompactMatrixType columns = InitCompactMatrix(intermediate.basis->N, count, true);
  for (std::uint32_t w = 0; w < count; ++w) {
    std::vector<Complex16> chi = phi;
    const Complex16 z{E0_1 + GridEnergy(incident, first + w), incident.Gamma / 2};
    if (ChainResolvent(intermediate.H1.T, z, chi)) throw std::runtime_error(ResonantNotFinite);
    for (std::size_t i = 0; i < chi.size(); ++i) std::get<1>(columns.Data)[i * count + w] = chi[i];
  }
  return StatesOfColumns(intermediate.basis, FromChainBasis(intermediate.H1, std::move(columns)));
}

struct ExactPropagation {
  const ResonantProblem& problem;
  const Intermediate& intermediate;
  const Final& final;
  EnergyGrid incident, loss;
};

// All spectra of one state and one T1, appended to the bundle.
void AppendSpectra(const ExactPropagation& exact, std::size_t p, std::size_t t1, SpectraTypeArray& bundle) {
  const ResonantProblem& problem = exact.problem;
  const std::vector<double>& e = exact.final.H2.e;
  const EnergyGrid& incident = exact.incident;
  const double E0_1 = problem.E0_1(p), E0_2 = problem.E0_2(p);
  const std::vector<Complex16> phi = ChainComponents(exact.intermediate, problem.TransitionState(t1, p));
  const std::size_t before = bundle.spectra.size(), points = std::size_t{incident.NE} + 1;
  for (std::size_t t2 = 0; t2 < problem.T2.size(); ++t2)
    for (std::uint32_t w = 0; w <= incident.NE; ++w) {
      SpectraType S = ResonantSpectrum(problem, p, t1, t2, w, incident, exact.loss);
      S.EminPole = e.front() - E0_2;
      S.EmaxPole = e.back() - E0_2;
      bundle.spectra.push_back(std::move(S));
    }
  ForEnergyBatches(incident.NE, exact.intermediate.basis->N, [&](std::uint32_t first, std::uint32_t count) {
    const BlockWaveFunctionType chi =
        IntermediateStates(exact.intermediate, phi, E0_1, incident, first, count);
    for (std::size_t t2 = 0; t2 < problem.T2.size(); ++t2)
      SharedPolesToSpectra(E0_2, e, Weights(exact.final, FinalStates(problem, *problem.T2[t2], chi)),
                           &bundle.spectra[before + t2 * points + first]);
  });
}

}  // namespace

bool ResonantSpectraDense(const ResonantProblem& problem, SpectraTypeArray& bundle) {
  Spaces spaces;
  if (!FindSpaces(problem, spaces)) return false;
  VerbosityPrintf(1, "Start of ResonantSpectra using Dense Methods\n");
  const Intermediate intermediate = MakeIntermediate(problem.H1, spaces.intermediate);
  const Final final = MakeFinal(problem.H2, spaces.final);
  PoleRange first, second;
  for (std::size_t p = 0; p < problem.psi.size(); ++p) {
    first.add(intermediate.e, problem.E0_1(p));
    second.add(final.H2.e, problem.E0_2(p));
  }
  const ConvergenceSettingsType& s = problem.settings.solver;
  const EnergyGrid incident = CompleteEnergyGrid(s.grid1, first, IntermediateGridTexts);
  const ExactPropagation exact{problem, intermediate, final, incident,
                               CompleteEnergyGrid(s.grid2, second, FinalGridTexts)};
  bundle.spectra.reserve(ResonantSpectraCount(problem, incident.NE));
  for (std::size_t p = 0; p < problem.psi.size(); ++p)
    for (std::size_t t1 = 0; t1 < problem.T1.size(); ++t1) AppendSpectra(exact, p, t1, bundle);
  return true;
}

}  // namespace fermix
