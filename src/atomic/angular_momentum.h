// Angular-momentum algebra: Wigner's 3j symbol and the Slater coefficients of Coulomb and crystal-field
// integrals.
//
// Spin-orbitals of a shell l are numbered 2 (m + l) + s, s = 0 for spin down and 1 for spin up:
//
//     position   0   1     2   3    ...   4l  4l+1
//     m         -l  -l   1-l 1-l    ...    l   l
//     spin      dn  up    dn  up    ...   dn  up
//
// Lists of orbitals are given split by spin, each in order of rising m.
#pragma once

namespace fermix {

// The 3j symbol ( j1 j2 j3 ; m1 m2 m3 ). 0 unless m1 + m2 + m3 = 0, |mi| <= ji and the triangle closes.
//
// The sum over its alternating terms is exact, so that the symbol is correct to an ulp or two. Not-a-number
// for j1 + j2 + j3 > 5000.
double ThreeJSymbol(int j1, int m1, int j2, int m2, int j3, int m3);

// The same with all six arguments doubled: 2j and 2m. 0 where a pair j, m, or the three j, are not integer
// together.
double ThreeJSymbolHalf(int j1, int m1, int j2, int m2, int j3, int m3);

// c^k(l1 m1, l2 m2) = sqrt(4 pi / (2k + 1)) <Y_l1,m1 | Y_k,m1-m2 | Y_l2,m2>
//                   = (-1)^m1 sqrt((2 l1 + 1)(2 l2 + 1)) ( l1 k l2 ; 0 0 0 ) ( l1 k l2 ; -m1 m1-m2 m2 ).
// Source: Condon and Shortley, The Theory of Atomic Spectra, section 8^6.
double SlaterCoefficientC(int k, int l1, int m1, int l2, int m2);

// The same between states of good j: sqrt(4 pi / (2k + 1)) <l1 j1 mj1| Y_k,mj1-mj2 |l2 j2 mj2>, in which l
// couples with the spin in this order. The arguments j and mj are doubled; 0 where they are not those of such
// a state.
double SlaterCoefficientCjcoupling(int k, int l1, int twoJ1, int twoMj1, int l2, int twoJ2, int twoMj2);

}  // namespace fermix
