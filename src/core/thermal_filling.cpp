#include "core/thermal_filling.h"

#include <algorithm>
#include <cfloat>
#include <cmath>

#include "host/base/status.h"

namespace fermix {

namespace {

// Error of the particle number that ends the search.
constexpr double ParticleTolerance = 100 * DBL_EPSILON;

// A bracket of the chemical potential. Its middle meets an end after at most this many halvings, as many as
// doubles have exponents and digits.
constexpr int MaxRounds = 2200;

double Fermi(double x, double temperature) {
  if (x == 0) return 0.5;
  if (x <= -37 * temperature) return 1;
  if (x >= 37 * temperature) return 0;
  return 1 / (std::exp(x / temperature) + 1);
}

// Bisection on levels that may be counted from anywhere.
class Search {
 public:
  Search(const std::vector<double>& levels, double temperature, double particles)
      : levels_(levels), temperature_(temperature), particles_(particles) {}

  // Particles at mu beyond those asked for. Compensated, so that the tolerance makes sense for many levels.
  double excess(double mu) const {
    double sum = -particles_, rest = 0;
    for (const double e : levels_) {
      const double f = Fermi(e - mu, temperature_), next = sum + f;
      rest += std::fabs(sum) >= f ? (sum - next) + f : (f - next) + sum;
      sum = next;
    }
    return sum + rest;
  }

  // Halves the bracket until mu, its middle, fits (true), or no double is left between its ends.
  bool bisect(double& low, double& high, double& mu) const {
    for (int round = 0; round < MaxRounds; ++round) {
      const double previous = mu;
      mu = low + (high - low) / 2;
      const double difference = excess(mu);
      if (std::fabs(difference) < ParticleTolerance) return true;
      if (round > 0 && mu == previous) return false;
      (difference < 0 ? low : high) = mu;
    }
    return false;
  }

 private:
  const std::vector<double>& levels_;
  double temperature_, particles_;
};

double NearestLevel(const std::vector<double>& levels, double mu) {
  return *std::min_element(levels.begin(), levels.end(),
                           [mu](double a, double b) { return std::fabs(a - mu) < std::fabs(b - mu); });
}

// The levels counted from origin.
std::vector<double> ShiftedLevels(std::vector<double> levels, double origin) {
  for (double& e : levels) e -= origin;
  return levels;
}

// The filling at mu; levels stand as mu does, the energy counts from zero.
void Fill(const std::vector<double>& eigenvalues, const std::vector<double>& levels, double mu,
          double temperature, ThermalFilling& filling) {
  filling.occupations.clear();
  filling.energy = 0;
  for (std::size_t k = 0; k < levels.size(); ++k) {
    filling.occupations.push_back(Fermi(levels[k] - mu, temperature));
    filling.energy += filling.occupations[k] * eigenvalues[k];
  }
}

}  // namespace

int CalculateChemicalPotentialFromListOfEigenvalues(const std::vector<double>& eigenvalues,
                                                    double temperature, double particles,
                                                    ThermalFilling& filling) {
  const auto count = static_cast<double>(eigenvalues.size());
  if (!(temperature >= 0 && std::isfinite(temperature)))
    return Fail("ERROR: the temperature %g is no finite number of 0 or more\n", temperature);
  if (!(particles >= -ParticleTolerance && particles <= count + ParticleTolerance))
    return Fail("ERROR: %d levels can not hold %g particles\n", static_cast<int>(eigenvalues.size()),
                particles);
  if (eigenvalues.empty()) return filling = {}, 0;

  const auto [lowest, highest] = std::minmax_element(eigenvalues.begin(), eigenvalues.end());
  double low = *lowest, high = *highest, mu = 0;
  const Search search(eigenvalues, temperature, particles);
  // Half the tolerance: the ends then lie where the middle can fit.
  for (double step = 1; search.excess(high) < -ParticleTolerance / 2 && std::isfinite(high); step *= 2)
    high += step;
  for (double step = 1; search.excess(low) > ParticleTolerance / 2 && std::isfinite(low); step *= 2)
    low -= step;
  if (search.bisect(low, high, mu)) {
    filling.mu = mu;
    Fill(eigenvalues, eigenvalues, mu, temperature, filling);
    return 0;
  }

  // A level filled in part holds mu within a fraction of the temperature, which may be finer than the spacing
  // of doubles there. Counted from that level it is resolved.
  const double origin = NearestLevel(eigenvalues, mu);
  const std::vector<double> levels = ShiftedLevels(eigenvalues, origin);
  double fromOrigin = mu - origin;
  low -= origin;
  high -= origin;
  const bool found = Search(levels, temperature, particles).bisect(low, high, fromOrigin);
  filling.mu = origin + fromOrigin;
  Fill(eigenvalues, levels, fromOrigin, temperature, filling);
  if (found) return 0;
  return Fail(
      "ERROR: no chemical potential fills the levels with %.15g particles at temperature %g. Levels filled "
      "in part need a temperature above 0\n",
      particles, temperature);
}

int CalculateDensityMatrixFromOneElectronEigensystem(const CompactMatrixType& vectors,
                                                     const std::vector<double>& eigenvalues,
                                                     CompactMatrixType& Rho, double temperature,
                                                     double particles, double& energy) {
  if (vectors.Ni != eigenvalues.size()) return Fail("Error in dimensions\n");
  ThermalFilling filling;
  if (CalculateChemicalPotentialFromListOfEigenvalues(eigenvalues, temperature, particles, filling)) return 1;
  for (double& f : filling.occupations)
    if (f < DBL_EPSILON) f = 0;
  Rho = TransformDiagonalMatrixByCompactMatrixTdagAT(filling.occupations, vectors);
  energy = filling.energy;
  return 0;
}

}  // namespace fermix
