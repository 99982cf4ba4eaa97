// Resonant spectra from all eigenstates of H1 and H2, on bases that the operators close.
#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "core/determinant_matrix.h"
#include "core/operator_on_state.h"
#include "host/base/verbosity.h"
#include "spectra/closed_space.h"
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

// Eigenstates as rows over the determinants of a space, with their energies.
struct Eigenstates {
  StateRows states;
  std::vector<double> e;
};

Eigenstates Diagonalize(const OperatorType& H, const WaveFunctionType& space) {
  Eigenstates result;
  result.states.basis = space.basis;
  if (CompactMatrixEigensystem(OperatorToDeterminantMatrix(H, space), result.states.rows, result.e))
    throw std::runtime_error("CompactMatrixEigensystem failed in calculation of resonant spectra\n");
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
CompactMatrixType Weights(const Eigenstates& H2, const BlockWaveFunctionType& x) {
  const CompactMatrixType amplitudes =
      MatrixProduct('*', 'N', H2.states.rows, ValuesOnBasis(x, *H2.states.basis));
  CompactMatrixType weights = InitCompactMatrix(amplitudes.Ni, amplitudes.Nj, false);
  std::transform(std::get<1>(amplitudes.Data).begin(), std::get<1>(amplitudes.Data).end(),
                 std::get<0>(weights.Data).begin(), [](Complex16 z) { return NormSqr(z); });
  if (!QFinite(weights))
    throw std::runtime_error(
        "CreateResonantSpectra called with operators or wave-functions that are not finite\n");
  return weights;
}

// <eigenstate|phi> in one row.
CompactMatrixType Overlaps(const Eigenstates& H1, const WaveFunctionType& phi) {
  CompactMatrixType row = InitCompactMatrix(1, H1.states.basis->N, true);
  for (std::uint32_t i = 1; i <= ElementCount(phi); ++i)
    if (const std::uint32_t n = BasisFind(*H1.states.basis, ElementKey(phi, i)))
      std::get<1>(row.Data)[n - 1] = ElementValue(phi, i);
  return MatrixProduct('N', 'C', row, H1.states.rows);
}

struct ExactPropagation {
  const ResonantProblem& problem;
  const Eigenstates &H1, &H2;
  EnergyGrid incident, final;
};

// All spectra of one state and one T1, appended to the bundle.
void AppendSpectra(const ExactPropagation& exact, std::size_t p, std::size_t t1, SpectraTypeArray& bundle) {
  const ResonantProblem& problem = exact.problem;
  const Eigenstates &H1 = exact.H1, &H2 = exact.H2;
  const EnergyGrid& incident = exact.incident;
  const double E0_1 = problem.E0_1(p), E0_2 = problem.E0_2(p);
  const CompactMatrixType overlaps = Overlaps(H1, problem.TransitionState(t1, p));
  const std::size_t before = bundle.spectra.size(), points = std::size_t{incident.NE} + 1;
  for (std::size_t t2 = 0; t2 < problem.T2.size(); ++t2)
    for (std::uint32_t w = 0; w <= incident.NE; ++w) {
      SpectraType S = ResonantSpectrum(problem, p, t1, t2, w, incident, exact.final);
      S.EminPole = H2.e.front() - E0_2;
      S.EmaxPole = H2.e.back() - E0_2;
      bundle.spectra.push_back(std::move(S));
    }
  ForEnergyBatches(incident.NE, H1.states.basis->N, [&](std::uint32_t first, std::uint32_t count) {
    const BlockWaveFunctionType chi =
        CombineStates(H1.states, PropagatedOverlaps(H1.e, overlaps, E0_1, incident, first, count));
    for (std::size_t t2 = 0; t2 < problem.T2.size(); ++t2)
      SharedPolesToSpectra(E0_2, H2.e, Weights(H2, FinalStates(problem, *problem.T2[t2], chi)),
                           &bundle.spectra[before + t2 * points + first]);
  });
}

}  // namespace

bool ResonantSpectraDense(const ResonantProblem& problem, SpectraTypeArray& bundle) {
  Spaces spaces;
  if (!FindSpaces(problem, spaces)) return false;
  VerbosityPrintf(1, "Start of ResonantSpectra using Dense Methods\n");
  const Eigenstates H1 = Diagonalize(problem.H1, spaces.intermediate),
                    H2 = Diagonalize(problem.H2, spaces.final);
  PoleRange intermediate, final;
  for (std::size_t p = 0; p < problem.psi.size(); ++p) {
    intermediate.add(H1.e, problem.E0_1(p));
    final.add(H2.e, problem.E0_2(p));
  }
  const ConvergenceSettingsType& s = problem.settings.solver;
  const EnergyGrid incident = CompleteEnergyGrid(s.grid1, intermediate, IntermediateGridTexts);
  const ExactPropagation exact{problem, H1, H2, incident, CompleteEnergyGrid(s.grid2, final, FinalGridTexts)};
  bundle.spectra.reserve(ResonantSpectraCount(problem, incident.NE));
  for (std::size_t p = 0; p < problem.psi.size(); ++p)
    for (std::size_t t1 = 0; t1 < problem.T1.size(); ++t1) AppendSpectra(exact, p, t1, bundle);
  return true;
}

}  // namespace fermix
