// Green's functions of transition operators: G(E) = <psi| T^+ 1 / (E + E0 + i Gamma / 2 - H) T |psi>.
//
//     T psi --+--> closed basis small enough: dense matrix, all poles      (exact)
//             +--> else: one Lanczos chain for each pair of T and psi      (Lanczos)
//                                  |
//     automatic energy window <----+----> spectra on one grid, and the poles or chains they came from
#pragma once

#include "core/operator.h"
#include "core/wave_function.h"
#include "solvers/convergence_settings.h"
#include "spectra/spectrum.h"

namespace fermix {

struct CreateSpectraSettings {
  // Values that stand for "not given".
  static constexpr double UnsetEmin = std::numeric_limits<double>::max(), UnsetEmax = -UnsetEmin,
                          UnsetE0 = UnsetEmin;
  // In use: NTri, epsilon, zero, DenseBorder, grid, and Restrictions of all determinants; if there are none,
  // those of H count.
  ConvergenceSettingsType solver;
  double E0 = UnsetE0;            // energy zero of all spectra; each state's own energy if unset
  bool ForceDenseMethod = false;  // exact whatever the size
  bool KrylovBasis = false;       // the states on which H was represented are wanted too
  std::string file;               // the chains go there as plain text; empty for nowhere
};

// One spectrum for each pair; pair t nPsi + p belongs to T[t] and psi[p].
struct CreateSpectraResult {
  SpectraTypeArray spectra;
  // Lanczos: chains relative to the energy zero of their pair. Exact: poles at the eigenvalues of H.
  std::variant<std::vector<TriDiagonalMatrixType>, std::vector<ListOfPoles>> representations;
  // With KrylovBasis. Lanczos: the states of the chain for each pair. Exact: one list, all eigenstates in the
  // order of their energies, on one basis.
  std::vector<std::vector<WaveFunctionType>> states;
};

// H is Hermitian, and all arguments have one space. Throws std::runtime_error with the text for the user when
// memory runs out in the preparation, a transition state has no finite norm or the window is empty.
CreateSpectraResult CreateSpectra(const OperatorType& H, const std::vector<const OperatorType*>& T,
                                  const std::vector<const WaveFunctionType*>& psi,
                                  const CreateSpectraSettings& settings);

// The grid of a calculation: what the settings leave open follows from the range of the poles.
struct EnergyWindow {
  double EminPole, EmaxPole, Emin, Emax, Gamma;
};
// EminPole and EmaxPole count from the energy zero.
EnergyWindow AutomaticEnergyWindow(double EminPole, double EmaxPole, const CreateSpectraSettings& settings);

}  // namespace fermix
