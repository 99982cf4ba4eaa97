#include "solvers/search_progress.h"

#include <algorithm>
#include <cfloat>
#include <cmath>

namespace fermix {

namespace {

// What rounding leaves of the variance of an eigenstate, in units of <H^2>.
constexpr double RoundingOfVariance = 16 * DBL_EPSILON;
// A pass that changes energies by less than this fraction of their uncertainty, and variances and numbers of
// determinants by less than this fraction, changes nothing.
constexpr double NoChange = 1e-3;

bool Alike(double a, double b) { return std::fabs(a - b) <= NoChange * std::fabs(a); }

}  // namespace

SearchProgress::SearchProgress(std::size_t states, double zero) : zero_(zero) {
  now_.E.assign(states, 1e99);
  now_.E2.assign(states, 0);
}

double SearchProgress::Pass::largestVariance() const {
  double largest = -1e99;
  for (std::size_t i = 0; i < E.size(); ++i) largest = std::max(largest, variance(i));
  return largest;
}

void SearchProgress::BeginPass(std::uint32_t psi, std::uint32_t Hpsi) {
  last_ = now_;
  now_.psi = psi;
  now_.Hpsi = Hpsi;
  ++passes_;
}

void SearchProgress::Add(std::size_t i, double E, double E2) {
  now_.E[i] = E;
  now_.E2[i] = E2;
  scale_ += E2;
}

double SearchProgress::HighestEnergy() const {
  double highest = -1e99;
  for (const double E : now_.E) highest = std::max(highest, E);
  return highest;
}

double SearchProgress::LargestNormOfH() const {
  return std::sqrt(*std::max_element(now_.E2.begin(), now_.E2.end()));
}

bool SearchProgress::QFinite() const { return std::isfinite(scale_); }

bool SearchProgress::QBelowBar() const {
  const double threshold = scale_ * zero_ / static_cast<double>(now_.E.size()) + DBL_MIN;
  for (std::size_t i = 0; i < now_.E.size(); ++i)
    if (!(Variance(i) <= threshold)) return false;
  return true;
}

void SearchProgress::AddPasses(std::uint32_t count) {
  for (const double E2 : now_.E2) scale_ += count * E2;
}

bool SearchProgress::QStandstill(bool comparable) {
  bool still = passes_ > 1 && comparable && Alike(now_.psi, last_.psi) && Alike(now_.Hpsi, last_.Hpsi);
  for (std::size_t i = 0; i < now_.E.size() && still; ++i) {
    const double V = Variance(i), allowed = NoChange * std::fabs(V) + RoundingOfVariance * now_.E2[i];
    still = std::fabs(V - last_.variance(i)) <= allowed &&
            std::fabs(now_.E[i] - last_.E[i]) * std::sqrt(now_.E2[i]) <= allowed;
  }
  standing_ = still ? standing_ + 1 : 0;
  return standing_ >= 2;
}

bool SearchProgress::QStalled() const {
  return passes_ > 1 && now_.Hpsi == last_.Hpsi && !(LargestVariance() < last_.largestVariance() / 2);
}

}  // namespace fermix
