// How far Lanczos vectors have lost their orthogonality, known without computing an overlap.
//
// In exact arithmetic v[j + 1] is orthogonal to all earlier vectors. Rounding breaks this, slowly at first
// and then by the same three-term recurrence that the vectors obey, so the overlaps can be followed from the
// chain alone. A vector needs to be orthogonalised only when they have grown: as long as they stay below the
// square root of the rounding, the chain is that of H in the space of the vectors, to all digits.
// Source: Simon, Math. Comp. 42 (1984) 115.
#pragma once

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <vector>

namespace fermix {

class OrthogonalityEstimate {
 public:
  // Starts a new chain at its vector 0.
  void Start() { *this = {}; }

  // Whether v[j + 1] has to be orthogonalised against v[0 .. j], for j = 0, 1, ... in order. It is taken for
  // orthogonal to v[j] already. Two vectors in a row are, as the recurrence starts from two.
  //
  // a      diagonal element of v[j]
  // below  norm that v[j] was divided by; anything for j = 0
  // next   norm of the next vector before it is divided by it
  bool QOrthogonalize(double a, double below, double next) {
    const std::size_t j = a_.size();
    a_.push_back(a);
    b_.push_back(j ? below : 0);
    scale_ = std::max(scale_, std::fabs(a) + b_[j] + next);
    const double noise = 2 * DBL_EPSILON * scale_;
    std::vector<double> ahead(j + 1);
    double largest = 0;
    for (std::size_t k = 0; k < j; ++k) {
      double w = b_[k + 1] * now_[k + 1] + (a_[k] - a) * now_[k] - b_[j] * before_[k];
      if (k) w += b_[k] * now_[k - 1];
      ahead[k] = (w + std::copysign(noise, w)) / next;
      largest = std::max(largest, std::fabs(ahead[k]));
    }
    ahead[j] = noise / next;
    const bool due = again_ || !(largest < Limit) || !(ahead[j] < Limit);
    again_ = due && !again_;
    if (due) std::fill(ahead.begin(), ahead.end(), DBL_EPSILON);
    ahead.push_back(1);
    before_ = std::move(now_);
    now_ = std::move(ahead);
    return due;
  }

 private:
  // Well below the square root of the rounding, 1.5e-8, as these are estimates.
  static constexpr double Limit = 1e-10;
  std::vector<double> a_, b_;            // chain: b_[k] couples v[k - 1] and v[k]
  std::vector<double> now_{1}, before_;  // overlaps of v[j] with v[0 .. j], of v[j - 1] with v[0 .. j - 1]
  double scale_ = 0;
  bool again_ = false;
};

}  // namespace fermix
