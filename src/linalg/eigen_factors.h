// The eigensystem of a Hermitian matrix in factors, A = Q T Q^H with a chain T, T = Z^T e Z.
//
// Eigenvectors of A would be the columns of Q Z^T. Who needs them only on a few vectors, or only a few of
// them, is served by the factors: the product is what costs most. A resolvent needs no Z either.
#pragma once

#include <variant>

#include "linalg/blas.h"
#include "linalg/tridiagonal.h"

namespace fermix {

struct ChainForm {
  TriDiagonalMatrixType T;
  std::variant<Reflectors<double>, Reflectors<Complex16>> Q;
};

// Status 1 after a line when A is not square or not finite.
[[nodiscard]] int CompactMatrixToChainForm(const CompactMatrixType& A, ChainForm& F);

// Q X, and Q^H X.
CompactMatrixType FromChainBasis(const ChainForm& F, CompactMatrixType X);
CompactMatrixType ToChainBasis(const ChainForm& F, CompactMatrixType X);

// x becomes 1 / (z - T) x. Not 0 when z is an eigenvalue to the last digit.
[[nodiscard]] int ChainResolvent(const TriDiagonalMatrixType& T, Complex16 z, std::vector<Complex16>& x);

struct EigenFactors {
  ChainForm chain;
  CompactMatrixType Z;    // rows: eigenvectors of the chain
  std::vector<double> e;  // ascending
};

// Status 1 after printed lines when A is not square or not finite, or LAPACK fails.
[[nodiscard]] int CompactMatrixEigenFactors(const CompactMatrixType& A, EigenFactors& F);

// <eigenvector k|column j of X>.
CompactMatrixType EigenComponents(const EigenFactors& F, CompactMatrixType X);

// The lowest N eigenvectors as rows.
CompactMatrixType EigenvectorsOfFactors(EigenFactors F, std::uint32_t N);

// As CompactMatrixEigensystem, with all eigenvalues, but rows only for the lowest N eigenvectors, or for all
// if there are not so many.
[[nodiscard]] int CompactMatrixLowestEigenvectors(const CompactMatrixType& A, std::uint32_t N,
                                                  CompactMatrixType& V, std::vector<double>& values);

}  // namespace fermix
