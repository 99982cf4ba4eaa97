// How a ground-state search comes along: what its passes measured, and what follows from it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace fermix {

class SearchProgress {
 public:
  // zero: variances are measured against this times a scale of H squared.
  SearchProgress(std::size_t states, double zero);

  // The squared energy of a random state, which the scale begins with.
  void StartScale(double E2) { scale_ = E2; }

  // A pass begins, with so many determinants in psi and in H psi. Then each state adds its energy, and the
  // norm of H psi squared.
  void BeginPass(std::uint32_t psi, std::uint32_t Hpsi);
  void Add(std::size_t i, double E, double E2);

  double Energy(std::size_t i) const { return now_.E[i]; }
  double NormSqrOfH(std::size_t i) const { return now_.E2[i]; }  // <H^2>
  double Variance(std::size_t i) const { return now_.variance(i); }
  double HighestEnergy() const;
  double LargestVariance() const { return now_.largestVariance(); }
  double LargestNormOfH() const;

  bool QFinite() const;
  // Whether the variances of all states are below the bar. The scale keeps the sums of all passes, so the bar
  // loosens with each of them.
  bool QBelowBar() const;
  // What so many passes like this one would come to: only the bar moves.
  void AddPasses(std::uint32_t count);

  // Whether two passes in a row found what the pass before each of them had found. Truncation then takes away
  // what H adds, or the bar lies below the rounding. To be asked once in a pass; comparable false when the
  // pass was made in another way than the one before.
  bool QStandstill(bool comparable);
  // Whether this pass, on as many determinants as the last, did not even halve the largest variance.
  bool QStalled() const;

 private:
  struct Pass {
    double psi = 0, Hpsi = 0;   // numbers of determinants
    std::vector<double> E, E2;  // energies, and norms of H psi squared
    double variance(std::size_t i) const { return E2[i] - E[i] * E[i]; }
    double largestVariance() const;
  };
  Pass now_, last_;
  double zero_, scale_ = 0;
  std::uint32_t passes_ = 0, standing_ = 0;  // so far; in a row that changed nothing
};

}  // namespace fermix
