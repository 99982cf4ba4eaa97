// How far the vectors of block Lanczos have lost their orthogonality, known without computing an overlap.
//
// In exact arithmetic a new vector is orthogonal to all earlier ones. Rounding breaks this, slowly at first
// and then by the same recurrence that the vectors obey, so the overlaps can be followed from the elements of
// H alone:
//
//     H v[j] = sum over i of T(i, j) v[i],   i = j - p .. j + p for a block of width p,
//
// between <v[k]| and again with j and k exchanged gives <v[k]|v[j + p]> from overlaps known before. A vector
// needs to be orthogonalised only when they have grown: as long as they stay below the square root of the
// rounding, T is H in the space of the vectors, to all digits.
// Sources: Simon, Math. Comp. 42 (1984) 115; for blocks Grimes, Lewis and Simon, SIAM J. Matrix Anal. Appl.
// 15 (1994) 228.
#pragma once

#include <algorithm>
#include <cfloat>
#include <vector>

#include "host/base/complex16.h"
#include "solvers/krylov_matrix.h"

namespace fermix {

template <class T>
class OrthogonalityEstimate {
 public:
  // Starts a new space, with a block of this width.
  void Start(std::uint32_t width) {
    width_ = width;
    again_ = 0;
    scale_ = 0;
    overlaps_.clear();
  }

  // Whether v[m] has to be orthogonalised against v[0 .. m - 1] before it is divided by its norm, for m = 0,
  // 1,
  // ... in order. It is taken for orthogonal to the v[k], k >= m - width, already. H has the columns up to
  // m - width, and in the last of them norm as element m. As many vectors in a row as the recurrence starts
  // from are due together.
  bool QOrthogonalize(const KrylovMatrix<T>& H, std::uint32_t m, double norm) {
    std::vector<T> next(m, T(DBL_EPSILON));
    bool due = false;
    if (m >= width_) {
      Follow(H, m, norm, next);
      due = !std::all_of(next.begin(), next.end(), [](const T& w) { return Abs(w) < Limit; });
      if (due && again_ == 0) again_ = 2 * width_;
      if (again_ > 0) {
        --again_;
        due = true;
        std::fill(next.begin(), next.end(), T(DBL_EPSILON));
      }
    }
    overlaps_.push_back(std::move(next));
    return due;
  }

 private:
  // Well below the square root of the rounding, 1.5e-8, as these are estimates.
  static constexpr double Limit = 1e-10;

  // <v[a]|v[b]>
  T Overlap(std::uint32_t a, std::uint32_t b) const {
    if (a == b) return T(1);
    return a > b ? overlaps_[a][b] : Conj(overlaps_[b][a]);
  }

  // next[k] = <v[m]|v[k]>
  void Follow(const KrylovMatrix<T>& H, std::uint32_t m, double norm, std::vector<T>& next) {
    const std::uint32_t p = width_, j = m - p;
    const auto first = [p](std::uint32_t column) { return column > p ? column - p : 0; };
    double size = norm;
    for (std::uint32_t i = first(j); i < m; ++i) size += Abs(H(i, j));
    scale_ = std::max(scale_, size);
    const double noise = 2 * DBL_EPSILON * scale_;
    std::fill(next.begin(), next.end(), T(noise / norm));
    for (std::uint32_t k = 0; k < j; ++k) {
      T sum{};
      for (std::uint32_t i = first(k); i <= k + p; ++i) sum += H(i, k) * Overlap(j, i);
      for (std::uint32_t i = first(j); i < m; ++i) sum -= Conj(H(i, j)) * Overlap(i, k);
      const double magnitude = Abs(sum);
      next[k] = (magnitude > 0 ? sum * ((magnitude + noise) / magnitude) : T(noise)) / norm;
    }
  }

  std::uint32_t width_ = 1;
  std::uint32_t again_ = 0;               // vectors still due after the first
  double scale_ = 0;                      // largest sum of a column of H
  std::vector<std::vector<T>> overlaps_;  // of v[m] with v[0 .. m - 1]
};

}  // namespace fermix
