// Mixing of density matrices on the way to self-consistency: the density that a step started from, and the
// one that came out of it, become the start of the next step. All matrices are of one shape.
#pragma once

#include <vector>

#include "linalg/compact_matrix.h"

namespace fermix {

// Rho = (1 - alpha) Rho + alpha next. Status 1 after a line when shapes differ.
[[nodiscard]] int MixDensities(CompactMatrixType& Rho, const CompactMatrixType& next, double alpha);

// The same, from the combination of the last steps whose change is smallest: of real weights that sum to 1,
// so that the trace stays, and that a Hermitian density stays one. Converges along directions in which a step
// alone changes little or too much. An occupation of the density on the way may lie outside of 0 .. 1.
// Source: P. Pulay, Chem. Phys. Lett. 73 (1980) 393.
class DensityMixing {
 public:
  // Status 1 after a line when shapes differ.
  [[nodiscard]] int mix(CompactMatrixType& Rho, const CompactMatrixType& next, double alpha);

 private:
  struct Step {
    CompactMatrixType Rho, change;
  };
  [[nodiscard]] int WeightsOfSmallestChange(std::vector<double>& weights) const;
  std::vector<Step> steps_;  // the oldest first
};

}  // namespace fermix
