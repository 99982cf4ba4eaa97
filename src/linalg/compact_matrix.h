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
#include "linalg/element_list.h"

namespace fermix {

struct CompactMatrixType {
  std::string Name = "Matrix";
  std::uint32_t Ni = 0, Nj = 0;  // rows, columns
  ElementList Data;
  // Carried numbers without effect on arithmetic: constant, weight and chemical potential of the response
  // function that the matrix may stand for. Copies hand them on.
  double A0 = 0, B0 = 1, Mu = 0;
  // The form that a script gets it in: a userdata, or a table with metatable MatrixMeta. Copies hand it on.
  bool IsUserdata = false;
};

inline bool IsComplexMatrix(const CompactMatrixType& m) { return m.Data.index() == 1; }

// A zero matrix. Throws bad_alloc after a line that names the allocation.
CompactMatrixType InitCompactMatrix(std::uint32_t Ni, std::uint32_t Nj, bool complex);

// Ones on the diagonal, also of a rectangular matrix; real, named "I_Matrix".
CompactMatrixType InitCompactIdentityMatrix(std::uint32_t Ni, std::uint32_t Nj);

// Bytes that the elements take.
std::size_t OwnedBytes(const CompactMatrixType& m);

// Another shape for the same sequence of elements, cut or continued by zeros.
void ResizeCompactMatrix(CompactMatrixType& m, std::uint32_t Ni, std::uint32_t Nj);

// Status 1 after a line when there is no row i.
[[nodiscard]] int CompactMatrixRemoveRow(CompactMatrixType& m, std::uint32_t i);

// Element (i, j) as a complex number; for edges and tests, not for inner loops.
Complex16 CompactMatrixElement(const CompactMatrixType& m, std::uint32_t i, std::uint32_t j);

// Promotes in place; no change if already complex.
void MakeCompactRealMatrixComplex(CompactMatrixType& m);

// Parts of magnitude strictly below threshold become 0; a complex matrix without imaginary parts left becomes
// real.
void CompactMatrixChop(CompactMatrixType& m, double threshold);

void CompactMatrixConjugate(CompactMatrixType& m);
void CompactMatrixTranspose(CompactMatrixType& m);

void CompactMatrixScale(CompactMatrixType& m, double x);
// A real matrix is promoted first unless the imaginary part of z is 0.
void CompactMatrixScaleComplex(CompactMatrixType& m, Complex16 z);

// a += factor b; a real a is promoted when b is complex. Status 1 after a line when the shapes differ.
[[nodiscard]] int CompactMatrixAdd(CompactMatrixType& a, const CompactMatrixType& b, double factor = 1);
[[nodiscard]] inline int CompactMatrixSub(CompactMatrixType& a, const CompactMatrixType& b) {
  return CompactMatrixAdd(a, b, -1);
}
// M += z B with the upper left corner of B at (i, j). Status 1 after a line when it does not fit.
[[nodiscard]] int CompactMatrixAddShifted(CompactMatrixType& M, const CompactMatrixType& B, Complex16 z,
                                          std::uint32_t i, std::uint32_t j);

// Shapes, kinds and all elements are equal: a real matrix differs from a complex one.
bool QCompactMatrixEqual(const CompactMatrixType& a, const CompactMatrixType& b);

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

// A new R = op(A) op(B) op(C).
[[nodiscard]] int CompactMatrixMultiply3(char opA, char opB, char opC, const CompactMatrixType& A,
                                         const CompactMatrixType& B, const CompactMatrixType& C,
                                         CompactMatrixType& R);
// M becomes U M U^dagger, or U^dagger M U.
[[nodiscard]] int TransformCompactMatrixInlineNC(CompactMatrixType& M, const CompactMatrixType& U);
[[nodiscard]] int TransformCompactMatrixInlinecT(CompactMatrixType& M, const CompactMatrixType& U);

// Diagonal matrices D in the basis of the rows of T:
//   TdagAT               sum_k conj(T[k][i]) D[k] T[k][j]
//   TtranATcon           sum_k T[k][i] D[k] conj(T[k][j]), the way back from an eigensystem
//   TRtranATLcon         sum_k TR[k][i] D[k] conj(TL[k][j]), the same for a general one; status 1 after a
//   line
//                        when the shapes differ
CompactMatrixType TransformDiagonalMatrixByCompactMatrixTdagAT(const std::vector<double>& D,
                                                               const CompactMatrixType& T);
CompactMatrixType TransformDiagonalMatrixByCompactMatrixTtranATcon(const std::vector<double>& D,
                                                                   const CompactMatrixType& T);
[[nodiscard]] int TransformComplexDiagonalMatrixByCompactMatrixTRtranATLcon(const std::vector<Complex16>& D,
                                                                            const CompactMatrixType& TL,
                                                                            const CompactMatrixType& TR,
                                                                            CompactMatrixType& R);

// In place through an LU factorisation. Status 0, 1 for a failed factorisation, -1 for a rectangular matrix.
[[nodiscard]] int CompactMatrixInverse(CompactMatrixType& m);

// True when all elements are finite numbers.
bool QFinite(const CompactMatrixType& m);

// Eigensystem of a Hermitian matrix: values ascend, row k of V is the eigenvector of values[k], so that
// A[i][j] = sum_k V[k][i] values[k] conj(V[k][j]).
// Status 1 after printed lines when A is not square or both LAPACK drivers fail.
[[nodiscard]] int CompactMatrixEigensystem(const CompactMatrixType& A, CompactMatrixType& V,
                                           std::vector<double>& values);

// A listing in the shape of script input, empty for an empty matrix; tostring of a script matrix.
std::string CompactMatrixToString(const CompactMatrixType& m);

// Minimal print, a row a line.
void StreamPrintCompactMatrixMinimal(const CompactMatrixType& m, std::FILE* stream);

}  // namespace fermix
