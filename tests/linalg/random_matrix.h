// Random matrices for tests (seeds are the caller's), and what matrices are compared by.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "linalg/compact_matrix.h"
#include "printed.h"

namespace fermix {

template <class T>
T RandomElement(std::mt19937& random) {
  std::uniform_real_distribution<double> uniform(-1, 1);
  if constexpr (IsComplex<T>) {
    const double re = uniform(random);
    return {re, uniform(random)};
  } else {
    return uniform(random);
  }
}

template <class T>
CompactMatrixType RandomMatrix(std::mt19937& random, std::uint32_t Ni, std::uint32_t Nj) {
  CompactMatrixType m = InitCompactMatrix(Ni, Nj, IsComplex<T>);
  for (T& x : std::get<std::vector<T>>(m.Data)) x = RandomElement<T>(random);
  return m;
}

template <class T>
CompactMatrixType RandomHermitian(std::mt19937& random, std::uint32_t n) {
  CompactMatrixType m = RandomMatrix<T>(random, n, n);
  auto& data = std::get<std::vector<T>>(m.Data);
  for (std::size_t i = 0; i < n; ++i) {
    data[i * n + i] = Re(data[i * n + i]);
    for (std::size_t j = 0; j < i; ++j) data[i * n + j] = Conj(data[j * n + i]);
  }
  return m;
}

// The product op(a) op(b).
inline CompactMatrixType Times(const CompactMatrixType& a, const CompactMatrixType& b, char opA = 'N',
                               char opB = 'N') {
  CompactMatrixType product;
  EXPECT_EQ(CompactMatrixMultiply(opA, opB, a, b, product), 0);
  return product;
}

inline CompactMatrixType Identity(std::uint32_t n) { return InitCompactIdentityMatrix(n, n); }

// The largest difference of two elements; NaN counts, and so do other shapes.
inline double Deviation(const CompactMatrixType& a, const CompactMatrixType& b) {
  if (a.Ni != b.Ni || a.Nj != b.Nj) return HUGE_VAL;
  double largest = 0;
  for (std::uint32_t i = 0; i < a.Ni; ++i)
    for (std::uint32_t j = 0; j < a.Nj; ++j) {
      const double d = Abs(CompactMatrixElement(a, i, j) - CompactMatrixElement(b, i, j));
      if (!(d <= largest)) largest = std::isnan(d) ? HUGE_VAL : d;
    }
  return largest;
}

inline CompactMatrixType RealMatrix(std::uint32_t Ni, std::uint32_t Nj, std::vector<double> elements) {
  CompactMatrixType m = InitCompactMatrix(Ni, Nj, false);
  m.Data = std::move(elements);
  return m;
}

// (z - A)^-1 for a square A.
inline CompactMatrixType Resolvent(const CompactMatrixType& A, Complex16 z) {
  CompactMatrixType R = A;
  CompactMatrixScale(R, -1);
  MakeCompactRealMatrixComplex(R);
  for (std::size_t i = 0; i < R.Ni; ++i) std::get<1>(R.Data)[i * R.Nj + i] += z;
  return CompactMatrixInverse(R) ? CompactMatrixType() : R;
}

}  // namespace fermix
