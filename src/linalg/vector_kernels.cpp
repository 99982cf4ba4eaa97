#include "linalg/vector_kernels.h"

#include <algorithm>
#include <cmath>

#include "host/base/vector_clones.h"

namespace fermix {

namespace {

// Doubles of a vector that stay in the first-level cache while others pass by.
constexpr std::size_t Chunk = 2048;
constexpr std::size_t Lanes = 8;

// Sum of a[i] b[i] over n doubles.
FERMIX_VECTOR_CLONES double ChunkDot(const double* a, const double* b, std::size_t n) {
  double lane[Lanes] = {};
  std::size_t i = 0;
  for (; i + Lanes <= n; i += Lanes)
    for (std::size_t l = 0; l < Lanes; ++l) lane[l] += a[i + l] * b[i + l];
  double sum = 0;
  for (; i < n; ++i) sum += a[i] * b[i];
  for (std::size_t l = 0; l < Lanes; ++l) sum += lane[l];
  return sum;
}

// Imaginary part of <a|b> over n doubles, pairs of (re, im).
FERMIX_VECTOR_CLONES double ChunkDotIm(const double* a, const double* b, std::size_t n) {
  double lane[Lanes] = {};
  std::size_t i = 0;
  for (; i + Lanes <= n; i += Lanes)
    for (std::size_t l = 0; l < Lanes; ++l) lane[l] += a[i + l] * b[i + (l ^ 1)];
  double sum = 0;
  for (; i < n; i += 2) sum += a[i] * b[i + 1] - a[i + 1] * b[i];
  for (std::size_t l = 0; l < Lanes; l += 2) sum += lane[l] - lane[l + 1];
  return sum;
}

FERMIX_VECTOR_CLONES void ChunkAdd(const double* v, double c, double* w, std::size_t n) {
  for (std::size_t i = 0; i < n; ++i) w[i] += c * v[i];
}

// Four vectors at a time, so that w is loaded and stored once for them.
FERMIX_VECTOR_CLONES void ChunkAddFour(const double* const* v, std::size_t first, const double* c, double* w,
                                       std::size_t n) {
  const double *a = v[0] + first, *b = v[1] + first, *d = v[2] + first, *e = v[3] + first;
  const double ca = c[0], cb = c[1], cd = c[2], ce = c[3];
  for (std::size_t i = 0; i < n; ++i) w[i] += (ca * a[i] + cb * b[i]) + (cd * d[i] + ce * e[i]);
}

FERMIX_VECTOR_CLONES void ChunkAddComplex(const double* v, double re, double im, double* w, std::size_t n) {
  for (std::size_t i = 0; i < n; i += 2) {
    w[i] += re * v[i] - im * v[i + 1];
    w[i + 1] += re * v[i + 1] + im * v[i];
  }
}

FERMIX_VECTOR_CLONES void ScaleDoubles(double* y, double factor, std::size_t n) {
  for (std::size_t i = 0; i < n; ++i) y[i] *= factor;
}

// Calls f(first, count) for the chunks of n doubles.
template <class F>
void ForEachChunk(std::size_t n, F&& f) {
  for (std::size_t first = 0; first < n; first += Chunk) f(first, std::min(Chunk, n - first));
}

const double* Doubles(const double* a) { return a; }
const double* Doubles(const Complex16* a) { return reinterpret_cast<const double*>(a); }
double* Doubles(Complex16* a) { return reinterpret_cast<double*>(a); }

// Parts of vectors, in doubles: first is where the part begins, n its length.
double PartDot(const double* v, const double* w, std::size_t first, std::size_t n) {
  return ChunkDot(v + first, w + first, n);
}

Complex16 PartDot(const Complex16* v, const Complex16* w, std::size_t first, std::size_t n) {
  const double *a = Doubles(v) + first, *b = Doubles(w) + first;
  return {ChunkDot(a, b, n), ChunkDotIm(a, b, n)};
}

void PartAddEach(const double* const* v, std::size_t count, const double* c, double* w, std::size_t first,
                 std::size_t n) {
  std::size_t i = 0;
  for (; i + 4 <= count; i += 4) ChunkAddFour(v + i, first, c + i, w + first, n);
  for (; i < count; ++i) ChunkAdd(v[i] + first, c[i], w + first, n);
}

void PartAddEach(const Complex16* const* v, std::size_t count, const Complex16* c, Complex16* w,
                 std::size_t first, std::size_t n) {
  for (std::size_t i = 0; i < count; ++i)
    ChunkAddComplex(Doubles(v[i]) + first, c[i].re, c[i].im, Doubles(w) + first, n);
}

template <class T>
constexpr std::size_t InDoubles(std::size_t n) {
  return n * (sizeof(T) / sizeof(double));
}

}  // namespace

template <class T>
void DotEach(const T* const* v, std::size_t count, const T* w, std::size_t n, T* d) {
  std::fill_n(d, count, T{});
  ForEachChunk(InDoubles<T>(n), [&](std::size_t first, std::size_t part) {
    for (std::size_t i = 0; i < count; ++i) d[i] += PartDot(v[i], w, first, part);
  });
}

template <class T>
void AddEach(const T* const* v, std::size_t count, const T* c, T* w, std::size_t n) {
  ForEachChunk(InDoubles<T>(n),
               [&](std::size_t first, std::size_t part) { PartAddEach(v, count, c, w, first, part); });
}

template <class T>
double AddAndDotEach(const T* const* v, std::size_t count, const T* c, T* w, std::size_t n, T* d) {
  double normSqr = 0;
  std::fill_n(d, count, T{});
  ForEachChunk(InDoubles<T>(n), [&](std::size_t first, std::size_t part) {
    PartAddEach(v, count, c, w, first, part);
    for (std::size_t i = 0; i < count; ++i) d[i] += PartDot(v[i], w, first, part);
    const double* sum = Doubles(w) + first;
    normSqr += ChunkDot(sum, sum, part);
  });
  return normSqr;
}

double Dot(const double* a, const double* b, std::size_t n) {
  double d;
  DotEach(&a, 1, b, n, &d);
  return d;
}

Complex16 Dot(const Complex16* a, const Complex16* b, std::size_t n) {
  Complex16 d;
  DotEach(&a, 1, b, n, &d);
  return d;
}

double Norm(const double* a, std::size_t n) { return std::sqrt(Dot(a, a, n)); }

double Norm(const Complex16* a, std::size_t n) { return Norm(Doubles(a), 2 * n); }

void Scale(double* y, double factor, std::size_t n) { ScaleDoubles(y, factor, n); }

void Scale(Complex16* y, double factor, std::size_t n) { ScaleDoubles(Doubles(y), factor, 2 * n); }

template void DotEach(const double* const*, std::size_t, const double*, std::size_t, double*);
template void DotEach(const Complex16* const*, std::size_t, const Complex16*, std::size_t, Complex16*);
template void AddEach(const double* const*, std::size_t, const double*, double*, std::size_t);
template void AddEach(const Complex16* const*, std::size_t, const Complex16*, Complex16*, std::size_t);
template double AddAndDotEach(const double* const*, std::size_t, const double*, double*, std::size_t,
                              double*);
template double AddAndDotEach(const Complex16* const*, std::size_t, const Complex16*, Complex16*, std::size_t,
                              Complex16*);

}  // namespace fermix
