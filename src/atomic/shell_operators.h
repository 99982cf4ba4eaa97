// Spin, orbital and total angular momentum of a shell, and its spin-orbit coupling.
//
// All in units of hbar, on spherical harmonics with spin or in the jjz basis, as the lists of the shell tell.
// Terms of magnitude up to 0.001 are dropped: what remains of cancelled products is rounding.
#pragma once

#include "atomic/one_particle_terms.h"

namespace fermix {

// A component of the spin; lists by spin may have any length, since spin is the same on every set of
// orbitals.
OperatorType CreateOperatorS(VectorComponent component, std::uint32_t NFermion, const ShellIndices& shell);
// A component of the orbital momentum, and of L + S.
OperatorType CreateOperatorL(VectorComponent component, std::uint32_t NFermion, const ShellIndices& shell);
OperatorType CreateOperatorJ(VectorComponent component, std::uint32_t NFermion, const ShellIndices& shell);

// The sum over electrons of l . s.
OperatorType CreateOperatorldots(std::uint32_t NFermion, const ShellIndices& shell);

}  // namespace fermix
