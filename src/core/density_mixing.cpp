#include "core/density_mixing.h"

#include <algorithm>
#include <cfloat>

namespace fermix {

namespace {

// Steps that are remembered.
constexpr std::size_t HistoryLength = 8;

// Combinations of the changes shorter than this part of the longest, squared, are rounding. Also without any
// change weights are numbers.
constexpr double RoundingPart = 100 * DBL_EPSILON;

// Real part of the sum of conj(a) b over all elements.
double Overlap(const CompactMatrixType& a, const CompactMatrixType& b) {
  return std::visit(
      [](const auto& x, const auto& y) {
        double sum = 0;
        for (std::size_t n = 0; n < x.size(); ++n) sum += Re(Conj(x[n]) * y[n]);
        return sum;
      },
      a.Data.base(), b.Data.base());
}

}  // namespace

int MixDensities(CompactMatrixType& Rho, const CompactMatrixType& next, double alpha) {
  CompactMatrixScale(Rho, 1 - alpha);
  return CompactMatrixAdd(Rho, next, alpha);
}

int DensityMixing::mix(CompactMatrixType& Rho, const CompactMatrixType& next, double alpha) {
  Step step{Rho, next};
  if (CompactMatrixSub(step.change, Rho)) return 1;
  if (steps_.size() == HistoryLength) steps_.erase(steps_.begin());
  steps_.push_back(std::move(step));

  std::vector<double> weights;
  if (WeightsOfSmallestChange(weights)) return 1;
  CompactMatrixScale(Rho, 0);
  for (std::size_t k = 0; k < steps_.size(); ++k)
    if (CompactMatrixAdd(Rho, steps_[k].Rho, weights[k]) ||
        CompactMatrixAdd(Rho, steps_[k].change, alpha * weights[k]))
      return 1;
  return 0;
}

// w = S^-1 1 / (1 S^-1 1) with S the overlaps of the changes, by the eigenvectors of S.
int DensityMixing::WeightsOfSmallestChange(std::vector<double>& weights) const {
  const auto n = static_cast<std::uint32_t>(steps_.size());
  CompactMatrixType overlaps = InitCompactMatrix(n, n, false), vectors;
  for (std::uint32_t j = 0; j < n; ++j)
    for (std::uint32_t k = 0; k < n; ++k)
      std::get<0>(overlaps.Data)[j * n + k] = Overlap(steps_[j].change, steps_[k].change);
  std::vector<double> values;
  if (CompactMatrixEigensystem(overlaps, vectors, values)) return 1;

  const auto& rows = std::get<0>(vectors.Data);
  const double shortest = std::max(RoundingPart * values.back(), NumericalZero);
  double total = 0;
  weights.assign(n, 0);
  for (std::uint32_t m = 0; m < n; ++m) {
    const double* row = rows.data() + std::size_t{m} * n;
    double sum = 0;
    for (std::uint32_t k = 0; k < n; ++k) sum += row[k];
    const double factor = sum / std::max(values[m], shortest);
    for (std::uint32_t k = 0; k < n; ++k) weights[k] += factor * row[k];
    total += factor * sum;
  }
  for (double& w : weights) w /= total;
  return 0;
}

}  // namespace fermix
