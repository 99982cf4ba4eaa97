// Sorting energies together with what belongs to them.
#pragma once

#include <algorithm>
#include <numeric>
#include <vector>

namespace fermix {

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

}  // namespace fermix
