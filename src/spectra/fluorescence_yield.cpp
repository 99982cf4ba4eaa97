#include "spectra/fluorescence_yield.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <stdexcept>

#include "host/base/status.h"
#include "host/base/text.h"
#include "spectra/create_spectra.h"
#include "spectra/intermediate_states.h"

namespace fermix {

namespace {

constexpr char NotFinite[] =
    "CreateFluorescenceYield called with operators or wave-functions that are not finite\n";

// Squared norms of the states of a block.
std::vector<double> SquaredNorms(const BlockWaveFunctionType& x) {
  std::vector<double> sums(BlockSize(x));
  std::visit(
      [&](const auto& values) {
        for (std::size_t i = 1; i < values.size; ++i)
          for (std::size_t k = 0; k < sums.size(); ++k) sums[k] += NormSqr(values.at(i)[k]);
      },
      x.values);
  return sums;
}

// The spectra of all T2, empty, on one grid.
std::vector<SpectraType> EmptySpectra(std::size_t nT2, const EnergyWindow& window, std::uint32_t NE) {
  SpectraType header;
  header.Emin = window.Emin;
  header.Emax = window.Emax;
  header.dE = (window.Emax - window.Emin) / NE;
  header.EminPole = window.EminPole;
  header.EmaxPole = window.EmaxPole;
  header.Gamma = window.Gamma;
  std::vector<SpectraType> spectra;
  for (std::size_t t = 0; t < nT2; ++t) {
    SpectraType& S = spectra.emplace_back(SpectrumAllocate(header, NE));
    S.Name.clear();
    sprintfAdd(S.Name, "Spectrum %i/%i", static_cast<int>(t), static_cast<int>(nT2));
  }
  return spectra;
}

void RequireAscending(double Emin, double Emax) {
  if (Emin < Emax) return;
  DynamicString text;
  sprintfAdd(text,
             "CreateFluorescenceYield called with an empty energy window, Emin=%f is not below Emax=%f\n",
             Emin, Emax);
  throw std::runtime_error(text);
}

EnergyWindow Window(const KrylovPropagator& propagator, double E0, const ConvergenceSettingsType& settings) {
  PoleRange poles;
  poles.add(propagator.e, E0);
  poles = poles.forWindow();
  CreateSpectraSettings open;
  open.solver.grid = settings.grid;
  const EnergyWindow window = AutomaticEnergyWindow(poles.lowest, poles.highest, open);
  RequireAscending(window.Emin, window.Emax);
  return window;
}

// The yields of one state and one T1, for all T2.
std::vector<SpectraType> FluorescenceYieldRestricted(const OperatorType& H, const OperatorType& T1,
                                                     const std::vector<const OperatorType*>& T2,
                                                     const WaveFunctionType& psi,
                                                     const ConvergenceSettingsType& settings) {
  const bool given = NRestrictions(settings.Restrictions) > 0;
  const double E0 = EnergyOfState(H, psi);
  const WaveFunctionType phi = RestrictedTransition(T1, psi, settings.Restrictions, H);
  if (!std::isfinite(E0) || !std::isfinite(WaveFunctionCalculateNormSqr(phi)))
    throw std::runtime_error(NotFinite);
  const KrylovPropagator propagator = MakeKrylovPropagator(
      H, std::move(phi), given ? &settings.Restrictions : nullptr, settings.epsilon, settings.NTri,
      "Problem with TridiagonalMatrixToEigenSystem in "
      "FluorescenceYieldRestricted\n");
  const EnergyWindow window = Window(propagator, E0, settings);
  const EnergyGrid grid{window.Emin, window.Emax, settings.grid.NE, window.Gamma};

  std::vector<SpectraType> spectra = EmptySpectra(T2.size(), window, grid.NE);
  ForEnergyBatches(grid.NE, propagator.states.basis->N, [&](std::uint32_t first, std::uint32_t count) {
    const BlockWaveFunctionType chi =
        OrSay("WaveFunctionInit failed in FluorescenceYieldRestricted 00\n",
              [&] { return IntermediateStates(propagator, E0, grid, first, count); });
    for (std::size_t t = 0; t < T2.size(); ++t) {
      const std::vector<double> yield = SquaredNorms(BlockOperatorPsi(*T2[t], chi));
      std::copy(yield.begin(), yield.end(), spectra[t].Re.begin() + first);
    }
  });
  for (const SpectraType& S : spectra)
    for (const double yield : S.Re)
      if (!std::isfinite(yield)) throw std::runtime_error(NotFinite);
  return spectra;
}

}  // namespace

SpectraTypeArray FluorescenceYield(const OperatorType& H, const std::vector<const OperatorType*>& T1,
                                   const std::vector<const OperatorType*>& T2,
                                   const std::vector<const WaveFunctionType*>& psi,
                                   const ConvergenceSettingsType& settings) {
  ConvergenceSettingsType s = settings;
  if (s.grid.NE == 0) s.grid.NE = 1000;
  if (s.grid.Emin != CreateSpectraSettings::UnsetEmin && s.grid.Emax != CreateSpectraSettings::UnsetEmax)
    RequireAscending(s.grid.Emin, s.grid.Emax);
  SpectraTypeArray bundle;
  for (const WaveFunctionType* state : psi)
    for (const OperatorType* t1 : T1) {
      auto spectra = FluorescenceYieldRestricted(H, *t1, T2, *state, s);
      std::move(spectra.begin(), spectra.end(), std::back_inserter(bundle.spectra));
    }
  return bundle;
}

}  // namespace fermix
