// Fluorescence yield: all that a transition T2 emits from the state that an incident energy excites, whatever
// the energy of the emitted light.
//
//     Y(E) = |T2 1 / (E0 + E + i Gamma / 2 - H) T1 |psi>|^2
#pragma once

#include "core/operator.h"
#include "core/wave_function.h"
#include "solvers/convergence_settings.h"
#include "spectra/spectrum.h"

namespace fermix {

// For each state, for each T1, for each T2 one spectrum with the yield, positive, in Re; Im is 0. Energies
// count from the energy of the state in H. Windows that are left open are chosen for each state and T1 as
// CreateSpectra does.
//
// In use of the settings: NTri, epsilon, grid, and Restrictions of what T1 and H make; if there are none,
// those of H count. H is Hermitian, no list is empty and all arguments have one space. Throws
// std::runtime_error with the text for the user when a state or an operator is not finite or the window is
// empty.
SpectraTypeArray FluorescenceYield(const OperatorType& H, const std::vector<const OperatorType*>& T1,
                                   const std::vector<const OperatorType*>& T2,
                                   const std::vector<const WaveFunctionType*>& psi,
                                   const ConvergenceSettingsType& settings);

}  // namespace fermix
