#include "solvers/ground_state.h"

#include <algorithm>
#include <cmath>

#include "host/base/status.h"
#include "host/base/verbosity.h"
#include "solvers/basis_growth.h"
#include "solvers/conserve_basis.h"
#include "solvers/looser_threshold.h"
#include "solvers/search_operator.h"

namespace fermix {

namespace {

constexpr std::uint32_t MaxLoops = 99;
constexpr double SmallestNormal = 2.2250738585072014e-308;

// The smallest number of bits, at least lowest, for which count determinants fill no more than one of 2^spare
// slots.
std::uint32_t KeylistBits(std::uint32_t count, std::uint32_t lowest, std::uint32_t spare) {
  std::uint32_t bits = lowest;
  while (bits < 31 + spare && count > std::uint64_t{1} << (bits - spare)) ++bits;
  return bits;
}

void ResizeKeylist(std::vector<WaveFunctionType>& psi, std::uint32_t bits) {
  const std::uint32_t before = psi[0].basis->NBitsKey;
  if (bits == before) return;
  VerbosityPrintf(0x10000000, "Change size of keylist of function %s from %d to %d\n", psi[0].Name.c_str(),
                  before, bits);
  BlockWaveFunctionResetKeylist(psi, bits);
}

class GroundStateSearch {
 public:
  GroundStateSearch(SearchOperator& H, ConvergenceSettingsType& settings,
                    const DeterminantRestrictionType& run, std::vector<WaveFunctionType>& psi)
      : H_(H), settings_(settings), run_(run), psi_(psi), E_(psi.size(), 1e99), E2_(psi.size()) {
    H_.Restrict(run_);
  }

  int Run() {
    VerbosityPrintf(0x20000, "\nStarting function 1 to Npsi=%i in BlockGroundState\n\n", States());
    ResizeKeylist(psi_, KeylistBits(ElementCount(psi_[0]), 9, 2));
    EstimateScale();
    VerbosityPrintf(
        2,
        "Start of BlockGroundState. Converge %i states to an energy with relative variance smaller "
        "than %22.15E\n\n",
        States(), settings_.zero);
    for (std::uint32_t loop = 0; loop < MaxLoops; ++loop) {
      if (ApplyH()) return 1;
      if (loop == 0 && !QAnythingAllowed()) return StatusNothingAllowed;
      Measure();
      if (!std::isfinite(scale_))
        return Fail("Error in BlockGroundState: energies or variances are not finite numbers\n");
      const bool converged = QConverged();
      if (converged && !truncated_) return 0;
      const double shift = settings_.ShiftScheme == "None" ? 0.0 : PowerStep();
      VerbosityPrintf(2, "Outer loop %3i, Number of Determinants: %9i %9i last variance %22.15E\n", loop + 1,
                      ElementCount(psi_[0]), ElementCount(Hpsi_[0]), Variance(psi_.size() - 1));
      psi_ = std::move(Hpsi_);
      if (SolveInside(shift)) return 1;
      BlockWaveFunctionTruncateBasis(psi_, settings_.epsilon);
    }
    return Fail(
        "\n\n\nError in BlockGroundState: Reached maximum number of Loops. The algorithm did NOT "
        "converge!\n\n\n\n");
  }

 private:
  int States() const { return static_cast<int>(psi_.size()); }
  double Variance(std::size_t i) const { return E2_[i] - E_[i] * E_[i]; }

  // The scale that variances are measured against: the squared energy of a random state.
  void EstimateScale() {
    if (ElementCount(psi_[0]) == 0) return;
    WaveFunctionType random = WaveFunctionInitCopyBasis(psi_[0]);
    WaveFunctionRandomize(random);
    // A small basis is left to the dense path, which needs no rows.
    if (ElementCount(random) > settings_.DenseBorder) H_.Explore(random);
    const double E = H_.Expectation(random);
    scale_ = E * E;
  }

  // Doubles epsilon and truncates; status 1 when there is nothing to truncate.
  int GiveUpAccuracy() {
    if (NBlok(*psi_[0].basis) == 1)
      return Fail("Run outof memory need to truncate but NBlok=1\n You're screwed\n");
    settings_.epsilon = LooserThreshold(settings_.epsilon);
    BlockWaveFunctionTruncateBasis(psi_, settings_.epsilon);
    return 0;
  }

  int ApplyH() {
    while (!FitsInMemory([&] { Hpsi_ = H_.Times(psi_); }))
      if (!H_.Forget() && GiveUpAccuracy()) return 1;
    ResizeKeylist(Hpsi_, KeylistBits(ElementCount(Hpsi_[0]), 8, 1));
    return 0;
  }

  // Whether H psi has a determinant that the restrictions allow; those of psi stay in its basis all the same.
  bool QAnythingAllowed() const {
    if (NRestrictions(run_) == 0) return true;
    const DeterminantBasis& basis = *Hpsi_[0].basis;
    for (std::uint32_t i = 1; i <= basis.N; ++i)
      if (QFulfillsRestrictions(run_, basis.keys.at(i))) return true;
    return false;
  }

  void Measure() {
    VerbosityPrintf(
        256, "Number of determinants in basis %i (and basis of H psi %i) with size of lookuptable %i\n",
        ElementCount(psi_[0]), ElementCount(Hpsi_[0]), Hpsi_[0].basis->NBitsKey);
    VerbosityPrintf(256, "State # |   Energy               |  Variance of Energy    |  Energy change\n");
    for (std::size_t i = 0; i < psi_.size(); ++i) {
      const double before = E_[i];
      E_[i] = WaveFunctionDotProduct(psi_[i], Hpsi_[i]).re;
      E2_[i] = WaveFunctionDotProductSameBasis(Hpsi_[i], Hpsi_[i]).re;
      scale_ += E2_[i];
      VerbosityPrintf(256, "%7i | %22.15E | %22.15E | %22.15E\n", static_cast<int>(i), E_[i], Variance(i),
                      E_[i] - before);
    }
  }

  // The scale keeps the sums of all passes, so the bar loosens with each of them.
  bool QConverged() const {
    const double threshold = scale_ * settings_.zero / States() + SmallestNormal;
    bool converged = true;
    for (std::size_t i = 0; i < psi_.size(); ++i) converged = converged && Variance(i) <= threshold;
    VerbosityPrintf(256, "\n");
    VerbosityPrintf(0x10000000, "Converged %i\n", converged);
    return converged;
  }

  // Moves the wanted energies well below zero, so that Hpsi is one power step towards them. Gives the shift.
  double PowerStep() {
    double Emax = -1e99, Vmax = -1e99;
    for (std::size_t i = 0; i < psi_.size(); ++i) {
      Emax = std::max(Emax, E_[i]);
      Vmax = std::max(Vmax, Variance(i));
    }
    const double shift = -10 * std::sqrt(std::fabs(Vmax) + 1000 * SmallestNormal) - Emax;
    for (std::size_t i = 0; i < psi_.size(); ++i)
      WaveFunctionAddMultipliedConserveBasis(Hpsi_[i], psi_[i], shift);
    return shift;
  }

  int SolveInside(double shift) {
    truncated_ = false;
    for (;;) {
      const int status = BlockLanczosGroundStateConserveBasis(H_, shift, psi_, settings_);
      if (status == 0) return 0;
      if (status == StatusNotFinite) return 1;
      Say("Run outof memory in BlockLanczosGroundStateConserveBasis, that's not good an no good solution is "
          "implemented\n");
      if (GiveUpAccuracy()) return 1;
      truncated_ = true;
    }
  }

  SearchOperator& H_;
  ConvergenceSettingsType& settings_;
  const DeterminantRestrictionType& run_;
  std::vector<WaveFunctionType>& psi_;
  std::vector<WaveFunctionType> Hpsi_;
  std::vector<double> E_, E2_;  // energies, and norms of H psi squared
  double scale_ = 0;
  bool truncated_ = false;  // the last pass had to truncate inside the solver
};

// The states of a block have one kind, on one basis.
void MakeUniform(std::vector<WaveFunctionType>& psi) {
  WaveFunctionArrayToSameBasis(psi);
  if (std::any_of(psi.begin(), psi.end(), [](const WaveFunctionType& state) { return QComplex(state); }))
    for (WaveFunctionType& state : psi) MakeComplexWaveFunctionFromReal(state);
}

// start has no more restrictions to converge in when NBitsKey is 0.
int Search(SearchOperator& H, std::uint32_t N, ConvergenceSettingsType& settings,
           const DeterminantRestrictionType& start, const DeterminantRestrictionType& run,
           std::vector<WaveFunctionType>& psi, std::uint32_t NBitsKey) {
  VerbosityPrintf(0x10000000, "Start of BlockGroundState\n");
  if (NBitsKey != 0 && NRestrictions(start) != 0) {
    if (CreateStartingFunctions(H.H(), N, start, psi, NBitsKey))
      return Fail("CreateStartingFunctions failed in BlockGroundState\n");
    // Whether it converged or not, its states are the start of the search that counts.
    static_cast<void>(Search(H, N, settings, start, start, psi, 0));
  }
  if (psi.empty()) return 0;
  MakeUniform(psi);
  return GroundStateSearch(H, settings, run, psi).Run();
}

}  // namespace

int BlockGroundState(OperatorType& H, std::uint32_t N, ConvergenceSettingsType& settings,
                     const DeterminantRestrictionType& start, const DeterminantRestrictionType& run,
                     std::vector<WaveFunctionType>& psi, std::uint32_t NBitsKey) {
  // As the first term it puts the determinants of a state first into the basis of its product.
  if (TermCount(H.l[0]) == 0) OperatorAddConstant(H, 0.0);
  SearchOperator searched(H);
  return Search(searched, N, settings, start, run, psi, NBitsKey);
}

}  // namespace fermix
