// Dense matrices: one record for real and complex ones, row-major, on BLAS and LAPACK.
//
// Element (i, j) lies at i * Nj + j. The libraries read the array as the transposed matrix; each call site
// accounts for that. Indices start at 0.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "host/base/complex16.h"
#include "host/base/copy_safe_variant.h"

namespace fermix {

struct CompactMatrixType {
  std::string Name = "Matrix";
  std::uint32_t Ni = 0, Nj = 0;  // rows, columns
  CopySafeVariant<std::vector<double>, std::vector<Complex16>> Data;
  // Carried numbers without effect on arithmetic: constant, weight and chemical potential of the response
  // function that the matrix may stand for. Copies hand them on.
  double A0 = 0, B0 = 1, Mu = 0;
  // Which form a script gets: a userdata, or a table with metatable MatrixMeta.
  bool IsUserdata = false;
};

inline bool IsComplexMatrix(const CompactMatrixType& m) { return m.Data.index() == 1; }

// A zero matrix. Throws bad_alloc after a line that names the allocation.
CompactMatrixType InitCompactMatrix(std::uint32_t Ni, std::uint32_t Nj, bool complex);

// Element (i, j) as a complex number; for edges and tests, not for inner loops.
Complex16 CompactMatrixElement(const CompactMatrixType& m, std::uint32_t i, std::uint32_t j);

// Promotes in place; no change if already complex.
void MakeCompactRealMatrixComplex(CompactMatrixType& m);

// Parts of magnitude strictly below threshold become 0; a complex matrix without imaginary parts left becomes
// real.
void CompactMatrixChop(CompactMatrixType& m, double threshold);

void CompactMatrixScale(CompactMatrixType& m, double x);
// A real matrix is promoted first unless the imaginary part of z is 0.
void CompactMatrixScaleComplex(CompactMatrixType& m, Complex16 z);

// 1 if m is square and equals its conjugate transpose: real parts of mirrored elements a, b differ by no more
// than |a + b| tolerance, imaginary parts sum to no more than |a - b| tolerance, plus a floor; the diagonal
// included.
bool QCompactMatrixHermitian(const CompactMatrixType& m, double tolerance);

// C = alpha op(A) op(B) + beta C; op is 'N' as it stands, 'T' transposed, 'C' conjugate transposed,
// '*' conjugated. Stays real when everything that is read is real. Status 1 and two lines when shapes don't
// fit.
[[nodiscard]] int CompactMatrixAddMultiply(char opA, char opB, const CompactMatrixType& A,
                                           const CompactMatrixType& B, CompactMatrixType& C, Complex16 alpha,
                                           Complex16 beta);
// A new C = op(A) op(B).
[[nodiscard]] int CompactMatrixMultiply(char opA, char opB, const CompactMatrixType& A,
                                        const CompactMatrixType& B, CompactMatrixType& C);

// In place through an LU factorisation. Status 0, 1 for a failed factorisation, -1 for a rectangular matrix.
[[nodiscard]] int CompactMatrixInverse(CompactMatrixType& m);

// True when all elements are finite numbers.
bool QFinite(const CompactMatrixType& m);

// Eigensystem of a Hermitian matrix: values ascend, row k of V is the eigenvector of values[k], so that
// A[i][j] = sum_k V[k][i] values[k] conj(V[k][j]).
// Status 1 after printed lines when A is not square or both LAPACK drivers fail.
[[nodiscard]] int CompactMatrixEigensystem(const CompactMatrixType& A, CompactMatrixType& V,
                                           std::vector<double>& values);

// R[i][j] = sum_k T[k][i] D[k] conj(T[k][j]): the way back from an eigensystem.
CompactMatrixType TransformDiagonalMatrixByCompactMatrixTtranATcon(const std::vector<double>& D,
                                                                   const CompactMatrixType& T);

// Minimal print, a row a line.
void StreamPrintCompactMatrixMinimal(const CompactMatrixType& m, std::FILE* stream);

}  // namespace fermix
