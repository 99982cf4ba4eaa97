// First determinant bases under occupation restrictions: complete ones for small systems, random ones for
// large ones, and growth by hops within a restriction.
#pragma once

#include "core/operator.h"
#include "core/wave_function.h"

namespace fermix {

// Adds to psi every determinant that one hop between two orbitals of one restriction reaches and that
// fulfils R. The coefficients that result are of no interest: callers randomise psi. Status 1 after a line
// when memory runs out; psi is then unchanged.
[[nodiscard]] int ExtendBasisUsingRestrictions(const DeterminantRestrictionType& R, WaveFunctionType& psi);

// Adds to psi every determinant of its fermions that fulfils R: the empty one first, then from the full one
// downwards, orbital 0 being the highest digit. Modes stay empty. Coefficients are 1 (complex: 1 + i).
// Status 1 for more than 30 orbitals (with a line), or when memory runs out; what was added stays.
[[nodiscard]] int ExtendBasisCompletenessSmallSystems(const DeterminantRestrictionType& R,
                                                      WaveFunctionType& psi);

// Fills psi with N random orthonormal states on one basis inside R; complex when H is. States beyond the
// number of determinants are zero. Up to 24 orbitals the basis is complete. Above it is a set of random
// determinants and what H makes of them, and if R allows no more than 5000, all of these.
// Status 1 after a line that says what failed, and psi is then empty, or, if memory ran out for the last of
// them, incomplete.
[[nodiscard]] int CreateStartingFunctions(const OperatorType& H, std::uint32_t N,
                                          const DeterminantRestrictionType& R,
                                          std::vector<WaveFunctionType>& psi, std::uint32_t NBitsKey);

// psi[i] -= sum over j < i of <psi[j]|psi[i]> psi[j], for states on one basis, one j after the other.
void OrthogonalizeAgainstEarlier(std::vector<WaveFunctionType>& psi, std::size_t i);

}  // namespace fermix
