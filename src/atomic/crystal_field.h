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

// Orbitals of a shell l in order of rising m or mj; their number tells which ones:
//
//     2l + 1      all m, for one spin or without spin
//     2l, 2l + 2  the states of j = l - 1/2 and of j = l + 1/2
struct OrbitalList {
  std::vector<std::uint16_t> orbitals;  // below NFermion
  int l;

  int twoJ() const { return static_cast<int>(orbitals.size()) - 1; }  // or twice the largest m
};

// Two lists, both with or both without j, between which the potential acts: it puts electrons into the bra
// list and takes them from the ket list.
struct OrbitalPair {
  OrbitalList bra, ket;
};

// sum over pairs, orbitals and terms of A(k, m) <bra orbital| C(k, m) |ket orbital> c+(bra) c(ket). With
// equal lists it is the crystal field of a shell, otherwise the transition from the ket to the bra shell.
// States of j need four pairs for a shell.
OperatorType CreateOperatorCF(std::uint32_t NFermion, const std::vector<OrbitalPair>& pairs,
                              const HarmonicsExpansion& expansion);

}  // namespace fermix
