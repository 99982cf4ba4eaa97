// The BLAS and LAPACK routines that the program uses: one overload for each scalar, so that matrix code has
// no letters.
//
// Arrays are column-major, as the libraries see them. Work space is allocated inside. All routines that
// return an int give LAPACK's info: 0 for success. They throw bad_alloc, or length_error where a size exceeds
// the libraries' integers.
#pragma once

#include <cstdint>

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

// Eigensystem of a real tridiagonal matrix. diagonal (n) becomes the ascending values, offdiagonal (n - 1) is
// destroyed; vectors takes n by n columns, or is null when only values are wanted.
int Stevd(int n, double* diagonal, double* offdiagonal, double* vectors);
int Stev(int n, double* diagonal, double* offdiagonal, double* vectors);

}  // namespace fermix
