// What the forms of a response function share.
#pragma once

#include <algorithm>
#include <cmath>
#include <numeric>
#include <vector>

#include "linalg/compact_matrix.h"

namespace fermix {

inline bool QAllFinite(const std::vector<double>& values) {
  return std::all_of(values.begin(), values.end(), [](double x) { return std::isfinite(x); });
}

// Sorts the pairs (energy[i + shift], value[i]), i >= first, by energy, ascending; equal energies keep their
// order.
inline void SortPairs(std::vector<double>& energy, std::vector<double>& value, std::size_t first,
                      std::size_t shift = 0) {
  if (value.size() <= first) return;
  std::vector<std::size_t> order(value.size());
  std::iota(order.begin(), order.end(), 0);
  std::stable_sort(order.begin() + static_cast<std::ptrdiff_t>(first), order.end(),
                   [&](std::size_t i, std::size_t j) { return energy[i + shift] < energy[j + shift]; });
  std::vector<double> e = energy, v = value;
  for (std::size_t i = first; i < order.size(); ++i) {
    e[i + shift] = energy[order[i] + shift];
    v[i] = value[order[i]];
  }
  energy = std::move(e);
  value = std::move(v);
}

// The levels of a chain or star on the diagonal of a real matrix, with A0, B0 and Mu of the function; B0 is 0
// if there is no level.
template <class Form>
CompactMatrixType MatrixOfLevels(const Form& M) {
  const std::size_t N = M.b.size();
  CompactMatrixType H =
      InitCompactMatrix(static_cast<std::uint32_t>(N), static_cast<std::uint32_t>(N), false);
  H.Name = M.name;
  H.A0 = M.a[0];
  H.B0 = N > 0 ? M.b[0] : 0;
  H.Mu = M.mu;
  for (std::size_t k = 0; k < N; ++k) std::get<0>(H.Data)[k * N + k] = M.a[k + 1];
  return H;
}

}  // namespace fermix
