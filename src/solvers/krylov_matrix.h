// H in a Krylov space.
#pragma once

#include <cstdint>
#include <vector>

namespace fermix {

// A square matrix that grows with the restarts. Column-major, so that LAPACK reads it as it stands; element
// (i, j) = <v_i|H|v_j>.
template <class T>
struct KrylovMatrix {
  std::uint32_t size = 0;
  std::vector<T> data;
  T& operator()(std::uint32_t i, std::uint32_t j) { return data[std::size_t{j} * size + i]; }
  const T& operator()(std::uint32_t i, std::uint32_t j) const { return data[std::size_t{j} * size + i]; }
};

}  // namespace fermix
