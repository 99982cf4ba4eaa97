// Orthonormalisation of lists of states. They work on one basis, where sums and overlaps look nothing up.
#include <algorithm>
#include <cfloat>
#include <cmath>

#include "core/wave_function_tools.h"
#include "host/base/status.h"
#include "linalg/compact_matrix.h"

namespace fermix {

namespace {

using StateList = std::vector<WaveFunctionType>;

bool QFinite(Complex16 z) { return std::isfinite(z.re) && std::isfinite(z.im); }

// S[i][j] = <i|j>. Status 1 when an element is no finite number.
int Overlap(const StateList& states, CompactMatrixType& S) {
  const auto n = static_cast<std::uint32_t>(states.size());
  const bool complex =
      std::any_of(states.begin(), states.end(), [](const WaveFunctionType& psi) { return QComplex(psi); });
  S = InitCompactMatrix(n, n, complex);
  bool finite = true;
  std::visit(
      [&](auto& data) {
        using T = std::decay_t<decltype(data[0])>;
        for (std::uint32_t i = 0; i < n; ++i)
          for (std::uint32_t j = 0; j <= i; ++j) {
            const Complex16 z = WaveFunctionDotProduct(states[i], states[j]);
            finite &= QFinite(z);
            data[std::size_t{i} * n + j] = ToKind<T>(z);
            data[std::size_t{j} * n + i] = ToKind<T>(Conj(z));
          }
      },
      S.Data);
  return finite ? 0 : Fail("Overlap of wave-functions is not a number in WaveFunctionListSVDOrthogonalize\n");
}

// One Löwdin step: states times S^(-1/2) on the directions above the threshold, whose number is rank.
int LowdinStep(StateList& states, double threshold, std::size_t& rank) {
  CompactMatrixType S, V;
  std::vector<double> values;
  if (Overlap(states, S) || CompactMatrixEigensystem(S, V, values)) return 1;
  // Below this an eigenvalue is rounding of the largest one, however long the functions are.
  const double noise = double(values.size()) * DBL_EPSILON * values.back();
  rank = 0;
  for (double& s : values) {
    const bool kept = std::fabs(s) > std::max(threshold, noise);
    rank += kept;
    s = kept ? 1 / std::sqrt(std::fabs(s)) : 0;
  }
  const CompactMatrixType W = TransformDiagonalMatrixByCompactMatrixTtranATcon(values, V);
  StateList result;
  for (std::uint32_t k = 0; k < states.size(); ++k) {
    WaveFunctionType psi = WaveFunctionInitCopyBasis(states[k]);
    for (std::uint32_t i = 0; i < states.size(); ++i) {
      const Complex16 w = CompactMatrixElement(W, i, k);  // states are kets: |k> = sum_i |i> W[i][k]
      if (w == Complex16(0)) continue;
      WaveFunctionAddComplexMultipliedUnionBasis(psi, states[i], w);
    }
    result.push_back(std::move(psi));
  }
  states = std::move(result);
  return 0;
}

void DropSmallest(StateList& states) {
  std::size_t smallest = 0;
  double norm = WaveFunctionCalculateNormSqr(states[0]);
  for (std::size_t k = 1; k < states.size(); ++k) {
    const double other = WaveFunctionCalculateNormSqr(states[k]);
    // Of equal ones the last goes, also when they differ by rounding.
    if (other > norm * (1 + 100 * DBL_EPSILON)) continue;
    smallest = k;
    norm = other;
  }
  states.erase(states.begin() + static_cast<std::ptrdiff_t>(smallest));
}

// Zero elements go; a full list gets empty states for the functions that were dropped.
void Finish(StateList& states, const StateList& original, bool ReduceDimension) {
  for (WaveFunctionType& psi : states) WaveFunctionTruncateBasis(psi, 0);
  while (!ReduceDimension && states.size() < original.size())
    states.emplace_back(Layout(original[0]), false, original[0].basis->NBitsKey);
}

}  // namespace

int WaveFunctionListSVDOrthogonalize(StateList& states, const OrthonormalizeSettings& settings) {
  if (states.empty()) return 0;
  // After a step an eigenvalue of the overlap is 0, or no less than one over the number of functions.
  constexpr double noise = OrthonormalizeSettings{}.SingularValue;
  StateList work = states;
  WaveFunctionArrayToSameBasis(work);
  std::size_t rank = 0;
  if (LowdinStep(work, settings.SingularValue, rank)) return 1;
  if (rank == 0) work.clear();
  while (rank < work.size()) {
    DropSmallest(work);
    if (work.empty()) break;
    if (LowdinStep(work, noise, rank)) return 1;
  }
  // Once more on what is orthonormal up to rounding.
  if (!work.empty() && LowdinStep(work, noise, rank)) return 1;
  Finish(work, states, settings.ReduceDimension);
  states = std::move(work);
  return 0;
}

int WaveFunctionListOrthogonalize(StateList& states, const OrthonormalizeSettings& settings) {
  constexpr double noise = 100 * DBL_EPSILON;  // what remains below this is rounding and has no direction
  StateList moved = states, work;
  WaveFunctionArrayToSameBasis(moved);
  for (WaveFunctionType& psi : moved) {
    const double before = WaveFunctionCalculateNorm(psi);
    // The second round removes what rounding left of the first.
    for (int round = 0; round < 2; ++round)
      for (const WaveFunctionType& q : work)
        WaveFunctionAddComplexMultipliedUnionBasis(psi, q, -WaveFunctionDotProduct(q, psi));
    const double after = WaveFunctionCalculateNorm(psi);
    if (!std::isfinite(after))
      return Fail("Norm of a wave-function is not a number in WaveFunctionListOrthogonalize\n");
    if (after <= std::max(settings.SingularValue, noise) * before) continue;
    WaveFunctionMultiply(psi, 1 / after, 0);
    work.push_back(std::move(psi));
  }
  Finish(work, states, settings.ReduceDimension);
  states = std::move(work);
  return 0;
}

}  // namespace fermix
