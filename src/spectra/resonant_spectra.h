// Resonant spectra: intensity against incident and transferred energy of an excitation by T1 followed by a
// transition T2.
//
//     psi --T1--> phi --1/(E0_1 + Ein + i Gamma1 / 2 - H1)--> chi(Ein) --T2--> x(Ein, t)
//
//     S(Ein, t; E) = <x| 1 / (E0_2 + E + i Gamma2 / 2 - H2) |x>       one spectrum for each Ein and T2
//
// Bases that T1 and H1, then T2 and H2 close, if small enough: all eigenstates of both (exact). Else chi on a
// Krylov basis of H1, the same for all incident energies, and one chain of H2 for each x (Lanczos).
// Source: Kramers and Heisenberg, Z. Phys. 31 (1925) 681.
#pragma once

#include "core/operator.h"
#include "core/wave_function.h"
#include "solvers/convergence_settings.h"
#include "spectra/spectrum.h"

namespace fermix {

struct ResonantSpectraSettings {
  static constexpr double UnsetE0 = std::numeric_limits<double>::max();
  // In use: NTri1 and NTri2, epsilon, zero, DenseBorder, grid1 (incident energies) and grid2, Restrictions1
  // of what T1 and H1 make and Restrictions2 of what T2 and H2 make; if there are none, those of H1 and H2
  // count.
  ConvergenceSettingsType solver;
  double E0_1 = UnsetE0, E0_2 = UnsetE0;  // energy zeros; each state's energy in H1 and H2 if unset
  bool ForceDenseMethod = false;          // exact whatever the size
};

// For each state, for each T1, for each T2: one spectrum for each incident energy. Im is negative, as in
// other spectra. The Lanczos path chooses grids that are left open anew for each state and T1, the exact one
// for all together.
//
// H1 and H2 are Hermitian, no list is empty and all arguments have one space. Throws std::runtime_error with
// the text for the user when a state or a spectrum is not finite or a window is empty.
SpectraTypeArray CreateResonantSpectra(const OperatorType& H1, const OperatorType& H2,
                                       const std::vector<const OperatorType*>& T1,
                                       const std::vector<const OperatorType*>& T2,
                                       const std::vector<const WaveFunctionType*>& psi,
                                       const ResonantSpectraSettings& settings);

}  // namespace fermix
