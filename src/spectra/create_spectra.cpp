#include "spectra/create_spectra.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <stdexcept>

#include "core/determinant_matrix.h"
#include "core/expectation.h"
#include "core/operator_on_state.h"
#include "host/base/status.h"
#include "host/base/text.h"
#include "solvers/closed_space.h"
#include "solvers/krylov_basis.h"
#include "spectra/energy_grid.h"

namespace fermix {

namespace {

// What a calculation works on.
struct Problem {
  const OperatorType& H;
  const CreateSpectraSettings& settings;
  const DeterminantRestrictionType& R;  // in force; may be empty
  std::vector<WaveFunctionType> Tpsi;   // one a pair
  std::vector<double> E0;               // one a pair
};

constexpr const char* NotFinite =
    "CreateSpectra called with operators or wave-functions that are not finite\n";

// Runs a step of the preparation; memory that does not suffice becomes advice to the user.
template <class Step>
void OrAdvise(const char* advice, Step&& step) {
  if (!FitsInMemory(step)) throw std::runtime_error(advice);
}

WaveFunctionType TransitionState(const OperatorType& T, const WaveFunctionType& psi,
                                 const DeterminantRestrictionType& R) {
  WaveFunctionType Tpsi;
  if (NRestrictions(R) > 0) {
    OrAdvise(
        "OperatorPsi with restrictions failed in calculation of spectra\n Out of memory?\nTry to split the "
        "call to several calls for different wave-functions or transition operators\n",
        [&] { Tpsi = OperatorPsiRestricted(T, psi, R); });
  } else {
    OrAdvise(
        "OperatorPsi failed in calculation of spectra\n Out of memory?\nTry to split the call to several "
        "calls for different wave-functions or transition operators\n",
        [&] { Tpsi = OperatorPsi(T, psi); });
  }
  return Tpsi;
}

// --- Exact path

bool QSmallEnough(const WaveFunctionType& U, const CreateSpectraSettings& settings) {
  return settings.ForceDenseMethod || ElementCount(U) <= settings.solver.DenseBorder;
}

// A state with the determinants of all transition states.
WaveFunctionType UnionOfTransitionStates(const Problem& problem) {
  WaveFunctionType U = WaveFunctionCopy(problem.Tpsi[0]);
  for (std::size_t k = 1; k < problem.Tpsi.size() && QSmallEnough(U, problem.settings); ++k) {
    const double factor = (std::rand() + 1.0) / 2147483647.0;  // so that no two cancel by accident
    OrAdvise(
        "WaveFunctionAddMultipliedUnionBasis failed in calculation of spectra\n Out of memory?\nTry to split "
        "the call to several calls for different wave-functions or transition operators\n",
        [&] { WaveFunctionAddMultipliedUnionBasis(U, problem.Tpsi[k], factor); });
  }
  return U;
}

bool CloseUnderH(const Problem& problem, WaveFunctionType& U) {
  const std::uint32_t most = problem.settings.ForceDenseMethod ? std::numeric_limits<std::uint32_t>::max()
                                                               : problem.settings.solver.DenseBorder;
  bool closed = false;
  OrAdvise(
      "WaveFunctionAddUnionBasis failed in calculation of spectra\n Out of memory?\nTry to split the call to "
      "several calls for different wave-functions or transition operators\n",
      [&] { closed = CloseUnder(problem.H, problem.R, most, U); });
  return closed;
}

// The transition states as rows over the determinants of U, which holds all of them.
CompactMatrixType TransitionStatesAsRows(const std::vector<WaveFunctionType>& Tpsi,
                                         const WaveFunctionType& U) {
  const bool complex = std::any_of(Tpsi.begin(), Tpsi.end(), [](const auto& psi) { return QComplex(psi); });
  CompactMatrixType V = InitCompactMatrix(static_cast<std::uint32_t>(Tpsi.size()), ElementCount(U), complex);
  std::visit(
      [&](auto& rows) {
        using T = std::decay_t<decltype(rows[0])>;
        for (std::size_t v = 0; v < Tpsi.size(); ++v)
          for (std::uint32_t i = 1; i <= ElementCount(Tpsi[v]); ++i)
            if (const std::uint32_t column = BasisFind(*U.basis, ElementKey(Tpsi[v], i)))
              rows[v * V.Nj + column - 1] = ToKind<T>(ElementValue(Tpsi[v], i));
      },
      V.Data);
  return V;
}

// The rows of V over the determinants of U, as states whose elements stand in the reverse order.
std::vector<WaveFunctionType> RowsAsStates(const CompactMatrixType& V, const WaveFunctionType& U) {
  const auto reversed = std::make_shared<DeterminantBasis>(BasisReversed(*U.basis));
  std::vector<WaveFunctionType> states(V.Ni);
  std::visit(
      [&](const auto& rows) {
        using T = std::decay_t<decltype(rows[0])>;
        for (std::size_t k = 0; k < states.size(); ++k) {
          BlockedArray<T> values(std::size_t{V.Nj} + 1);
          for (std::uint32_t i = 0; i < V.Nj; ++i) values[V.Nj - i] = rows[k * V.Nj + i];
          states[k].basis = reversed;
          states[k].values = std::move(values);
        }
      },
      V.Data);
  return states;
}

void ExactPoles(Problem& problem, const WaveFunctionType& U, std::vector<ListOfPoles>& poles,
                CompactMatrixType* eigenvectors) {
  CompactMatrixType A, V;
  OrAdvise(
      "InitCompactMatrix failed in calculation of spectra\n Out of memory?\nTry to split the call to several "
      "calls for different wave-functions or transition operators or use sparse methods "
      "({\"DenseBorder\",0} in options)\n",
      [&] {
        A = OperatorToDeterminantMatrix(problem.H, U);
        V = TransitionStatesAsRows(problem.Tpsi, U);
      });
  problem.Tpsi.clear();
  if (HermitianCompactMatrixToListOfPoles(A, poles, V, eigenvectors))
    throw std::runtime_error("HermitianCompactMatrixToListOfPoles failed in calculation of spectra\n");
}

// --- Lanczos path

std::string ChainFile(const CreateSpectraSettings& settings, std::size_t pairs, std::size_t k) {
  if (pairs == 1) return settings.file;
  DynamicString name = settings.file;
  sprintfAdd(name, "_%02d", static_cast<int>(k));
  return name;
}

// A chain as long as asked for, zeros behind the levels of the states, which go to `states`.
LanczosRun RunKrylov(const Problem& problem, const WaveFunctionType& Tpsi, const LanczosSettings& settings,
                     std::vector<WaveFunctionType>& states) {
  KrylovStates K = LanczosKrylovStates(problem.H, &problem.R, Tpsi, settings);
  LanczosRun run{std::move(K.chain), static_cast<std::uint32_t>(K.states.size())};
  run.chain.a.resize(std::size_t{settings.length} + 1);
  run.chain.b.resize(settings.length);
  if (run.levels == 0) run.chain.b[0] = WaveFunctionCalculateNorm(Tpsi);  // all may have been truncated
  states = std::move(K.states);
  return run;
}

std::vector<LanczosRun> RunLanczosForAllPairs(Problem& problem,
                                              std::vector<std::vector<WaveFunctionType>>& states) {
  const CreateSpectraSettings& s = problem.settings;
  const LanczosSettings settings{s.solver.NTri, s.solver.epsilon,
                                 std::max(s.solver.grid.Gamma, s.solver.epsilon)};
  std::vector<LanczosRun> runs;
  if (s.KrylovBasis) {
    states.resize(problem.Tpsi.size());
    for (std::size_t k = 0; k < states.size(); ++k) {
      runs.push_back(RunKrylov(problem, problem.Tpsi[k], settings, states[k]));
      problem.Tpsi[k] = WaveFunctionType();
    }
  } else {
    runs = LanczosTriDiagonalize(problem.H, &problem.R, std::move(problem.Tpsi), settings);
  }
  if (s.file.empty()) return runs;
  for (std::size_t k = 0; k < runs.size(); ++k) {
    // The file is a by-product: a line tells when it could not be written, the spectra follow all the same.
    const std::string name = ChainFile(s, runs.size(), k);
    static_cast<void>(FilePrintPlainTriDiagonalMatrix(runs[k].chain, name.c_str(), "w"));
  }
  return runs;
}

// --- From poles and chains to spectra

// Energies that contribute, ascending.
const std::vector<double>& PoleEnergies(const ListOfPoles& P) {
  if (!QFinite(P)) throw std::runtime_error(NotFinite);
  return P.a;
}

std::vector<double> PoleEnergies(const LanczosRun& run) {
  if (!QFinite(run.chain)) throw std::runtime_error(NotFinite);
  std::vector<double> e;
  if (LanczosEnergies(run, e))
    throw std::runtime_error("TriDiagonalMatrixToEigenvalues failed in calculation of spectra\n");
  return e;
}

void FillSpectrum(double E0, const ListOfPoles& P, SpectraType& S) { ListOfPolesToSpectrum(E0, P, S); }

void FillSpectrum(double E0, const LanczosRun& run, SpectraType& S) {
  if (TriDiagonalMatrixToSpectrum(E0, run.chain, S))
    throw std::runtime_error("TriDiagonalMatrixToSpectrum failed in calculation of spectra\n");
}

template <class Representation>
SpectraTypeArray SpectraOnOneGrid(const std::vector<Representation>& functions, const std::vector<double>& E0,
                                  const CreateSpectraSettings& settings) {
  PoleRange poles;
  for (std::size_t k = 0; k < functions.size(); ++k) poles.add(PoleEnergies(functions[k]), E0[k]);
  poles = poles.forWindow();
  const EnergyWindow window = AutomaticEnergyWindow(poles.lowest, poles.highest, settings);
  if (!(window.Emin < window.Emax)) {
    DynamicString text;
    sprintfAdd(text, "CreateSpectra called with an empty energy window, Emin=%f is not below Emax=%f\n",
               window.Emin, window.Emax);
    throw std::runtime_error(text);
  }
  if (!std::isfinite(window.Emax - window.Emin) || !std::isfinite(window.Gamma)) {
    DynamicString text;
    sprintfAdd(text, "CreateSpectra called with an energy window from %g to %g that is too wide\n",
               window.Emin, window.Emax);
    throw std::runtime_error(text);
  }

  SpectraType header;
  header.Name = "Spec";
  header.Emin = window.Emin;
  header.Emax = window.Emax;
  header.dE = (window.Emax - window.Emin) / settings.solver.grid.NE;
  header.EminPole = window.EminPole;
  header.EmaxPole = window.EmaxPole;
  header.Gamma = window.Gamma;
  SpectraTypeArray bundle;
  for (std::size_t k = 0; k < functions.size(); ++k) {
    SpectraType S = SpectrumAllocate(header, settings.solver.grid.NE);
    S.Name.clear();
    sprintfAdd(S.Name, "Spectrum %i", static_cast<int>(k));
    FillSpectrum(E0[k], functions[k], S);
    bundle.spectra.push_back(std::move(S));
  }
  return bundle;
}

}  // namespace

EnergyWindow AutomaticEnergyWindow(double EminPole, double EmaxPole, const CreateSpectraSettings& settings) {
  EnergyWindow w{EminPole, EmaxPole, settings.solver.grid.Emin, settings.solver.grid.Emax,
                 settings.solver.grid.Gamma};
  const bool automaticEmin = w.Emin == CreateSpectraSettings::UnsetEmin,
             automaticEmax = w.Emax == CreateSpectraSettings::UnsetEmax;
  double lower = EminPole - 0.125 * (EmaxPole - EminPole), upper = EmaxPole + 0.125 * (EmaxPole - EminPole);
  if (EminPole == EmaxPole) {
    const double E = EminPole;  // the window reaches a bit beyond 0 and as far beyond the pole
    lower = E == 0 ? -1.0 : E < 0 ? 2.125 * E : -0.125 * E;
    upper = E == 0 ? 1.0 : E < 0 ? -0.125 * E : 2.125 * E;
  }
  if (automaticEmin) w.Emin = lower;
  if (automaticEmax) w.Emax = upper;
  if (w.Gamma == 0) w.Gamma = 10 * (w.Emax - w.Emin) / settings.solver.grid.NE;
  return w;
}

CreateSpectraResult CreateSpectra(const OperatorType& H, const std::vector<const OperatorType*>& T,
                                  const std::vector<const WaveFunctionType*>& psi,
                                  const CreateSpectraSettings& settings) {
  const bool given = NRestrictions(settings.solver.Restrictions) > 0;
  Problem problem{H, settings, given ? settings.solver.Restrictions : H.Restrictions, {}, {}};
  for (std::size_t t = 0; t < T.size(); ++t)
    for (const WaveFunctionType* state : psi) {
      problem.E0.push_back(settings.E0 != CreateSpectraSettings::UnsetE0 ? settings.E0
                           : t == 0                                      ? PsiHermitianOperatorPsi(H, *state)
                                    : problem.E0[problem.E0.size() - psi.size()]);
      problem.Tpsi.push_back(TransitionState(*T[t], *state, settings.solver.Restrictions));
      // Lanczos restricts its start state by the restrictions of H; here, so that both paths agree.
      if (!given && NRestrictions(H.Restrictions) > 0)
        WaveFunctionRestrict(problem.Tpsi.back(), H.Restrictions);
      if (!std::isfinite(problem.E0.back()) ||
          !std::isfinite(WaveFunctionCalculateNormSqr(problem.Tpsi.back())))
        throw std::runtime_error(NotFinite);
    }

  WaveFunctionType U = UnionOfTransitionStates(problem);
  const bool exact = QSmallEnough(U, settings) && CloseUnderH(problem, U);
  CreateSpectraResult result;
  if (exact) {
    std::vector<ListOfPoles> poles;
    CompactMatrixType eigenvectors;
    ExactPoles(problem, U, poles, settings.KrylovBasis ? &eigenvectors : nullptr);
    if (settings.KrylovBasis) result.states.push_back(RowsAsStates(eigenvectors, U));
    result.spectra = SpectraOnOneGrid(poles, problem.E0, settings);
    result.representations = std::move(poles);
  } else {
    U = WaveFunctionType();
    auto runs = RunLanczosForAllPairs(problem, result.states);
    result.spectra = SpectraOnOneGrid(runs, problem.E0, settings);
    std::vector<TriDiagonalMatrixType> chains;
    for (std::size_t k = 0; k < runs.size(); ++k) {
      chains.push_back(std::move(runs[k].chain));
      for (std::size_t i = 1; i < chains[k].a.size(); ++i) chains[k].a[i] -= problem.E0[k];
    }
    result.representations = std::move(chains);
  }
  return result;
}

}  // namespace fermix
