#include "linalg/blas.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdlib>
#include <new>
#include <stdexcept>
#include <vector>

// The libraries' own entries. The trailing sizes are the lengths of the character arguments, which Fortran
// compilers pass behind all others.
extern "C" {
using fermix::Complex16;
void dgemm_(const char*, const char*, const int*, const int*, const int*, const double*, const double*,
            const int*, const double*, const int*, const double*, double*, const int*, std::size_t,
            std::size_t);
void zgemm_(const char*, const char*, const int*, const int*, const int*, const Complex16*, const Complex16*,
            const int*, const Complex16*, const int*, const Complex16*, Complex16*, const int*, std::size_t,
            std::size_t);
void dgetrf_(const int*, const int*, double*, const int*, int*, int*);
void zgetrf_(const int*, const int*, Complex16*, const int*, int*, int*);
void dgetri_(const int*, double*, const int*, const int*, double*, const int*, int*);
void zgetri_(const int*, Complex16*, const int*, const int*, Complex16*, const int*, int*);
void dsyev_(const char*, const char*, const int*, double*, const int*, double*, double*, const int*, int*,
            std::size_t, std::size_t);
void zheev_(const char*, const char*, const int*, Complex16*, const int*, double*, Complex16*, const int*,
            double*, int*, std::size_t, std::size_t);
void dsyevd_(const char*, const char*, const int*, double*, const int*, double*, double*, const int*, int*,
             const int*, int*, std::size_t, std::size_t);
void zheevd_(const char*, const char*, const int*, Complex16*, const int*, double*, Complex16*, const int*,
             double*, const int*, int*, const int*, int*, std::size_t, std::size_t);
void dstevd_(const char*, const int*, double*, double*, double*, const int*, double*, const int*, int*,
             const int*, int*, std::size_t);
void dstev_(const char*, const int*, double*, double*, double*, const int*, double*, int*, std::size_t);
}

namespace fermix {

void HoldBlasMemory() {
  static bool held = false;
  if (held) return;
  constexpr std::size_t workSpace = std::size_t{160} << 20;
  void* probe = std::malloc(workSpace);
  if (!probe) throw std::bad_alloc();
  static_cast<char volatile*>(probe)[0] = 0;  // so that the compiler keeps the pair of calls
  std::free(probe);
  held = true;
  // The smallest task that takes the work space: two rows and columns would need no reflection.
  double A[] = {2, 1, 1, 1, 2, 1, 1, 1, 2}, values[3];
  EigenQr(3, A, values);
}

int BlasSize(std::uint64_t n) {
  if (n > INT_MAX) throw std::length_error("matrix too large for the linear algebra library");
  return static_cast<int>(n);
}

namespace {

// Work space of the size that the library asks for through its first element.
template <class T>
std::vector<T> Work(T query) {
  return std::vector<T>(std::max<std::size_t>(1, BlasSize(static_cast<std::uint64_t>(Re(query)))));
}

constexpr int Query = -1;

// Complex matrix-times-vector kernels of OpenBLAS (0.3.21 on Haswell and Zen) read up to a row past the end
// of a submatrix and of the work space behind it, which faults at the end of a page. The drivers that use
// them get a row to spare on both.
std::vector<Complex16> WithSpareRow(const Complex16* A, int n) {
  const std::size_t rows = static_cast<std::size_t>(n);
  std::vector<Complex16> padded((rows + 1) * rows);
  std::copy_n(A, rows * rows, padded.begin());
  return padded;
}
std::vector<Complex16> WorkWithSpareRow(Complex16 query, int n, int& size) {
  std::vector<Complex16> work = Work(query);
  size = BlasSize(work.size());
  work.resize(work.size() + static_cast<std::size_t>(n));
  return work;
}

}  // namespace

void Gemm(char opA, char opB, int m, int n, int k, double alpha, const double* A, int lda, const double* B,
          int ldb, double beta, double* C, int ldc) {
  HoldBlasMemory();
  dgemm_(&opA, &opB, &m, &n, &k, &alpha, A, &lda, B, &ldb, &beta, C, &ldc, 1, 1);
}

void Gemm(char opA, char opB, int m, int n, int k, Complex16 alpha, const Complex16* A, int lda,
          const Complex16* B, int ldb, Complex16 beta, Complex16* C, int ldc) {
  HoldBlasMemory();
  zgemm_(&opA, &opB, &m, &n, &k, &alpha, A, &lda, B, &ldb, &beta, C, &ldc, 1, 1);
}

int Getrf(int n, double* A, int* pivots) {
  HoldBlasMemory();
  int info = 0;
  dgetrf_(&n, &n, A, &n, pivots, &info);
  return info;
}

int Getrf(int n, Complex16* A, int* pivots) {
  HoldBlasMemory();
  int info = 0;
  zgetrf_(&n, &n, A, &n, pivots, &info);
  return info;
}

int Getri(int n, double* A, const int* pivots) {
  HoldBlasMemory();
  int info = 0;
  double size = 0;
  dgetri_(&n, A, &n, pivots, &size, &Query, &info);
  auto work = Work(size);
  const int nWork = BlasSize(work.size());
  dgetri_(&n, A, &n, pivots, work.data(), &nWork, &info);
  return info;
}

int Getri(int n, Complex16* A, const int* pivots) {
  HoldBlasMemory();
  int info = 0;
  Complex16 size = 0;
  zgetri_(&n, A, &n, pivots, &size, &Query, &info);
  auto work = Work(size);
  const int nWork = BlasSize(work.size());
  zgetri_(&n, A, &n, pivots, work.data(), &nWork, &info);
  return info;
}

int EigenQr(int n, double* A, double* values) {
  HoldBlasMemory();
  int info = 0;
  double size = 0;
  dsyev_("V", "U", &n, A, &n, values, &size, &Query, &info, 1, 1);
  auto work = Work(size);
  const int nWork = BlasSize(work.size());
  dsyev_("V", "U", &n, A, &n, values, work.data(), &nWork, &info, 1, 1);
  return info;
}

int EigenQr(int n, Complex16* A, double* values) {
  HoldBlasMemory();
  int info = 0;
  Complex16 size = 0;
  std::vector<double> rwork(std::max(1, 3 * n - 2));
  zheev_("V", "U", &n, A, &n, values, &size, &Query, rwork.data(), &info, 1, 1);
  auto padded = WithSpareRow(A, n);
  int nWork;
  auto work = WorkWithSpareRow(size, n, nWork);
  zheev_("V", "U", &n, padded.data(), &n, values, work.data(), &nWork, rwork.data(), &info, 1, 1);
  std::copy_n(padded.begin(), static_cast<std::size_t>(n) * n, A);
  return info;
}

int EigenDivide(int n, double* A, double* values) {
  HoldBlasMemory();
  int info = 0, isize = 0;
  double size = 0;
  dsyevd_("V", "U", &n, A, &n, values, &size, &Query, &isize, &Query, &info, 1, 1);
  auto work = Work(size);
  std::vector<int> iwork(std::max(1, isize));
  const int nWork = BlasSize(work.size()), nIwork = BlasSize(iwork.size());
  dsyevd_("V", "U", &n, A, &n, values, work.data(), &nWork, iwork.data(), &nIwork, &info, 1, 1);
  return info;
}

int EigenDivide(int n, Complex16* A, double* values) {
  HoldBlasMemory();
  int info = 0, isize = 0;
  Complex16 size = 0;
  double rsize = 0;
  zheevd_("V", "U", &n, A, &n, values, &size, &Query, &rsize, &Query, &isize, &Query, &info, 1, 1);
  auto padded = WithSpareRow(A, n);
  int nWork;
  auto work = WorkWithSpareRow(size, n, nWork);
  auto rwork = Work(rsize);
  std::vector<int> iwork(std::max(1, isize));
  const int nRwork = BlasSize(rwork.size()), nIwork = BlasSize(iwork.size());
  zheevd_("V", "U", &n, padded.data(), &n, values, work.data(), &nWork, rwork.data(), &nRwork, iwork.data(),
          &nIwork, &info, 1, 1);
  std::copy_n(padded.begin(), static_cast<std::size_t>(n) * n, A);
  return info;
}

int Stevd(int n, double* diagonal, double* offdiagonal, double* vectors) {
  HoldBlasMemory();
  const char* job = vectors ? "V" : "N";
  int info = 0, isize = 0;
  double size = 0;
  dstevd_(job, &n, diagonal, offdiagonal, vectors, &n, &size, &Query, &isize, &Query, &info, 1);
  auto work = Work(size);
  std::vector<int> iwork(std::max(1, isize));
  const int nWork = BlasSize(work.size()), nIwork = BlasSize(iwork.size());
  dstevd_(job, &n, diagonal, offdiagonal, vectors, &n, work.data(), &nWork, iwork.data(), &nIwork, &info, 1);
  return info;
}

int Stev(int n, double* diagonal, double* offdiagonal, double* vectors) {
  HoldBlasMemory();
  int info = 0;
  std::vector<double> work(std::max(1, 2 * n - 2));
  dstev_(vectors ? "V" : "N", &n, diagonal, offdiagonal, vectors, &n, work.data(), &info, 1);
  return info;
}

}  // namespace fermix
