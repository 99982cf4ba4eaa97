// The Coulomb repulsion between electrons of atomic shells, from Slater integrals.
//
//     U = 1/2 sum over k, m, s, t of R^k c^k(m1, m3) c^k(m4, m2) c+(m1 s) c+(m2 t) c(m4 t) c(m3 s)
//
// Source: Condon and Shortley, The Theory of Atomic Spectra, sections 8^6 and 9^6. Terms of magnitude up to
// 100 times the double epsilon are dropped; the rest is in normal order.
#pragma once

#include "atomic/one_particle_terms.h"

namespace fermix {

// Within one shell of 2l + 1 orbitals of each spin; F holds F^0, F^2 .. F^2l.
OperatorType CreateOperatorCoulombSingleShell(std::uint32_t NFermion, const ShellIndices& shell,
                                              const std::vector<double>& F);

// Between two shells whose occupations stay; min(lA, lB) + 1 numbers each: F holds F^0, F^2 .. and G holds
// G^|lA-lB|, .. G^(lA+lB), in steps of two.
OperatorType CreateOperatorCoulombTwoShellsConstantOccupation(std::uint32_t NFermion, const ShellIndices& A,
                                                              const ShellIndices& B,
                                                              const std::vector<double>& F,
                                                              const std::vector<double>& G);

}  // namespace fermix
