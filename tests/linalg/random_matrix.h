// Random matrices for tests; seeds are the caller's.
#pragma once

#include <random>

#include "linalg/compact_matrix.h"

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

// (z - A)^-1 for a square A.
inline CompactMatrixType Resolvent(const CompactMatrixType& A, Complex16 z) {
  CompactMatrixType R = A;
  CompactMatrixScale(R, -1);
  MakeCompactRealMatrixComplex(R);
  for (std::size_t i = 0; i < R.Ni; ++i) std::get<1>(R.Data)[i * R.Nj + i] += z;
  return CompactMatrixInverse(R) ? CompactMatrixType() : R;
}

}  // namespace fermix
