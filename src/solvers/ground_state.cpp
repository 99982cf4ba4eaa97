#include "solvers/ground_state.h"

#include <algorithm>
#include <cfloat>
#include <cmath>

#include "host/base/status.h"
#include "host/base/verbosity.h"
#include "solvers/basis_growth.h"
#include "solvers/closed_space.h"
#include "solvers/conserve_basis.h"
#include "solvers/looser_threshold.h"
#include "solvers/search_operator.h"
#include "solvers/search_progress.h"

namespace fermix {

namespace {

constexpr std::uint32_t MaxLoops = 99;
// What rounding leaves of the residual of an eigenstate, in units of |H psi|.
constexpr double Rounding = 1e-12;
// Residuals below this fraction of |H psi| come from an exact solution, or from the truncation of one.
constexpr double ResidualOfExact = 1e-8;
// States that were solved for have overlaps far below this.
constexpr double SmallOverlap = 1e-6;
// What truncation may take from the squared norm of a state that is still taken for whole.
constexpr double VisibleLoss = 1e-12;
// H = 0 and the least shift lead below this.
constexpr double NormOfNothing = 1e-140;
// By this the inner solver has to do better when its bar turns out to be too high.
constexpr double Tighter = 0.01;

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
      : H_(H), settings_(settings), run_(run), psi_(psi), progress_(psi.size(), settings.zero) {
    H_.Restrict(run_);
  }

  // random: nobody has solved anything yet, so that a bar that the states of psi meet means nothing.
  int Run(bool random) {
    VerbosityPrintf(0x20000, "\nStarting function 1 to Npsi=%i in BlockGroundState\n\n", States());
    ResizeKeylist(psi_, KeylistBits(ElementCount(psi_[0]), 9, 2));
    EstimateScale();
    VerbosityPrintf(
        2,
        "Start of BlockGroundState. Converge %i states to an energy with relative variance smaller "
        "than %22.15E\n\n",
        States(), settings_.zero);
    for (std::uint32_t loop = 0; loop < MaxLoops; ++loop) {
      if (ApplyH()) return StatusOutOfMemory;
      if (loop == 0 && !RestrictBasis()) return StatusNothingAllowed;
      Measure();
      if (!progress_.QFinite())
        return Fail("Error in BlockGroundState: energies or variances are not finite numbers\n");
      const bool converged = QConverged() && !truncated_;
      if (converged && (loop > 0 || QGoodStart(random))) return 0;
      if (progress_.QStandstill(!truncated_) && !converged) return AfterTheLastLoop(MaxLoops - 1 - loop);
      // The bar of the inner solver sums over levels; with many states it may lie above that of the search.
      if (progress_.QStalled()) innerZero_ *= Tighter;
      const double shift = settings_.ShiftScheme == "None" ? 0.0 : PowerStep();
      VerbosityPrintf(2, "Outer loop %3i, Number of Determinants: %9i %9i last variance %22.15E\n", loop + 1,
                      ElementCount(psi_[0]), ElementCount(Hpsi_[0]), progress_.Variance(psi_.size() - 1));
      KeepVanished(shift);
      psi_ = std::move(Hpsi_);
      if (const int status = SolveInside(shift)) return status;
      BlockWaveFunctionTruncateBasis(psi_, settings_.epsilon);
    }
    return NotConverged();
  }

  // After a search that converged. The bar counts from energy 0: levels that lie close together far from 0
  // are still mixed when it is met. Where H stays within a small space, one dense solution gives them
  // exactly.
  void SolveClosedSpace() {
    std::vector<WaveFunctionType> states;
    if (ElementCount(Hpsi_[0]) > settings_.DenseBorder || !FitsInMemory([&] {
          if (!QShortened() && !QSolved(ResidualOfExact)) states = ClosedSpace();
        }) ||
        states.empty() || BlockLanczosGroundStateConserveBasisDense(H_.H(), 0.0, states))
      return;
    psi_ = std::move(states);
    BlockWaveFunctionTruncateBasis(psi_, settings_.epsilon);
  }

 private:
  static int NotConverged() {
    return Fail(
        "\n\n\nError in BlockGroundState: Reached maximum number of Loops. The algorithm did NOT "
        "converge!\n\n\n\n");
  }

  int States() const { return static_cast<int>(psi_.size()); }

  // The scale that variances are measured against: the squared energy of a random state.
  void EstimateScale() {
    if (ElementCount(psi_[0]) == 0) return;
    WaveFunctionType random = WaveFunctionInitCopyBasis(psi_[0]);
    WaveFunctionRandomize(random);
    // A small basis is left to the dense path, which needs no rows.
    if (ElementCount(random) > settings_.DenseBorder) H_.Explore(random);
    const double E = H_.Expectation(random);
    progress_.StartScale(E * E);
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

  // Takes what the restrictions forbid out of the basis of H psi, where the determinants of psi are too.
  // False when nothing is left.
  bool RestrictBasis() {
    const DeterminantRestrictionType& R = Restrictions();
    if (NRestrictions(R) == 0) return true;
    const DeterminantBasis& basis = *Hpsi_[0].basis;
    std::uint32_t allowed = 0;
    for (std::uint32_t i = 1; i <= basis.N; ++i) allowed += QFulfillsRestrictions(R, basis.keys.at(i));
    inside_ = allowed == basis.N;
    if (allowed > 0 && !inside_) BlockWaveFunctionRestrict(Hpsi_, R);
    return allowed > 0;
  }

  void Measure() {
    VerbosityPrintf(
        256, "Number of determinants in basis %i (and basis of H psi %i) with size of lookuptable %i\n",
        ElementCount(psi_[0]), ElementCount(Hpsi_[0]), Hpsi_[0].basis->NBitsKey);
    VerbosityPrintf(256, "State # |   Energy               |  Variance of Energy    |  Energy change\n");
    progress_.BeginPass(ElementCount(psi_[0]), ElementCount(Hpsi_[0]));
    for (std::size_t i = 0; i < psi_.size(); ++i) {
      const double before = progress_.Energy(i), E = WaveFunctionDotProduct(psi_[i], Hpsi_[i]).re;
      progress_.Add(i, E, WaveFunctionDotProductSameBasis(Hpsi_[i], Hpsi_[i]).re);
      VerbosityPrintf(256, "%7i | %22.15E | %22.15E | %22.15E\n", static_cast<int>(i), E,
                      progress_.Variance(i), E - before);
    }
  }

  bool QConverged() const {
    const bool converged = progress_.QBelowBar();
    VerbosityPrintf(256, "\n");
    VerbosityPrintf(0x10000000, "Converged %i\n", converged);
    return converged;
  }

  int AfterTheLastLoop(std::uint32_t left) {
    VerbosityPrintf(2, "Nothing changes any more, the remaining %i outer loops are left out\n",
                    static_cast<int>(left));
    progress_.AddPasses(left);
    return progress_.QBelowBar() ? 0 : NotConverged();
  }

  // Whether start functions that meet the bar may be the result.
  bool QGoodStart(bool random) const { return inside_ && QOrthogonal() && (!random || QSolved(Rounding)); }

  // Start functions of a script may be any: eigenstates of one energy have no variance, whatever their
  // overlap.
  bool QOrthogonal() const {
    for (std::size_t i = 0; i < psi_.size(); ++i)
      for (std::size_t j = 0; j < i; ++j)
        if (Abs(WaveFunctionDotProductSameBasis(psi_[j], psi_[i])) > SmallOverlap) return false;
    return true;
  }

  // Whether |H psi - E psi| is below that fraction of |H psi| for all states. Rounding hides smaller
  // variances than this shows.
  bool QSolved(double fraction) const {
    for (std::size_t i = 0; i < psi_.size(); ++i) {
      WaveFunctionType residual = Hpsi_[i];
      WaveFunctionAddMultipliedConserveBasis(residual, psi_[i], -progress_.Energy(i));
      if (WaveFunctionCalculateNorm(residual) > fraction * std::sqrt(progress_.NormSqrOfH(i))) return false;
    }
    return true;
  }

  // Whether truncation took away what can be seen: the states are then meant to be short.
  bool QShortened() const {
    return std::any_of(psi_.begin(), psi_.end(), [](const WaveFunctionType& psi) {
      const double norm = WaveFunctionCalculateNormSqr(psi);
      return norm > 0 && std::fabs(norm - 1) > VisibleLoss;
    });
  }

  const DeterminantRestrictionType& Restrictions() const {
    return NRestrictions(run_) ? run_ : H_.H().Restrictions;
  }

  // As many states as psi, of any values, on all determinants that H and its powers reach; none when these
  // are too many for the dense solver.
  std::vector<WaveFunctionType> ClosedSpace() const {
    WaveFunctionType space = Hpsi_[0];
    if (!CloseUnder(H_.H(), Restrictions(), settings_.DenseBorder, space)) return {};
    return std::vector<WaveFunctionType>(psi_.size(), space);
  }

  // Moves the wanted energies well below zero, so that Hpsi is one power step towards them. Gives the shift.
  double PowerStep() {
    const double shift =
        -10 * std::sqrt(std::fabs(progress_.LargestVariance()) + 1000 * DBL_MIN) - progress_.HighestEnergy();
    for (std::size_t i = 0; i < psi_.size(); ++i)
      WaveFunctionAddMultipliedConserveBasis(Hpsi_[i], psi_[i], shift);
    return shift;
  }

  // Start functions of the energy that a step counts from are taken to nothing by it: they stay what they
  // are.
  void KeepVanished(double shift) {
    const double size = progress_.LargestNormOfH() + std::fabs(shift);
    for (std::size_t i = 0; i < psi_.size(); ++i)
      if (WaveFunctionCalculateNorm(Hpsi_[i]) <= std::max(Rounding * size, NormOfNothing))
        WaveFunctionAddMultipliedConserveBasis(Hpsi_[i], psi_[i], 1.0);
  }

  int SolveInside(double shift) {
    truncated_ = false;
    for (;;) {
      ConvergenceSettingsType inner = settings_;
      inner.zero *= innerZero_;
      const int status = BlockLanczosGroundStateConserveBasis(H_, shift, psi_, inner);
      if (status == 0) return 0;
      if (status == StatusNotFinite) return 1;
      Say("Run outof memory in BlockLanczosGroundStateConserveBasis, that's not good an no good solution is "
          "implemented\n");
      if (GiveUpAccuracy()) return StatusOutOfMemory;
      truncated_ = true;
    }
  }

  SearchOperator& H_;
  ConvergenceSettingsType& settings_;
  const DeterminantRestrictionType& run_;
  std::vector<WaveFunctionType>& psi_;
  std::vector<WaveFunctionType> Hpsi_;
  SearchProgress progress_;
  double innerZero_ = 1;    // of the inner solver, in units of that of the search
  bool inside_ = true;      // no start function has determinants that the restrictions forbid
  bool truncated_ = false;  // the last pass had to truncate inside the solver
};

// The states of a block have one kind, on one basis.
void MakeUniform(std::vector<WaveFunctionType>& psi) {
  WaveFunctionArrayToSameBasis(psi);
  if (std::any_of(psi.begin(), psi.end(), [](const WaveFunctionType& state) { return QComplex(state); }))
    for (WaveFunctionType& state : psi) MakeComplexWaveFunctionFromReal(state);
}

}  // namespace

int BlockGroundState(OperatorType& H, std::uint32_t N, ConvergenceSettingsType& settings,
                     const DeterminantRestrictionType& start, const DeterminantRestrictionType& run,
                     std::vector<WaveFunctionType>& psi, std::uint32_t NBitsKey) {
  // As the first term it puts the determinants of a state first into the basis of its product.
  if (TermCount(H.l[0]) == 0) OperatorAddConstant(H, 0.0);
  SearchOperator searched(H);
  VerbosityPrintf(0x10000000, "Start of BlockGroundState\n");
  if (NBitsKey != 0 && NRestrictions(start) != 0) {
    if (CreateStartingFunctions(H, N, start, psi, NBitsKey))
      return Fail("CreateStartingFunctions failed in BlockGroundState\n");
    VerbosityPrintf(0x10000000, "Start of BlockGroundState\n");
    // Whether it converged or not, its states are the start of the search that counts. Out of memory it
    // leaves those of a power step, unsolved and not normalised, whose variances mean nothing.
    if (!psi.empty() && GroundStateSearch(searched, settings, start, psi).Run(true) == StatusOutOfMemory)
      return StatusOutOfMemory;
  }
  if (psi.empty()) return 0;
  MakeUniform(psi);
  GroundStateSearch search(searched, settings, run, psi);
  const int status = search.Run(false);
  if (status == 0) search.SolveClosedSpace();
  return status;
}

}  // namespace fermix
