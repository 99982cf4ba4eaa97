#include "spectra/resonant_spectra.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <stdexcept>

#include "core/operator_on_state.h"
#include "host/base/status.h"
#include "host/base/text.h"
#include "host/base/verbosity.h"
#include "solvers/lanczos.h"
#include "spectra/intermediate_states.h"
#include "spectra/resonant_problem.h"

namespace fermix {

namespace {

double EnergyZero(double given, const OperatorType& H, const WaveFunctionType& psi) {
  const double E0 = given != ResonantSpectraSettings::UnsetE0 ? given : EnergyOfState(H, psi);
  if (!std::isfinite(E0)) throw std::runtime_error(ResonantNotFinite);
  return E0;
}

}  // namespace

double ResonantProblem::E0_1(std::size_t p) const { return EnergyZero(settings.E0_1, H1, *psi[p]); }
double ResonantProblem::E0_2(std::size_t p) const { return EnergyZero(settings.E0_2, H2, *psi[p]); }

WaveFunctionType ResonantProblem::TransitionState(std::size_t t, std::size_t p) const {
  WaveFunctionType phi = RestrictedTransition(*T1[t], *psi[p], settings.solver.Restrictions1, H1);
  if (!std::isfinite(WaveFunctionCalculateNormSqr(phi))) throw std::runtime_error(ResonantNotFinite);
  return phi;
}

BlockWaveFunctionType FinalStates(const ResonantProblem& problem, const OperatorType& T2,
                                  const BlockWaveFunctionType& chi) {
  const DeterminantRestrictionType& given = problem.settings.solver.Restrictions2;
  return BlockOperatorPsi(T2, chi, NRestrictions(given) ? &given : nullptr);
}

SpectraType ResonantSpectrum(const ResonantProblem& problem, std::size_t p, std::size_t t1, std::size_t t2,
                             std::uint32_t w, const EnergyGrid& incident, const EnergyGrid& final) {
  SpectraType header;
  header.Emin = final.Emin;
  header.Emax = final.Emax;
  header.dE = (final.Emax - final.Emin) / final.NE;
  header.Gamma = final.Gamma;
  header.ResonantEnergy = GridEnergy(incident, w);
  SpectraType S = SpectrumAllocate(header, final.NE);
  sprintfAdd(S.Name, "Spectrum wres %i/%i T2 %i/%i T1 %i/%i psi %i/%i", static_cast<int>(w),
             static_cast<int>(incident.NE), static_cast<int>(t2), static_cast<int>(problem.T2.size()),
             static_cast<int>(t1), static_cast<int>(problem.T1.size()), static_cast<int>(p),
             static_cast<int>(problem.psi.size()));
  return S;
}

std::size_t ResonantSpectraCount(const ResonantProblem& problem, std::uint32_t NE1) {
  return problem.psi.size() * problem.T1.size() * problem.T2.size() * (std::size_t{NE1} + 1);
}

namespace {

// --- Lanczos path

std::vector<double> PoleEnergies(const LanczosRun& run) {
  std::vector<double> e;
  if (!std::isfinite(run.chain.b[0] * run.chain.b[0]) || LanczosEnergies(run, e))
    throw std::runtime_error(ResonantNotFinite);
  return e;
}

// A chain of H2 for each T2 and incident energy, energies inside.
std::vector<LanczosRun> ChainsOfFinalStates(const ResonantProblem& problem,
                                            const KrylovPropagator& propagator, double E0_1,
                                            const EnergyGrid& incident) {
  const ConvergenceSettingsType& s = problem.settings.solver;
  const bool given = NRestrictions(s.Restrictions2) > 0;
  const std::size_t nT2 = problem.T2.size(), points = std::size_t{incident.NE} + 1;
  auto chains = OrSay("malloc of SpecTri2 failed in ResonantSpectra\n",
                      [&] { return std::vector<LanczosRun>(nT2 * points); });
  const auto batch = [&](std::uint32_t first, std::uint32_t count) {
    std::vector<WaveFunctionType> starts;
    const BlockWaveFunctionType chi = OrSay("WaveFunctionInit failed in ResonantSpectra 00\n", [&] {
      return IntermediateStates(propagator, E0_1, incident, first, count);
    });
    for (const OperatorType* T2 : problem.T2) {
      auto x = BlockWaveFunctionToStates(FinalStates(problem, *T2, chi));
      std::move(x.begin(), x.end(), std::back_inserter(starts));
    }
    auto some = LanczosTriDiagonalize(problem.H2, given ? &s.Restrictions2 : nullptr, std::move(starts),
                                      {s.NTri2, s.epsilon, s.grid2.Gamma + 1.4901161193847656e-8});
    for (std::size_t t = 0; t < nT2; ++t)
      std::move(some.begin() + t * count, some.begin() + (t + 1) * count,
                chains.begin() + t * points + first);
  };
  ForEnergyBatches(incident.NE, propagator.states.basis->N * (1 + nT2), batch);
  return chains;
}

// All spectra of one state and one T1.
void ResonantSpectra(const ResonantProblem& problem, std::size_t p, std::size_t t1,
                     SpectraTypeArray& bundle) {
  VerbosityPrintf(1, "Start of ResonantSpectra using Lanczos\n");
  const ConvergenceSettingsType& s = problem.settings.solver;
  const double E0_1 = problem.E0_1(p), E0_2 = problem.E0_2(p);
  const KrylovPropagator propagator =
      MakeKrylovPropagator(problem.H1, problem.TransitionState(t1, p), &problem.R1(), s.epsilon, s.NTri1,
                           "Problem with TridiagonalMatrixToEigenSystem\n");
  PoleRange intermediate;
  intermediate.add(propagator.e, E0_1);
  const EnergyGrid incident = CompleteEnergyGrid(s.grid1, intermediate, IntermediateGridTexts);
  bundle.spectra.reserve(ResonantSpectraCount(problem, incident.NE));

  const std::vector<LanczosRun> chains = ChainsOfFinalStates(problem, propagator, E0_1, incident);
  std::vector<PoleRange> ranges(chains.size());
  PoleRange all;
  for (std::size_t k = 0; k < chains.size(); ++k) {
    ranges[k].add(PoleEnergies(chains[k]), E0_2);
    all.add(ranges[k]);
  }
  const EnergyGrid final = CompleteEnergyGrid(s.grid2, all, FinalGridTexts);

  const std::size_t points = std::size_t{incident.NE} + 1;
  for (std::size_t k = 0; k < chains.size(); ++k) {
    SpectraType S =
        ResonantSpectrum(problem, p, t1, k / points, static_cast<std::uint32_t>(k % points), incident, final);
    S.EminPole = ranges[k].orZero().lowest;
    S.EmaxPole = ranges[k].orZero().highest;
    if (TriDiagonalMatrixToSpectrum(E0_2, chains[k].chain, S)) throw std::runtime_error(ResonantNotFinite);
    bundle.spectra.push_back(std::move(S));
  }
}

}  // namespace

SpectraTypeArray CreateResonantSpectra(const OperatorType& H1, const OperatorType& H2,
                                       const std::vector<const OperatorType*>& T1,
                                       const std::vector<const OperatorType*>& T2,
                                       const std::vector<const WaveFunctionType*>& psi,
                                       const ResonantSpectraSettings& settings) {
  const ResonantProblem problem{H1, H2, T1, T2, psi, settings};
  RequireWindow(settings.solver.grid1, IntermediateGridTexts);
  RequireWindow(settings.solver.grid2, FinalGridTexts);
  SpectraTypeArray bundle;
  if (ResonantSpectraDense(problem, bundle)) return bundle;
  for (std::size_t p = 0; p < psi.size(); ++p)
    for (std::size_t t1 = 0; t1 < T1.size(); ++t1) ResonantSpectra(problem, p, t1, bundle);
  return bundle;
}

}  // namespace fermix
