// Scalar response functions as natural impurity orbitals: below and above the chemical potential a chain
// each, and the impurity between them.
//
// The impurity state is v |valence 1> + c |conduction 1>; with its complement c |valence 1> - v |conduction
// 1> it makes a bonding and an antibonding orbital, both coupled to the second levels of both chains.
//
//     ... val 3 - val 2 === impurity 1 - impurity 2 === con 2 - con 3 ...
#pragma once

#include "linalg/anderson.h"

namespace fermix {

// G(w) = A0 + B0^2 (G of val + G of con). The chains have a[0] = 0, weights b[0] = v and c with v^2 + c^2 =
// 1, and one level at least: a side without weight has coefficient 0 and one empty level at energy 0. The
// other fields follow from the chains (CompleteNaturalOrbitals).
struct BADoubleTriDiagonalMatrixType {
  std::string name = "Matrix";
  double Mu = 0;       // chemical potential
  double Epsilon = 0;  // half width of the split there
  double A0 = 0, B0 = 0;
  double E1 = 0, E2 = 0;                              // energies of the two impurity orbitals
  double V12 = 0;                                     // their coupling
  double V1Val = 0, V1Con = 0, V2Val = 0, V2Con = 0;  // couplings of each to the second level of each chain
  TriDiagonalMatrixType val = InitTriDiagonalMatrix(1), con = InitTriDiagonalMatrix(1);
};

// G at the complex energy z.
Complex16 ResponseAt(const BADoubleTriDiagonalMatrixType& M, Complex16 z);

// Brings M to this form, as the function that it is: B0 takes up the norm of the weights of the two chains,
// A0 their constants, a chain without levels gets an empty one. Works out all fields from E1 on.
void CompleteNaturalOrbitals(BADoubleTriDiagonalMatrixType& M);

// Splits P at mu over the half width w, thins out both parts to nVal and nCon poles (one at least) and makes
// them chains. Status 1 after a line: elements, mu or w that are not finite, or a negative w.
[[nodiscard]] int ListOfPolesToBADoubleTridiagonalMatrix(const ListOfPoles& P,
                                                         BADoubleTriDiagonalMatrixType& R, std::uint32_t nVal,
                                                         std::uint32_t nCon, double mu, double w);
// Through the poles, all of them, split at mu of the source.
[[nodiscard]] int TriDiagonalMatrixToBADoubleTriDiagonalMatrix(const TriDiagonalMatrixType& T,
                                                               BADoubleTriDiagonalMatrixType& R, double w);
[[nodiscard]] int AndersonMatrixToBADoubleTriDiagonalMatrix(const AndersonMatrixType& M,
                                                            BADoubleTriDiagonalMatrixType& R, double w);

// H as a real matrix: the two impurity orbitals, the valence chain from its second level on, the conduction
// chain from its second level on; with A0, B0 and Mu. Status 1 after a line when a chain has no level.
[[nodiscard]] int BADoubleTriDiagonalMatrixTypeToCompactMatrix(const BADoubleTriDiagonalMatrixType& M,
                                                               CompactMatrixType& H);

// The poles of both chains; a side without weight has none.
[[nodiscard]] int BADoubleTriDiagonalMatrixToListOfPoles(const BADoubleTriDiagonalMatrixType& M,
                                                         ListOfPoles& P);
// Through the matrix. The chain ends where it couples to nothing more.
[[nodiscard]] int BADoubleTriDiagonalMatrixToTriDiagonalMatrix(const BADoubleTriDiagonalMatrixType& M,
                                                               TriDiagonalMatrixType& T);
[[nodiscard]] int BADoubleTriDiagonalMatrixToAndersonMatrix(const BADoubleTriDiagonalMatrixType& M,
                                                            AndersonMatrixType& R);

// All numbers of magnitude strictly below x become 0.
void BADoubleTriDiagonalMatrixChop(BADoubleTriDiagonalMatrixType& M, double x);
// The same, and each chain ends at its first coupling below x.
void BADoubleTriDiagonalMatrixChopReduceDimension(BADoubleTriDiagonalMatrixType& M, double x);

}  // namespace fermix
