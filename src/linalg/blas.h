// The BLAS and LAPACK routines that the program uses: one overload for each scalar, so that matrix code has
// no letters.
//
// Arrays are column-major, as the libraries see them. Work space is allocated inside. All routines that
// return an int give LAPACK's info: 0 for success. They throw bad_alloc, or length_error where a size exceeds
// the libraries' integers.
#pragma once

#include <cstdint>
#include <vector>

#include "host/base/complex16.h"

namespace fermix {

// Makes the library take its work space, up to some 130 MB of addresses, and keep it. All routines below do
// so first; called at the start of a program, it leaves nothing to fail later. Libraries may wait forever for
// work space that they don't get, so bad_alloc is thrown when there is no room for it.
void HoldBlasMemory();

// A size as the libraries' integer.
int BlasSize(std::uint64_t n);

// C = alpha op(A) op(B) + beta C with C m by n and k the inner size; op is 'N', 'T' or 'C'.
void Gemm(char opA, char opB, int m, int n, int k, double alpha, const double* A, int lda, const double* B,
          int ldb, double beta, double* C, int ldc);
void Gemm(char opA, char opB, int m, int n, int k, Complex16 alpha, const Complex16* A, int lda,
          const Complex16* B, int ldb, Complex16 beta, Complex16* C, int ldc);

// LU factorisation of an n by n matrix in place, and the inverse from it; pivots has n elements.
int Getrf(int n, double* A, int* pivots);
int Getrf(int n, Complex16* A, int* pivots);
int Getri(int n, double* A, const int* pivots);
int Getri(int n, Complex16* A, const int* pivots);

// Eigensystem of a symmetric or Hermitian matrix from its upper triangle: values ascend, the columns of A
// become the eigenvectors. EigenQr is dsyev or zheev, EigenDivide is dsyevd or zheevd (divide and conquer:
// faster on large matrices, with more work space).
int EigenQr(int n, double* A, double* values);
int EigenQr(int n, Complex16* A, double* values);
int EigenDivide(int n, double* A, double* values);
int EigenDivide(int n, Complex16* A, double* values);
// The names of these routines in messages.
constexpr const char* EigenQrName(const double*) { return "dsyev"; }
constexpr const char* EigenQrName(const Complex16*) { return "zheev"; }
constexpr const char* EigenDivideName(const double*) { return "dsyevd"; }
constexpr const char* EigenDivideName(const Complex16*) { return "zheevd"; }

// Solves A X = B in place: A (n by n) is destroyed, B (n by columns) becomes X.
int Gesv(int n, int columns, double* A, double* B);
int Gesv(int n, int columns, Complex16* A, Complex16* B);

// Eigensystem of a general matrix, which is destroyed. Columns of right and left (n by n each):
// A right = value right, left^H A = value left^H, each of norm 1.
int Geev(int n, double* A, Complex16* values, Complex16* left, Complex16* right);
int Geev(int n, Complex16* A, Complex16* values, Complex16* left, Complex16* right);
constexpr const char* GeevName(const double*) { return "dgeev"; }
constexpr const char* GeevName(const Complex16*) { return "zgeev"; }

// Thin singular value decomposition A = U diag(values) VT of an m by n matrix, which is destroyed. With k the
// smaller of m and n: U is m by k, VT is k by n, values has k elements and descends.
int Gesvd(int m, int n, double* A, double* values, double* U, double* VT);
int Gesvd(int m, int n, Complex16* A, double* values, Complex16* U, Complex16* VT);

// The unitary matrix Q of a Householder reduction, as the library leaves it.
template <class T>
struct Reflectors {
  int n = 0;
  std::vector<T> vectors, factors;
};

// Householder reduction of a symmetric or Hermitian matrix to tridiagonal form, A = Q T Q^H, from its lower
// triangle: diagonal has n elements, offdiagonal n - 1.
Reflectors<double> Tridiagonalize(int n, const double* A, double* diagonal, double* offdiagonal);
Reflectors<Complex16> Tridiagonalize(int n, const Complex16* A, double* diagonal, double* offdiagonal);

// The first n by n elements of the vectors become Q itself.
void FormQ(Reflectors<double>& Q);
void FormQ(Reflectors<Complex16>& Q);

// C = C Q, or C Q^H if adjoint, of a matrix C with n columns.
void TimesQ(const Reflectors<double>& Q, bool adjoint, int rows, double* C);
void TimesQ(const Reflectors<Complex16>& Q, bool adjoint, int rows, Complex16* C);

// Solves a tridiagonal system: lower and upper have n - 1 elements, all three are destroyed, b becomes the
// solution. Not 0 when a pivot vanishes.
int Gtsv(int n, Complex16* lower, Complex16* diagonal, Complex16* upper, Complex16* b);

// Eigensystem of a real tridiagonal matrix. diagonal (n) becomes the ascending values, offdiagonal (n - 1) is
// destroyed; vectors takes n by n columns, or is null when only values are wanted.
int Stevd(int n, double* diagonal, double* offdiagonal, double* vectors);
int Stev(int n, double* diagonal, double* offdiagonal, double* vectors);

}  // namespace fermix
