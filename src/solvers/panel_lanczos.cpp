#include "solvers/panel_lanczos.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "host/base/status.h"
#include "host/base/text.h"
#include "host/base/verbosity.h"
#include "solvers/panel_kernels.h"

namespace fermix {

namespace {

constexpr std::uint32_t ProgressMask = 256;
// Beyond so many numbers a numbering that is mostly not in use is given up.
constexpr std::size_t ManyNumbers = 1000000, PartInUse = 8;

using StateValues = std::array<double, 8>;  // one a state

// Vectors v[i % 3] are vector i of all states.
template <class C>
class SideBySide {
 public:
  SideBySide(OperatorRows<C>& H, const WaveFunctionType* starts, std::size_t count, bool complex,
             const LanczosSettings& settings, LanczosRun* runs)
      : H_(H), settings_(settings), runs_(runs), count_(count), parts_(complex ? 2 : 1), texts_(count) {
    error_.fill(1);
    for (std::size_t s = 0; s < count_; ++s) {
      runs_[s] = {InitTriDiagonalMatrix(settings.length), settings.length};
      forms_.push_back({"RCM"[H.compiled.kind], QComplex(starts[s]) || H.compiled.kind ? 'C' : 'R'});
    }
    v_[0].columns = static_cast<std::uint32_t>(std::bit_ceil(count) * parts_);
    for (std::size_t s = 0; s < count_; ++s) OrForgetRows(H_, [&] { Place(starts[s], s); });
  }

  // False when the numbering is not worth its memory.
  bool Run() {
    Start();
    for (std::uint32_t i = 1; i < settings_.length; ++i) {
      const double most = Step(i);
      const auto numbers = static_cast<double>(Numbers(v_[0]));
      if (numbers > ManyNumbers && numbers > PartInUse * most) return false;
    }
    for (std::size_t s = 0; s < count_; ++s) {
      const TriDiagonalMatrixType& M = runs_[s].chain;
      const std::uint32_t N = settings_.length;
      AddText(s, "             | M.a[%3i] M.b[%3i]: %12.5E %12.5E | Err: %12.5E\n\n", N, N - 1, M.a[N],
              M.b[N - 1], error_[s]);
      SayLanczosStart(forms_[s].c_str());
      VerbosityPrintf(ProgressMask, "%s", texts_[s].c_str());
      std::fflush(stdout);
    }
    return true;
  }

 private:
  void Place(const WaveFunctionType& psi, std::size_t s) {
    const auto place = [&](const auto& x) {
      ExtendPanel(v_[0], std::size_t{H_.numbering->N} + 1);
      for (std::size_t k = 0; k < x.number.size(); ++k) {
        double* to = &v_[0].value[std::size_t{x.number[k]} * v_[0].columns + s * parts_];
        to[0] = Re(x.value[k]);
        if (parts_ == 2) to[1] = Im(x.value[k]);
      }
    };
    if (QComplex(psi)) {
      place(NumberState<Complex16>(*H_.numbering, psi));
    } else {
      place(NumberState<double>(*H_.numbering, psi));
    }
  }

  // Vector 0 and the first product.
  void Start() {
    const StateValues norm = Roots(PanelSquares(v_[0]));
    StateValues epsilon;
    epsilon.fill(settings_.epsilon);
    const Truncation left = Normalize(v_[0], norm, epsilon);
    for (std::size_t s = 0; s < count_; ++s) {
      TriDiagonalMatrixType& M = runs_[s].chain;
      M.a[0] = 0;
      M.b[0] = norm[s];
      AddText(s, "BasisSetSize: %12i %12i\n", Count(left.before, s), Count(left.kept, s));
    }
    Multiply(v_[0], v_[1], left);
    const StateValues a = Sums(PanelDotAndSubtract(v_[1], v_[0], ColumnValues{}, v_[0]));
    for (std::size_t s = 0; s < count_; ++s) {
      runs_[s].chain.a[1] = a[s];
      if (norm[s] == 0 || Count(left.kept, s) == 0) runs_[s].levels = 0;
    }
  }

  // Vector i and the product of it. Returns the most elements that a state has kept.
  double Step(std::uint32_t i) {
    Panel &vi = v_[i % 3], &before = v_[(i - 1) % 3], &next = v_[(i + 1) % 3];
    const StateValues b = Roots(
        PanelSubtractAndSquare(vi, Columns([&](std::size_t s) { return runs_[s].chain.a[i]; }), before));
    StateValues epsilon;
    for (std::size_t s = 0; s < count_; ++s) epsilon[s] = settings_.epsilon / error_[s];
    const Truncation left = Normalize(vi, b, epsilon);
    for (std::size_t s = 0; s < count_; ++s) {
      TriDiagonalMatrixType& M = runs_[s].chain;
      M.b[i] = b[s];
      AddText(s, "%12i | M.a[%3i] M.b[%3i]: %12.5E %12.5E | Err: %12.5E\n", Count(left.kept, s), i, i - 1,
              M.a[i], M.b[i - 1], error_[s]);
      error_[s] = NextError(error_[s], b[s], settings_.width);
    }
    Multiply(vi, next, left);
    OrForgetRows(H_, [&] { ExtendPanel(before, Numbers(next)); });
    const StateValues a =
        Sums(PanelDotAndSubtract(next, vi, Columns([&](std::size_t s) { return b[s]; }), before));
    const StateValues squares = Sums(left.squares);
    for (std::size_t s = 0; s < count_; ++s) {
      runs_[s].chain.a[i + 1] = a[s];
      const bool none = b[s] == 0 || Count(left.kept, s) == 0,
                 dropped = Count(left.kept, s) != Count(left.before, s);
      if (none || (dropped && QLevelMoved(1 - squares[s], a[s], runs_[s].chain)))
        runs_[s].levels = std::min(runs_[s].levels, i);
    }
    return *std::max_element(left.kept.begin(), left.kept.end());
  }

  // y = H x, of which nothing may be left.
  void Multiply(Panel& x, Panel& y, const Truncation& left) {
    if (std::all_of(left.kept.begin(), left.kept.end(), [](double kept) { return kept == 0; })) {
      y.columns = x.columns;
      y.value.assign(x.value.size(), 0);
    } else {
      OrForgetRows(H_, [&] { OperatorRowsMultiplyPanel(H_, x, y); });
    }
    if (!(GlobalVerbosity & ProgressMask)) return;
    const ColumnValues sizes = PanelCount(y, parts_ == 2);
    for (std::size_t s = 0; s < count_; ++s) AddText(s, "BasisSetSize: %12i ", Count(sizes, s));
  }

  Truncation Normalize(Panel& x, const StateValues& norm, const StateValues& epsilon) {
    return PanelScaleAndTruncate(x, parts_ == 2,
                                 Columns([&](std::size_t s) { return norm[s] == 0 ? 0.0 : 1 / norm[s]; }),
                                 Columns([&](std::size_t s) { return epsilon[s]; }));
  }

  template <class F>
  ColumnValues Columns(F&& ofState) const {
    ColumnValues values{};
    for (std::size_t j = 0; j < count_ * parts_; ++j) values[j] = ofState(j / parts_);
    return values;
  }
  StateValues Sums(const ColumnValues& columns) const {
    StateValues sums{};
    for (std::size_t j = 0; j < count_ * parts_; ++j) sums[j / parts_] += columns[j];
    return sums;
  }
  StateValues Roots(const ColumnValues& squares) const {
    StateValues roots = Sums(squares);
    for (double& root : roots) root = std::sqrt(root);
    return roots;
  }
  int Count(const ColumnValues& columns, std::size_t s) const {
    return static_cast<int>(columns[s * parts_]);
  }

  template <class... Arguments>
  void AddText(std::size_t s, const char* format, Arguments... arguments) {
    if (GlobalVerbosity & ProgressMask) sprintfAdd(texts_[s], format, arguments...);
  }

  OperatorRows<C>& H_;
  const LanczosSettings& settings_;
  LanczosRun* runs_;
  std::size_t count_, parts_;  // states; columns of a state
  StateValues error_;          // how much the coefficients at this depth can still matter at the resolution
  Panel v_[3];
  std::vector<DynamicString> texts_;
  std::vector<std::string> forms_;
};

}  // namespace

template <class C>
bool PanelLanczos(OperatorRows<C>& H, const WaveFunctionType* starts, std::size_t count, bool complex,
                  const LanczosSettings& settings, LanczosRun* runs) {
  return SideBySide<C>(H, starts, count, complex, settings, runs).Run();
}

template bool PanelLanczos(OperatorRows<double>&, const WaveFunctionType*, std::size_t, bool,
                           const LanczosSettings&, LanczosRun*);
template bool PanelLanczos(OperatorRows<Complex16>&, const WaveFunctionType*, std::size_t, bool,
                           const LanczosSettings&, LanczosRun*);

}  // namespace fermix
