// The Coulomb repulsion between electrons of atomic shells, from Slater integrals.
//
//     U = 1/2 sum over k, 1, 2, 3, 4 of R^k c^k(1, 3) c^k(4, 2) c+(1) c+(2) c(4) c(3)
//
// in which 1 and 3, and 2 and 4, are orbitals of one spin, or states of good j and jz. Lists of integrals
// hold one number for each k that couples the shells of both electrons, in rising order (CoulombOrders).
// Terms of magnitude up to 100 times the double epsilon are dropped; the rest is in normal order.
//
// Source: Condon and Shortley, The Theory of Atomic Spectra, sections 8^6 and 9^6; for states of good j
// Grant, Adv. Phys. 19 (1970) 747.
#pragma once

#include "atomic/one_particle_terms.h"

namespace fermix {

// A shell: all projections of one angular momentum, and each of them in each of the spins.
struct CoulombShell {
  int l = 0;
  int twoJ = 0;  // twice the momentum whose projections number the orbitals: 2l, or 2j of a shell of good j
  // The orbitals by rising projection: a list for spin down and one for up, or one of states jz.
  std::vector<std::vector<std::uint16_t>> spins;

  CoulombShell(const ShellIndices& shell);  // of 2l + 1 orbitals for each spin
  // Of 2 |kappa| states: j = |kappa| - 1/2, and l = j - 1/2 for kappa < 0, j + 1/2 for kappa > 0. Kappa 0 is
  // a shell without states.
  CoulombShell(int kappa, std::vector<std::uint16_t> states);
};

// k = first, first + 2, .. : count numbers, none where no k couples the shells.
struct CoulombOrders {
  int first, count;
};
// The k of R^k(AB, CD): A with C, and B with D, fulfil the triangle rule with k in their momenta (j where
// they have one), and their l add up with k to an even number. F^k of two shells is R^k(AB, AB), G^k is
// R^k(AB, BA).
CoulombOrders CoulombOrdersOf(const CoulombShell& A, const CoulombShell& B, const CoulombShell& C,
                              const CoulombShell& D);

// The shells of a call are all of one kind.
//
// Within one shell; F holds F^0, F^2 ..
OperatorType CreateOperatorCoulombSingleShell(std::uint32_t NFermion, const CoulombShell& shell,
                                              const std::vector<double>& F);

// Between two shells whose occupations stay. Each pair of an electron in A and one in B counts once.
OperatorType CreateOperatorCoulombTwoShellsConstantOccupation(std::uint32_t NFermion, const CoulombShell& A,
                                                              const CoulombShell& B,
                                                              const std::vector<double>& F,
                                                              const std::vector<double>& G);

// The part of U, as above with its 1/2, in which electrons of C and D scatter into A and B: 1 in A, 2 in B, 3
// in C, 4 in D. The shells (B, A, D, C) give the same operator: where they are not the same shells the part
// of both is twice this. So the exchange G between A and B is twice the operator of (A, B, B, A) with R = G.
// (C, D, A, B) gives the adjoint.
OperatorType CreateOperatorCoulombFourShells(std::uint32_t NFermion, const CoulombShell& A,
                                             const CoulombShell& B, const CoulombShell& C,
                                             const CoulombShell& D, const std::vector<double>& R);

}  // namespace fermix
