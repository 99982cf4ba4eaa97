// Rank-two tensors of a shell: the magnetic dipole vector T and the quadrupole tensor Q.
//
// On spherical harmonics, shell lists in order of rising m. With r the unit vector to an electron, T is the
// sum over electrons of s - 3 r (r . s).
#pragma once

#include "atomic/one_particle_terms.h"

namespace fermix {

// A component of T.
OperatorType CreateOperatorT(VectorComponent component, std::uint32_t NFermion, const ShellIndices& shell);

// Sums over electrons of 3x^2 - 1, 3y^2 - 1, 3z^2 - 1, and with the signs of their ladder terms of -3xy, -3xz
// and +3yz.
enum class QuadrupoleComponent { xx, yy, zz, xy, xz, yz };
OperatorType CreateOperatorQ(QuadrupoleComponent component, std::uint32_t NFermion,
                             const ShellIndices& shell);

}  // namespace fermix
