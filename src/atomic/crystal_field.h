// Potentials and transition operators that are expansions on spherical harmonics.
//
// V(r) = sum over terms of A(k, m) C(k, m), C(k, m) = sqrt(4 pi / (2k + 1)) Y(k, m) being the renormalised
// harmonics; the radial integrals are part of A.
#pragma once

#include "core/operator.h"

namespace fermix {

struct HarmonicsTerm {
  int l, m;  // rank and component, |m| <= l
  Complex16 value;
};
using HarmonicsExpansion = std::vector<HarmonicsTerm>;

// Two lists of orbitals of one spin (or of none) between which the potential acts: it puts electrons into the
// bra list and takes them from the ket list. Each holds 2l + 1 orbitals below NFermion, in order of rising m.
struct OrbitalPair {
  std::vector<std::uint16_t> bra, ket;
};

// sum over pairs, orbitals and terms of A(k, m) <l1 m1| C(k, m) |l2 m2> c+(l1 m1) c(l2 m2). With equal lists
// it is the crystal field of a shell, otherwise the transition from the ket to the bra shell.
OperatorType CreateOperatorCF(std::uint32_t NFermion, const std::vector<OrbitalPair>& pairs,
                              const HarmonicsExpansion& expansion);

}  // namespace fermix
