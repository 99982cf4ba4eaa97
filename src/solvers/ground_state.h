// The search for the lowest eigenstates of an operator whose Hilbert space can't be written down.
//
// The outer loop owns the determinant basis: H acts on the states, which pulls in the determinants that
// matter; the inner solver finds the lowest states on the basis of the moment; truncation drops what does not
// matter; and the search ends when the energy variance of every state is small.
#pragma once

#include <vector>

#include "core/operator.h"
#include "core/wave_function.h"
#include "solvers/convergence_settings.h"

namespace fermix {

// The restrictions of the search allow no determinant that H reaches from the start functions.
inline constexpr int StatusNothingAllowed = 3;

// Memory ran out, and nothing is left that could be truncated.
inline constexpr int StatusOutOfMemory = 4;

// On return psi holds the N lowest states, lowest first, all on one basis.
//
// H         gets a constant term of 0 if it has none; otherwise unchanged
// settings  epsilon stays doubled when memory ran out
// start     restrictions of the first basis. When it has any and NBitsKey is not 0, start states are created
//           in it and first converged inside it; otherwise the search starts from the N states in psi
// run       restrictions of the search itself; without any, those of H hold. Determinants that they forbid
// leave
//           the start functions with the first pass
// NBitsKey  of the states that are created
// The search is over when the variance of each state is below about zero times the sum of all <H^2> met so
// far. That says little of levels that lie close together at a large energy: where H leads from the result to
// no more than DenseBorder determinants, the states of that closed space are then worked out exactly, by one
// dense diagonalisation if the search itself did not end with it. Beyond that size only a smaller zero helps.
// Status 1 after lines when the search did not converge in 99 passes (psi holds the last states); passes that
// repeat the last one to the digit are left out. StatusOutOfMemory after lines, psi holds the last states;
// StatusNothingAllowed at the start of the search, psi is then as it came.
[[nodiscard]] int BlockGroundState(OperatorType& H, std::uint32_t N, ConvergenceSettingsType& settings,
                                   const DeterminantRestrictionType& start,
                                   const DeterminantRestrictionType& run, std::vector<WaveFunctionType>& psi,
                                   std::uint32_t NBitsKey);

}  // namespace fermix
