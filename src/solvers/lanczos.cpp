#include "solvers/lanczos.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <utility>

#include "host/base/status.h"
#include "host/base/verbosity.h"
#include "solvers/looser_threshold.h"
#include "solvers/panel_lanczos.h"

namespace fermix {

namespace {

constexpr std::uint32_t ProgressMask = 256;

// One run, term by term: three vectors in rotation, v[i % 3] being vector i.
class Lanczos {
 public:
  Lanczos(const CompiledOperator& H, WaveFunctionType psi, const LanczosSettings& settings,
          TriDiagonalMatrixType& M)
      : H_(H), M_(M), N_(settings.length), levels_(N_), eps_(settings.epsilon), width_(settings.width) {
    v_[0] = std::move(psi);
  }

  std::uint32_t Run() {
    Start();
    for (std::uint32_t i = 1; i < N_; ++i) Step(i);
    VerbosityPrintf(ProgressMask, "             | M.a[%3i] M.b[%3i]: %12.5E %12.5E | Err: %12.5E\n\n", N_,
                    N_ - 1, M_.a[N_], M_.b[N_ - 1], error_);
    std::fflush(stdout);
    return levels_;
  }

 private:
  // Vector 0 and the first product.
  void Start() {
    M_.a[0] = 0;
    M_.b[0] = Normalize(v_[0]);
    PrintSize(v_[0]);
    const std::uint32_t size = ElementCount(v_[0]);
    Truncate(v_[0], eps_);
    VerbosityPrintf(ProgressMask, "%12i\n", ElementCount(v_[0]));
    v_[1] = ApplyH(v_[0], [&] { return eps_; });
    M_.a[1] = Overlap(v_[1], v_[0]);
    if (QVectorLost(v_[0], size, 0)) levels_ = 0;
    PrintSize(v_[1]);
  }

  void Step(std::uint32_t i) {
    WaveFunctionType &vi = v_[i % 3], &before = v_[(i - 1) % 3], &next = v_[(i + 1) % 3];
    Subtract(vi, before, M_.a[i], "&(v[vi]),v[vim],-M->a[i]");
    M_.b[i] = Normalize(vi);
    const std::uint32_t size = ElementCount(vi);
    Truncate(vi, eps_ / error_);
    VerbosityPrintf(ProgressMask, "%12i ", ElementCount(vi));
    VerbosityPrintf(ProgressMask, "| M.a[%3i] M.b[%3i]: %12.5E %12.5E | Err: %12.5E\n", i, i - 1, M_.a[i],
                    M_.b[i - 1], error_);
    error_ = NextError(error_, M_.b[i], width_);
    next = ApplyH(vi, [&] { return eps_ / error_; });
    PrintSize(next);
    M_.a[i + 1] = Overlap(next, vi);
    if (QVectorLost(vi, size, i)) levels_ = std::min(levels_, i);
    Subtract(next, before, M_.b[i], "&(v[vip]),v[vim],-M->b[i]");
    before = WaveFunctionType();
  }

  // Scales psi to norm 1 and gives the norm that it had; a zero vector stays one.
  static double Normalize(WaveFunctionType& psi) {
    const double norm = WaveFunctionCalculateNorm(psi);
    WaveFunctionMultiply(psi, norm == 0 ? 0.0 : 1 / norm, 0);
    return norm;
  }

  // True when nothing was left of vector i, which had size elements before truncation to psi, or too little.
  bool QVectorLost(const WaveFunctionType& psi, std::uint32_t size, std::uint32_t i) const {
    if (M_.b[i] == 0 || ElementCount(psi) == 0) return true;
    if (i == 0 || ElementCount(psi) == size) return false;
    const double norm = WaveFunctionCalculateNorm(psi);
    return QLevelMoved(1 - norm * norm, M_.a[i + 1], M_);
  }

  // A complex vector stays complex, whatever its imaginary parts.
  static void Truncate(WaveFunctionType& psi, double epsilon) {
    if (QComplex(psi)) {
      ComplexWaveFunctionTruncateBasis(psi, epsilon);
    } else {
      WaveFunctionTruncateBasis(psi, epsilon);
    }
  }

  static double Overlap(const WaveFunctionType& a, const WaveFunctionType& b) {
    return WaveFunctionDotProduct(a, b).re;
  }

  static void PrintSize(const WaveFunctionType& psi) {
    VerbosityPrintf(ProgressMask, "BasisSetSize: %12i ", ElementCount(psi));
  }

  template <class Threshold>
  WaveFunctionType ApplyH(WaveFunctionType& psi, Threshold&& threshold) {
    WaveFunctionType Hpsi;
    while (!FitsInMemory([&] { Hpsi = OperatorPsi(H_, psi); })) GiveUpAccuracy("OperatorPsi", psi, threshold);
    return Hpsi;
  }

  void Subtract(WaveFunctionType& psi, const WaveFunctionType& other, double factor, const char* arguments) {
    while (!FitsInMemory([&] { WaveFunctionAddMultipliedUnionBasis(psi, other, -factor); })) {
      char step[100];
      std::snprintf(step, sizeof step, "RealWaveFunctionAddMultipliedUnionBasis(%s)", arguments);
      GiveUpAccuracy(step, psi, [&] { return eps_ * WaveFunctionCalculateNorm(psi) / error_; });
    }
  }

  // Doubles the threshold and makes psi smaller, so that the step that failed can be repeated. threshold() is
  // asked after the doubling.
  template <class Threshold>
  void GiveUpAccuracy(const char* step, WaveFunctionType& psi, Threshold&& threshold) {
    Say("Allocation of new memory failed in LanczosTriDiagonalize for the function %s\n", step);
    const double before = eps_;
    eps_ = LooserThreshold(before);
    Say("reduce accuracy of the wave-function by a factor of two from %22.15E to %22.15E\n\n", before, eps_);
    if (NBlok(*psi.basis) == 1) EndOfMemory();  // truncation could free nothing
    Truncate(psi, threshold());
  }

  const CompiledOperator& H_;
  TriDiagonalMatrixType& M_;
  std::uint32_t N_, levels_;
  double eps_, width_;
  double error_ = 1;  // how much the coefficients at this depth can still matter at the resolution
  WaveFunctionType v_[3];
};

// H with its chain of compiled terms, for states that go their own way.
LanczosRun RunAlone(const CompiledOperator& H, WaveFunctionType psi, const LanczosSettings& settings) {
  if (H.kind != 0)
    OrSay("MakeComplexWaveFunctionFromReal failed in LanczosTriDiagonalize\n",
          [&] { MakeComplexWaveFunctionFromReal(psi); });
  const char form[] = {"RCM"[H.kind], QComplex(psi) ? 'C' : 'R', 0};
  SayLanczosStart(form);
  LanczosRun run{InitTriDiagonalMatrix(settings.length), 0};
  run.levels = Lanczos(H, std::move(psi), settings, run.chain).Run();
  return run;
}

// How many states from first on can go together: as many as fill a panel, all of one kind.
std::size_t GroupSize(const std::vector<WaveFunctionType>& starts, std::size_t first, bool complexH) {
  const auto complex = [&](std::size_t s) { return complexH || QComplex(starts[s]); };
  std::size_t end = first;
  while (end < starts.size() && end - first < PanelStates(complex(first)) && complex(end) == complex(first))
    ++end;
  return end - first;
}

// Chains of the states done .. of starts; stops where vectors don't fit or don't pay. Frees the states done.
template <class C>
void RunTogether(const OperatorType& H, const DeterminantRestrictionType& R,
                 std::vector<WaveFunctionType>& starts, const LanczosSettings& settings,
                 std::vector<LanczosRun>& runs, std::size_t& done) {
  OperatorRows<C> rows(H, &R, std::make_shared<DeterminantBasis>(Layout(starts[0])), SIZE_MAX);
  std::size_t most = SIZE_MAX;
  while (done < starts.size()) {
    const std::size_t count = std::min(most, GroupSize(starts, done, IsComplex<C>));
    const bool complex = IsComplex<C> || QComplex(starts[done]);
    bool worthIt = false;
    if (FitsInMemory(
            [&] { worthIt = PanelLanczos(rows, &starts[done], count, complex, settings, &runs[done]); })) {
      if (!worthIt) return;
      for (const std::size_t end = done + count; done < end; ++done) starts[done] = WaveFunctionType();
    } else {
      if (count == 1) return;
      most = count / 2;
      rows.limit = SIZE_MAX;  // fewer states need less room
    }
  }
}

}  // namespace

int LanczosEnergies(const LanczosRun& run, std::vector<double>& energies) {
  TriDiagonalMatrixType connected = run.chain;
  connected.a.resize(std::size_t{run.levels} + 1);
  connected.b.resize(run.levels);
  return TriDiagonalMatrixToEigenvalues(connected, energies);
}

void SayLanczosStart(const char* form) {
  VerbosityPrintf(1, "Start of LanczosTriDiagonalize%s\n", form);
  std::fflush(stdout);
}

std::vector<LanczosRun> LanczosTriDiagonalize(const OperatorType& H, const DeterminantRestrictionType* R,
                                              std::vector<WaveFunctionType> starts,
                                              const LanczosSettings& settings) {
  std::vector<LanczosRun> runs(starts.size());
  if (starts.empty() || settings.length == 0) return runs;
  if (!R && NRestrictions(H.Restrictions))
    for (WaveFunctionType& psi : starts) WaveFunctionRestrict(psi, H.Restrictions);
  const DeterminantRestrictionType& restrictions = R ? *R : H.Restrictions;
  std::size_t done = 0;
  // Without room even for its beginnings the shared way is left to the other one.
  static_cast<void>(!settings.shareRows || FitsInMemory([&] {
    if (QComplex(H)) {
      RunTogether<Complex16>(H, restrictions, starts, settings, runs, done);
    } else {
      RunTogether<double>(H, restrictions, starts, settings, runs, done);
    }
  }));
  if (done == starts.size()) return runs;
  const CompiledOperator compiled =
      CompileOperator(H, &restrictions, std::size_t{ElementCount(starts[done])} * settings.length);
  for (; done < starts.size(); ++done)
    runs[done] = RunAlone(compiled, std::exchange(starts[done], WaveFunctionType()), settings);
  return runs;
}

}  // namespace fermix
