// Scalar response functions as a chain or as a list of poles: G(w) = a0 + b0^2 [(w - H)^-1]_00.
//
// A chain (tridiagonal H) is what Lanczos gives; poles are its eigenvalues with the weights of the first
// site.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "linalg/compact_matrix.h"

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

struct ListOfPoles {
  std::string name = "List Of Poles";
  std::vector<double> a;  // energies
  std::vector<double> b;  // weights, already squared
  double a0 = 0;          // constant of the function
  double mu = 0;
};

// Householder reduction of the Hermitian A to a chain of Nj levels, A[i][j] = sum_kl Q[k][i] T_kl
// conj(Q[l][j]): the rows of Q are the basis in which A is the chain T. a[0], b[0] and mu become A0, B0 and
// Mu. Q may be null. Status 1 after a line when A is not square, not finite, or LAPACK fails.
[[nodiscard]] int CompactMatrixTriDiagonalize(const CompactMatrixType& A, CompactMatrixType* Q,
                                              TriDiagonalMatrixType& T);

// Eigenvalues of H, ascending. Status 1 after printed lines when LAPACK fails.
[[nodiscard]] int TriDiagonalMatrixToEigenvalues(const TriDiagonalMatrixType& T, std::vector<double>& e);

// Eigenvalues, ascending, and eigenvectors as the rows of V.
[[nodiscard]] int TriDiagonalMatrixToEigensystem(const TriDiagonalMatrixType& T, CompactMatrixType& V,
                                                 std::vector<double>& e);

// Poles at the eigenvalues, weights (b[0] V[k][0])^2.
[[nodiscard]] int TriDiagonalMatrixToListOfPoles(const TriDiagonalMatrixType& T, ListOfPoles& P);

// Sorts by energy, ascending; equal energies keep their order.
void OrderListOfPoles(ListOfPoles& P);

// The poles of G_k(w) = <v_k| (w - A)^-1 |v_k> for each row v_k of V, A Hermitian; all on the eigenvalues of
// A. V has one row for each list and as many columns as A. Eigenvectors, as rows, go to vectors if it is not
// null.
[[nodiscard]] int HermitianCompactMatrixToListOfPoles(const CompactMatrixType& A,
                                                      std::vector<ListOfPoles>& poles,
                                                      const CompactMatrixType& V,
                                                      CompactMatrixType* vectors = nullptr);

// Writes the chain as plain text; mode is "w" or "a". Status 1 after a line when the file can't be opened.
[[nodiscard]] int FilePrintPlainTriDiagonalMatrix(const TriDiagonalMatrixType& M, const char* path,
                                                  const char* mode);

}  // namespace fermix
