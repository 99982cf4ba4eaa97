// The inner eigensolver of the ground-state search: lowest eigenstates of H inside the basis that the states
// have, dense where the basis is small and by restarted block Lanczos where it is large.
#pragma once

#include <vector>

#include "core/wave_function.h"
#include "solvers/convergence_settings.h"
#include "solvers/search_operator.h"

namespace fermix {

// Not-a-number or infinite values can't be mended by using less memory: callers stop at this status.
inline constexpr int StatusNotFinite = 2;

// Overwrites psi, all on one basis, with the lowest eigenstates of H + shift, ascending; states beyond the
// number of determinants become 0. Kinds follow H in the Krylov path (a real H gives real states); in the
// dense path a real state becomes complex when H is not real, and a complex one stays so.
// Status 0; 1 after lines when memory ran out, psi is then as it was or still a start vector; StatusNotFinite
// after a line.
[[nodiscard]] int BlockLanczosGroundStateConserveBasis(SearchOperator& H, double shift,
                                                       std::vector<WaveFunctionType>& psi,
                                                       const ConvergenceSettingsType& settings);

// For a single run, with nothing to remember behind it.
[[nodiscard]] inline int BlockLanczosGroundStateConserveBasis(const OperatorType& H, double shift,
                                                              std::vector<WaveFunctionType>& psi,
                                                              const ConvergenceSettingsType& settings) {
  SearchOperator searched(H);
  return BlockLanczosGroundStateConserveBasis(searched, shift, psi, settings);
}

// The two paths.
[[nodiscard]] int BlockLanczosGroundStateConserveBasisDense(const OperatorType& H, double shift,
                                                            std::vector<WaveFunctionType>& psi);
[[nodiscard]] int BlockLanczosGroundStateConserveBasisKrylov(SearchOperator& H, double shift,
                                                             std::vector<WaveFunctionType>& psi,
                                                             const ConvergenceSettingsType& settings);

}  // namespace fermix
