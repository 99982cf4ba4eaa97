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

  bool fits(double mu) const { return std::fabs(excess(mu)) < ParticleTolerance; }

  std::vector<double> occupations(double mu) const {
    std::vector<double> f;
    for (const double e : levels_) f.push_back(Fermi(e - mu, temperature_));
    return f;
  }

  // Halves the bracket until mu, its middle, fits (true), or no double is left inside; then its ends are
  // tried.
  bool bisect(double& low, double& high, double& mu) const {
    for (int round = 0; round < MaxRounds; ++round) {
      mu = low + (high - low) / 2;
      const double difference = excess(mu);
      if (std::fabs(difference) < ParticleTolerance) return true;
      double& end = difference < 0 ? low : high;
      if (mu == end) break;
      end = mu;
    }
    return fits(mu = low) || fits(mu = high);
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

// The filling at mu between low and high. Where it jumps, at temperature 0, levels at the jump share what
// they hold evenly: the limit of small temperatures.
std::vector<double> FillFromOrigin(const std::vector<double>& levels, double temperature, double particles,
                                   double low, double high, double& mu) {
  const Search search(levels, temperature, particles);
  if (search.bisect(low, high, mu)) return search.occupations(mu);
  std::vector<double> f = search.occupations(low);
  const std::vector<double> above = search.occupations(high);
  const double missing = -search.excess(low), w = missing / (missing + search.excess(high));
  for (std::size_t k = 0; k < f.size(); ++k) f[k] += w * (above[k] - f[k]);
  return f;
}

double Energy(const std::vector<double>& eigenvalues, const std::vector<double>& occupations) {
  double sum = 0;
  for (std::size_t k = 0; k < eigenvalues.size(); ++k) sum += occupations[k] * eigenvalues[k];
  return sum;
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
  if (!std::all_of(eigenvalues.begin(), eigenvalues.end(), [](double e) { return std::isfinite(e); }))
    return Fail("ERROR: levels that are not finite can not be filled\n");
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
    filling = {mu, 0, search.occupations(mu)};
  } else {
    // A level filled in part holds mu within a fraction of the temperature, which may be finer than the
    // spacing of doubles there. Counted from that level it is resolved.
    const double origin = NearestLevel(eigenvalues, mu);
    low -= origin;
    high -= origin;
    filling.occupations =
        FillFromOrigin(ShiftedLevels(eigenvalues, origin), temperature, particles, low, high, mu);
    filling.mu = origin + mu;
  }
  filling.energy = Energy(eigenvalues, filling.occupations);
  return 0;
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
