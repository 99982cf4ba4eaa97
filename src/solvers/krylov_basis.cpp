#include "solvers/krylov_basis.h"

#include <algorithm>
#include <cfloat>

#include "core/expectation.h"
#include "core/operator_on_state.h"
#include "solvers/lanczos.h"

namespace fermix {

namespace {

void Subtract(WaveFunctionType& w, const WaveFunctionType& v, Complex16 d) {
  WaveFunctionAddComplexMultipliedUnionBasis(w, v, Complex16{-d.re, -d.im});
}

// w minus its parts along the states, last one first; the overlap with the last one, twice removed, is where
// the level of that state stands.
double Orthogonalize(const std::vector<WaveFunctionType>& states, WaveFunctionType& w) {
  double a = 0;
  for (int pass = 0; pass < 2; ++pass)
    for (std::size_t k = states.size(); k-- > 0;) {
      const Complex16 d = WaveFunctionDotProduct(states[k], w);
      if (pass == 0 && k + 1 == states.size()) a = d.re;
      Subtract(w, states[k], d);
    }
  return a;
}

bool QOrthogonal(const std::vector<WaveFunctionType>& states, const WaveFunctionType& w, double epsilon) {
  // What two passes leave by rounding is no reason to end the chain, however small epsilon is.
  const double rounding = 1e4 * DBL_EPSILON * DBL_EPSILON * static_cast<double>(states.size());
  double sum = 0;
  for (std::size_t k = states.size(); k-- > 0;) {
    const Complex16 d = WaveFunctionDotProduct(states[k], w);
    sum += d.re * d.re + d.im * d.im;
  }
  return sum <= std::max(epsilon, rounding);
}

void Truncate(WaveFunctionType& psi, double epsilon) {
  if (QComplex(psi)) {
    ComplexWaveFunctionTruncateBasis(psi, epsilon);
  } else {
    WaveFunctionTruncateBasis(psi, epsilon);
  }
}

}  // namespace

KrylovBasis LanczosTriDiagonalizeKrylov(const OperatorType& H, WaveFunctionType psi,
                                        const DeterminantRestrictionType* R, double epsilon,
                                        TriDiagonalMatrixType& M) {
  constexpr double NormFloor = 2.2250738585072014e-305;
  const std::uint32_t N = ChainLength(M);
  M = InitTriDiagonalMatrix(N);
  KrylovBasis K;
  if (QComplex(H) != 0) MakeComplexWaveFunctionFromReal(psi);
  if (N > 0) M.b[0] = WaveFunctionCalculateNorm(psi);
  if (N > 0 && M.b[0] >= NormFloor) {
    const CompiledOperator compiled = CompileOperator(H, R, std::size_t{ElementCount(psi)} * N);
    WaveFunctionMultiply(psi, 1 / M.b[0], 0);
    Truncate(psi, epsilon);
    if (ElementCount(psi) > 0) K.states.push_back(std::move(psi));
    double error = 1;
    for (std::uint32_t i = 1; i < N && K.states.size() == i; ++i) {
      WaveFunctionType w = OperatorPsi(compiled, K.states[i - 1]);
      M.a[i] = Orthogonalize(K.states, w);
      M.b[i] = WaveFunctionCalculateNorm(w);
      if (M.b[i] < NormFloor) break;
      WaveFunctionMultiply(w, 1 / M.b[i], 0);
      if (!QOrthogonal(K.states, w, epsilon)) break;
      const double b2 = M.b[i] * M.b[i];
      error *= b2 / (DBL_EPSILON * M.a[i] * M.a[i] + b2 + DBL_MIN);
      Truncate(w, epsilon / error);
      if (ElementCount(w) > 0) K.states.push_back(std::move(w));
    }
  }
  const std::size_t levels = K.states.size();
  M.a.resize(levels + 1);
  M.b.resize(levels);
  if (levels > 0) M.a[levels] = PsiHermitianOperatorPsi(H, K.states.back());
  return K;
}

std::vector<LanczosChain> LanczosForAll(const OperatorType& H, const DeterminantRestrictionType& R,
                                        std::vector<WaveFunctionType> starts, double epsilon,
                                        std::uint32_t NTri, double width) {
  std::vector<LanczosChain> chains;
  for (WaveFunctionType& start : starts) {
    LanczosChain& chain = chains.emplace_back();
    chain.M = InitTriDiagonalMatrix(NTri);
    chain.levels = LanczosTriDiagonalizeRestricted(H, std::move(start), R, epsilon, chain.M, width);
    start = WaveFunctionType();
  }
  return chains;
}

}  // namespace fermix
