#include "linalg/blas.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdlib>
#include <new>
#include <stdexcept>
#include <vector>

#include "host/base/allocator.h"

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
void dgesv_(const int*, const int*, double*, const int*, int*, double*, const int*, int*);
void zgesv_(const int*, const int*, Complex16*, const int*, int*, Complex16*, const int*, int*);
void dgeev_(const char*, const char*, const int*, double*, const int*, double*, double*, double*, const int*,
            double*, const int*, double*, const int*, int*, std::size_t, std::size_t);
void zgeev_(const char*, const char*, const int*, Complex16*, const int*, Complex16*, Complex16*, const int*,
            Complex16*, const int*, Complex16*, const int*, double*, int*, std::size_t, std::size_t);
void dgesvd_(const char*, const char*, const int*, const int*, double*, const int*, double*, double*,
             const int*, double*, const int*, double*, const int*, int*, std::size_t, std::size_t);
void zgesvd_(const char*, const char*, const int*, const int*, Complex16*, const int*, double*, Complex16*,
             const int*, Complex16*, const int*, Complex16*, const int*, double*, int*, std::size_t,
             std::size_t);
void dsytrd_(const char*, const int*, double*, const int*, double*, double*, double*, double*, const int*,
             int*, std::size_t);
void zhetrd_(const char*, const int*, Complex16*, const int*, double*, double*, Complex16*, Complex16*,
             const int*, int*, std::size_t);
void dormtr_(const char*, const char*, const char*, const int*, const int*, const double*, const int*,
             const double*, double*, const int*, double*, const int*, int*, std::size_t, std::size_t,
             std::size_t);
void zunmtr_(const char*, const char*, const char*, const int*, const int*, const Complex16*, const int*,
             const Complex16*, Complex16*, const int*, Complex16*, const int*, int*, std::size_t, std::size_t,
             std::size_t);
void zgtsv_(const int*, const int*, Complex16*, Complex16*, Complex16*, Complex16*, const int*, int*);
void dorgtr_(const char*, const int*, double*, const int*, const double*, double*, const int*, int*,
             std::size_t);
void zungtr_(const char*, const int*, Complex16*, const int*, const Complex16*, Complex16*, const int*, int*,
             std::size_t);
void dstevd_(const char*, const int*, double*, double*, double*, const int*, double*, const int*, int*,
             const int*, int*, std::size_t);
void dstev_(const char*, const int*, double*, double*, double*, const int*, double*, int*, std::size_t);
}

namespace fermix {

void HoldBlasMemory() {
  static bool held = false;
  if (held) return;
  constexpr std::size_t workSpace = std::size_t{160} << 20;
  if (!QRoomFor(workSpace)) throw std::bad_alloc();
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
std::vector<Complex16> SpareRow(int rows, int columns) {
  return std::vector<Complex16>(std::size_t(rows) * columns + std::max(rows, columns));
}
std::vector<Complex16> WithSpareRow(const Complex16* A, int rows, int columns) {
  std::vector<Complex16> padded = SpareRow(rows, columns);
  std::copy_n(A, std::size_t(rows) * columns, padded.begin());
  return padded;
}
std::vector<Complex16> WithSpareRow(const Complex16* A, int n) { return WithSpareRow(A, n, n); }
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

int Gesv(int n, int columns, double* A, double* B) {
  HoldBlasMemory();
  int info = 0;
  std::vector<int> pivots(n);
  dgesv_(&n, &columns, A, &n, pivots.data(), B, &n, &info);
  return info;
}

int Gesv(int n, int columns, Complex16* A, Complex16* B) {
  HoldBlasMemory();
  int info = 0;
  std::vector<int> pivots(n);
  zgesv_(&n, &columns, A, &n, pivots.data(), B, &n, &info);
  return info;
}

namespace {

// The real driver packs a conjugate pair of vectors into two columns: real parts, imaginary parts.
void UnpackPairs(int n, const std::vector<double>& im, const std::vector<double>& packed,
                 Complex16* vectors) {
  const std::size_t rows = static_cast<std::size_t>(n);
  for (std::size_t k = 0; k < rows; ++k) {
    const double* column = packed.data() + k * rows;
    const bool pair = im[k] != 0 && k + 1 < rows;
    for (std::size_t i = 0; i < rows; ++i) {
      vectors[k * rows + i] = {column[i], pair ? column[rows + i] : 0};
      if (pair) vectors[(k + 1) * rows + i] = Conj(vectors[k * rows + i]);
    }
    k += pair;
  }
}

}  // namespace

int Geev(int n, double* A, Complex16* values, Complex16* left, Complex16* right) {
  HoldBlasMemory();
  int info = 0;
  double size = 0;
  std::vector<double> re(n), im(n), VL(std::size_t(n) * n), VR(VL);
  const auto call = [&](double* space, const int* length) {
    dgeev_("V", "V", &n, A, &n, re.data(), im.data(), VL.data(), &n, VR.data(), &n, space, length, &info, 1,
           1);
  };
  call(&size, &Query);
  auto work = Work(size);
  const int nWork = BlasSize(work.size());
  call(work.data(), &nWork);
  for (int k = 0; k < n; ++k) values[k] = {re[k], im[k]};
  UnpackPairs(n, im, VL, left);
  UnpackPairs(n, im, VR, right);
  return info;
}

int Geev(int n, Complex16* A, Complex16* values, Complex16* left, Complex16* right) {
  HoldBlasMemory();
  int info = 0;
  Complex16 size = 0;
  std::vector<double> rwork(std::max(1, 2 * n));
  auto padded = WithSpareRow(A, n), VL = SpareRow(n, n), VR = VL;
  const auto call = [&](Complex16* space, const int* length) {
    zgeev_("V", "V", &n, padded.data(), &n, values, VL.data(), &n, VR.data(), &n, space, length, rwork.data(),
           &info, 1, 1);
  };
  call(&size, &Query);
  int nWork;
  auto work = WorkWithSpareRow(size, n, nWork);
  call(work.data(), &nWork);
  std::copy_n(VL.begin(), std::size_t(n) * n, left);
  std::copy_n(VR.begin(), std::size_t(n) * n, right);
  return info;
}

int Gesvd(int m, int n, double* A, double* values, double* U, double* VT) {
  HoldBlasMemory();
  int info = 0;
  const int k = std::min(m, n);
  double size = 0;
  const auto call = [&](double* space, const int* length) {
    dgesvd_("S", "S", &m, &n, A, &m, values, U, &m, VT, &k, space, length, &info, 1, 1);
  };
  call(&size, &Query);
  auto work = Work(size);
  const int nWork = BlasSize(work.size());
  call(work.data(), &nWork);
  return info;
}

int Gesvd(int m, int n, Complex16* A, double* values, Complex16* U, Complex16* VT) {
  HoldBlasMemory();
  int info = 0;
  const int k = std::min(m, n);
  Complex16 size = 0;
  std::vector<double> rwork(std::max(1, 5 * k));
  auto padded = WithSpareRow(A, m, n), paddedU = SpareRow(m, k), paddedVT = SpareRow(k, n);
  const auto call = [&](Complex16* space, const int* length) {
    zgesvd_("S", "S", &m, &n, padded.data(), &m, values, paddedU.data(), &m, paddedVT.data(), &k, space,
            length, rwork.data(), &info, 1, 1);
  };
  call(&size, &Query);
  int nWork;
  auto work = WorkWithSpareRow(size, std::max(m, n), nWork);
  call(work.data(), &nWork);
  std::copy_n(paddedU.begin(), std::size_t(m) * k, U);
  std::copy_n(paddedVT.begin(), std::size_t(k) * n, VT);
  return info;
}

Reflectors<double> Tridiagonalize(int n, const double* A, double* diagonal, double* offdiagonal) {
  HoldBlasMemory();
  int info = 0;
  double size = 0;
  Reflectors<double> Q{n, {A, A + std::size_t(n) * n}, std::vector<double>(std::max(1, n))};
  dsytrd_("L", &n, Q.vectors.data(), &n, diagonal, offdiagonal, Q.factors.data(), &size, &Query, &info, 1);
  auto work = Work(size);
  const int nWork = BlasSize(work.size());
  dsytrd_("L", &n, Q.vectors.data(), &n, diagonal, offdiagonal, Q.factors.data(), work.data(), &nWork, &info,
          1);
  return Q;
}

Reflectors<Complex16> Tridiagonalize(int n, const Complex16* A, double* diagonal, double* offdiagonal) {
  HoldBlasMemory();
  int info = 0, nWork;
  Complex16 size = 0;
  Reflectors<Complex16> Q{n, WithSpareRow(A, n), SpareRow(n, 1)};
  zhetrd_("L", &n, Q.vectors.data(), &n, diagonal, offdiagonal, Q.factors.data(), &size, &Query, &info, 1);
  auto work = WorkWithSpareRow(size, n, nWork);
  zhetrd_("L", &n, Q.vectors.data(), &n, diagonal, offdiagonal, Q.factors.data(), work.data(), &nWork, &info,
          1);
  return Q;
}

void FormQ(Reflectors<double>& Q) {
  int info = 0;
  double size = 0;
  dorgtr_("L", &Q.n, Q.vectors.data(), &Q.n, Q.factors.data(), &size, &Query, &info, 1);
  auto work = Work(size);
  const int nWork = BlasSize(work.size());
  dorgtr_("L", &Q.n, Q.vectors.data(), &Q.n, Q.factors.data(), work.data(), &nWork, &info, 1);
}

void FormQ(Reflectors<Complex16>& Q) {
  int info = 0, nWork;
  Complex16 size = 0;
  zungtr_("L", &Q.n, Q.vectors.data(), &Q.n, Q.factors.data(), &size, &Query, &info, 1);
  auto work = WorkWithSpareRow(size, Q.n, nWork);
  zungtr_("L", &Q.n, Q.vectors.data(), &Q.n, Q.factors.data(), work.data(), &nWork, &info, 1);
}

void TimesQ(const Reflectors<double>& Q, bool adjoint, int rows, double* C) {
  int info = 0;
  const auto call = [&](double* space, const int* length) {
    dormtr_("R", "L", adjoint ? "T" : "N", &rows, &Q.n, Q.vectors.data(), &Q.n, Q.factors.data(), C, &rows,
            space, length, &info, 1, 1, 1);
  };
  double size = 0;
  call(&size, &Query);
  auto work = Work(size);
  const int nWork = BlasSize(work.size());
  call(work.data(), &nWork);
}

void TimesQ(const Reflectors<Complex16>& Q, bool adjoint, int rows, Complex16* C) {
  int info = 0, nWork;
  auto padded = WithSpareRow(C, rows, Q.n);
  const auto call = [&](Complex16* space, const int* length) {
    zunmtr_("R", "L", adjoint ? "C" : "N", &rows, &Q.n, Q.vectors.data(), &Q.n, Q.factors.data(),
            padded.data(), &rows, space, length, &info, 1, 1, 1);
  };
  Complex16 size = 0;
  call(&size, &Query);
  auto work = WorkWithSpareRow(size, std::max(rows, Q.n), nWork);
  call(work.data(), &nWork);
  std::copy_n(padded.begin(), std::size_t(rows) * Q.n, C);
}

int Gtsv(int n, Complex16* lower, Complex16* diagonal, Complex16* upper, Complex16* b) {
  int info = 0;
  const int columns = 1;
  zgtsv_(&n, &columns, lower, diagonal, upper, b, &n, &info);
  return info;
}

int Stevd(int n, double* diagonal, double* offdiagonal, double* vectors) {
  if (vectors) HoldBlasMemory();  // eigenvalues alone need no work space of the library
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
  if (vectors) HoldBlasMemory();  // eigenvalues alone need no work space of the library
  int info = 0;
  std::vector<double> work(std::max(1, 2 * n - 2));
  dstev_(vectors ? "V" : "N", &n, diagonal, offdiagonal, vectors, &n, work.data(), &info, 1);
  return info;
}

}  // namespace fermix
