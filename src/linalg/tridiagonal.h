// Scalar response functions as a chain: G(w) = a[0] + b[0]^2 [(w - H)^-1]_00 with a tridiagonal H.
//
// This is what Lanczos gives. The same function as a list of poles stands in linalg/poles.h, as a star in
// linalg/anderson.h, as natural impurity orbitals in linalg/natural_orbitals.h.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "linalg/poles.h"

namespace fermix {

// Level k = 1 .. N has the energy a[k]; b[k] couples levels k and k + 1. a[0] is the constant of the function
// and b[0] its weight, the norm of the start state.
struct TriDiagonalMatrixType {
  std::string name = "Matrix";
  std::vector<double> a = {0};  // N + 1 elements
  std::vector<double> b;        // N elements
  double mu = 0;
};

// Number of levels.
inline std::uint32_t ChainLength(const TriDiagonalMatrixType& M) {
  return static_cast<std::uint32_t>(M.b.size());
}

// A chain of N levels: all zero but b[0] = 1.
TriDiagonalMatrixType InitTriDiagonalMatrix(std::uint32_t N);

// G at the complex energy z: the continued fraction from its end.
Complex16 ResponseAt(const TriDiagonalMatrixType& M, Complex16 z);

bool QFinite(const TriDiagonalMatrixType& M);

// The levels 1 .. N as a real matrix, with A0, B0 and Mu of the function; B0 is 0 if there is no level.
CompactMatrixType TriDiagonalMatrixToCompactMatrix(const TriDiagonalMatrixType& M);

// A level whose coupling is not above this comes from rounding: a chain ends before it. first is the coupling
// b[1], size the norm of H on the last level.
double CouplingFloor(double first, double size);

// The centre of these energies if they lie closer to each other than to 0, so that each can be taken from it
// exactly; 0 otherwise. Core levels are such energies: what is worked out without it has the digits of their
// splittings.
double CommonOffset(std::span<const double> energies);

// Householder reduction of the Hermitian A to a chain of Nj levels, A[i][j] = sum_kl Q[k][i] T_kl
// conj(Q[l][j]): the rows of Q are the basis in which A is the chain T. a[0], b[0] and mu become A0, B0 and
// Mu. Q may be null. Status 1 after a line when A is not square or not finite.
[[nodiscard]] int CompactMatrixTriDiagonalize(const CompactMatrixType& A, CompactMatrixType* Q,
                                              TriDiagonalMatrixType& T);

// Eigenvalues of H, ascending. Status 1 after printed lines when LAPACK fails.
[[nodiscard]] int TriDiagonalMatrixToEigenvalues(const TriDiagonalMatrixType& T, std::vector<double>& e);

// Eigenvalues, ascending, and eigenvectors as the rows of V.
[[nodiscard]] int TriDiagonalMatrixToEigensystem(const TriDiagonalMatrixType& T, CompactMatrixType& V,
                                                 std::vector<double>& e);

// Poles at the eigenvalues, weights (b[0] V[k][0])^2.
[[nodiscard]] int TriDiagonalMatrixToListOfPoles(const TriDiagonalMatrixType& T, ListOfPoles& P);

// Writes the chain as plain text; mode is "w" or "a". Status 1 after a line when the file can't be opened.
[[nodiscard]] int FilePrintPlainTriDiagonalMatrix(const TriDiagonalMatrixType& M, const char* path,
                                                  const char* mode);

}  // namespace fermix
