// One recursion, on vectors that are stored in either of two ways.
#include "solvers/krylov_basis.h"

#include <algorithm>
#include <cassert>
#include <cfloat>
#include <cmath>
#include <cstdio>
#include <stdexcept>

#include "core/operator_on_state.h"
#include "core/operator_rows.h"
#include "host/base/status.h"
#include "host/base/verbosity.h"
#include "linalg/vector_kernels.h"
#include "solvers/looser_threshold.h"

namespace fermix {

namespace {

constexpr std::uint32_t ProgressMask = 256;
constexpr double NormFloor = 2.2250738585072014e-305;

// How far the vectors may be truncated.
struct Accuracy {
  double epsilon;
  double error = 1;  // how much what comes at this depth can still matter

  double threshold() const { return epsilon / error; }
};

// --- Vectors on one numbering

// Vector k has the value of determinant n at index n - 1, and zeros behind its end. Its elements are listed
// besides, in the order in which vectors with bases of their own would have them.
template <class C, class T>
class NumberedVectors {
 public:
  NumberedVectors(const OperatorType& H, const DeterminantRestrictionType* R, const WaveFunctionType& psi)
      : numbering_(std::make_shared<DeterminantBasis>(Layout(psi), psi.basis->NBitsKey)),
        H_(H, R, numbering_, MostBytesOfRows) {
    NumberedState<T> start = NumberState<T>(*numbering_, psi);
    scatter(start);
    elements_ = std::move(start.number);
  }

  std::size_t size() const { return kept_.size(); }
  double norm() const { return Norm(w_.data(), w_.size()); }
  void scale(double factor) { Scale(w_.data(), factor, w_.size()); }
  std::size_t count() const { return elements_.size(); }
  void truncate(double epsilon) {
    std::erase_if(elements_, [&](std::uint32_t number) {
      T& x = w_[number - 1];
      if (Abs(x) > epsilon) return false;
      x = T{};
      return true;
    });
  }
  void keep() {
    elements_.shrink_to_fit();
    elementsOf_.push_back(std::exchange(elements_, {}));
    kept_.push_back(std::exchange(w_, {}));
  }

  // The new vector becomes H times the last one kept. It lists the elements of those kept as well, which
  // orthogonalisation adds to it.
  void apply() {
    OrForgetRows(H_, [&] {
      NumberedState<T> product = OperatorRowsMultiply(H_, stateOf(kept_.size() - 1), sums_);
      scatter(product);
      elements_ = std::move(product.number);
      listElementsOfKept();
      for (LargeVector<T>& k : kept_) {
        k.reserve(w_.size());
        k.resize(w_.size());
      }
    });
  }
  double overlapWithLast() const { return Re(Dot(kept_.back().data(), w_.data(), w_.size())); }
  // Takes out of the new vector what lies along those kept; the sum of the squared overlaps.
  double removeOverlaps() {
    std::vector<T> d = overlaps();
    double sum = 0;
    for (T& x : d) {
      sum += NormSqr(x);
      x = T{} - x;
    }
    AddEach(pointers_.data(), pointers_.size(), d.data(), w_.data(), w_.size());
    return sum;
  }
  double sumOfSquaredOverlaps() {
    double sum = 0;
    for (const T x : overlaps()) sum += NormSqr(x);
    return sum;
  }

  // All vectors, which are released one by one.
  void take(StateRows& states) {
    const std::uint32_t N = numbering_->N;
    OrForgetRows(H_, [&] {
      states = {numbering_, InitCompactMatrix(static_cast<std::uint32_t>(kept_.size()), N, IsComplex<T>)};
    });
    auto to = std::get<std::vector<T>>(states.rows.Data).begin();
    for (LargeVector<T>& v : kept_) {
      std::copy(v.begin(), v.end(), to);
      to += N;
      v = {};
    }
  }
  void take(std::vector<WaveFunctionType>& states) {
    for (std::size_t k = 0; k < kept_.size(); ++k) {
      OrForgetRows(H_, [&] { states.push_back(StateOfNumbers(*numbering_, stateOf(k))); });
      kept_[k] = {};
      elementsOf_[k] = {};
    }
  }

 private:
  static constexpr std::size_t MostBytesOfRows = std::size_t{1} << 31;

  void scatter(const NumberedState<T>& x) {
    w_.assign(numbering_->N, T{});
    for (std::size_t i = 0; i < x.number.size(); ++i) w_[x.number[i] - 1] = x.value[i];
  }
  NumberedState<T> stateOf(std::size_t k) const {
    NumberedState<T> state{elementsOf_[k], {}};
    state.value.reserve(state.number.size());
    for (const std::uint32_t number : state.number) state.value.push_back(kept_[k][number - 1]);
    return state;
  }
  // Sums with states append what is new from the last element to the first.
  void listElementsOfKept() {
    std::vector<bool> listed(numbering_->N + std::size_t{1});
    for (const std::uint32_t number : elements_) listed[number] = true;
    for (std::size_t k = kept_.size(); k-- > 0 && elements_.size() < numbering_->N;)
      for (std::size_t e = elementsOf_[k].size(); e-- > 0;) {
        const std::uint32_t number = elementsOf_[k][e];
        if (listed[number]) continue;
        listed[number] = true;
        elements_.push_back(number);
      }
  }
  std::vector<T> overlaps() {
    pointers_.clear();
    for (const LargeVector<T>& v : kept_) pointers_.push_back(v.data());
    std::vector<T> d(kept_.size());
    DotEach(pointers_.data(), pointers_.size(), w_.data(), w_.size(), d.data());
    return d;
  }

  std::shared_ptr<DeterminantBasis> numbering_;
  OperatorRows<C> H_;
  NumberedSums<T> sums_;
  std::vector<LargeVector<T>> kept_;
  std::vector<NumberedList> elementsOf_;  // of each vector kept
  LargeVector<T> w_;
  NumberedList elements_;
  std::vector<const T*> pointers_;
};

// --- Vectors with bases of their own, which truncation makes smaller when memory runs out

template <class T>
void FillRow(const WaveFunctionType& psi, const DeterminantBasis& basis, T* row) {
  for (std::uint32_t i = 1; i <= ElementCount(psi); ++i)
    row[BasisFind(basis, ElementKey(psi, i)) - 1] = ToKind<T>(ElementValue(psi, i));
}

// All states on the union of their bases.
StateRows GatherStateRows(const std::vector<WaveFunctionType>& states, const KeyLayout& layout) {
  StateRows result{std::make_shared<DeterminantBasis>(layout), {}};
  bool complex = false;
  for (const WaveFunctionType& psi : states) {
    complex = complex || QComplex(psi);
    for (std::uint32_t i = 1; i <= ElementCount(psi); ++i) BasisAdd(*result.basis, ElementKey(psi, i));
  }
  const std::uint32_t N = result.basis->N;
  result.rows = InitCompactMatrix(static_cast<std::uint32_t>(states.size()), N, complex);
  for (std::size_t k = 0; k < states.size(); ++k)
    std::visit([&](auto& data) { FillRow(states[k], *result.basis, data.data() + k * N); }, result.rows.Data);
  return result;
}

class SeparateVectors {
 public:
  SeparateVectors(const OperatorType& H, const DeterminantRestrictionType* R, const WaveFunctionType& psi,
                  std::size_t steps, Accuracy& accuracy)
      : H_(CompileOperator(H, R, ElementCount(psi) * steps)), w_(psi), accuracy_(accuracy) {
    if (H_.kind != 0)
      OrSay("MakeComplexWaveFunctionFromReal failed in LanczosTriDiagonalizeKrylov\n",
            [&] { MakeComplexWaveFunctionFromReal(w_); });
  }

  std::size_t size() const { return kept_.size(); }
  double norm() const { return WaveFunctionCalculateNorm(w_); }
  void scale(double factor) { WaveFunctionMultiply(w_, factor, 0); }
  std::size_t count() const { return ElementCount(w_); }
  void truncate(double epsilon) { Truncate(w_, epsilon); }
  void keep() { kept_.push_back(std::exchange(w_, WaveFunctionType())); }

  void apply() {
    while (!FitsInMemory([&] { w_ = OperatorPsi(H_, kept_.back()); })) {
      LooseAccuracy("OperatorPsi");
      if (!TruncateKept()) EndOfMemory();
    }
  }
  double overlapWithLast() const { return WaveFunctionDotProduct(kept_.back(), w_).re; }
  double removeOverlaps() {
    double sum = 0;
    for (std::size_t k = kept_.size(); k-- > 0;) {
      const Complex16 d = WaveFunctionDotProduct(kept_[k], w_);
      sum += NormSqr(d);
      while (!FitsInMemory([&] { WaveFunctionAddComplexMultipliedUnionBasis(w_, kept_[k], -d); })) {
        LooseAccuracy("RealWaveFunctionAddMultipliedUnionBasis(&(PsiBasis[i]),PsiBasis[j],-dot)");
        const bool smaller = NBlok(*w_.basis) > 1;
        if (smaller) Truncate(w_, accuracy_.threshold() * norm());
        if (!TruncateKept() && !smaller) EndOfMemory();
      }
    }
    return sum;
  }
  double sumOfSquaredOverlaps() const {
    double sum = 0;
    for (const WaveFunctionType& v : kept_) sum += NormSqr(WaveFunctionDotProduct(v, w_));
    return sum;
  }

  void take(std::vector<WaveFunctionType>& states) { states = std::move(kept_); }
  // On the union of their bases.
  void take(StateRows& states) {
    while (!FitsInMemory([&] { states = GatherStateRows(kept_, H_.layout); })) {
      LooseAccuracy("GatherStateRows");
      if (!TruncateKept()) EndOfMemory();
    }
  }

 private:
  static void Truncate(WaveFunctionType& psi, double epsilon) {
    if (QComplex(psi)) {
      ComplexWaveFunctionTruncateBasis(psi, epsilon);
    } else {
      WaveFunctionTruncateBasis(psi, epsilon);
    }
  }
  void LooseAccuracy(const char* step) {
    const char form[] = {"RCM"[H_.kind], QComplex(kept_.back()) ? 'C' : 'R', 0};
    Say("Allocation of new memory failed in LanczosTriDiagonalizeKrylov%s for the function %s\n", form, step);
    const double before = accuracy_.epsilon;
    accuracy_.epsilon = LooserThreshold(accuracy_.epsilon);
    Say("reduce accuracy of the wave-function by a factor of two from %22.15E to %22.15E\n\n", before,
        accuracy_.epsilon);
  }
  // False when none of the vectors was so large that truncation could free anything.
  bool TruncateKept() {
    bool smaller = false;
    for (WaveFunctionType& v : kept_) {
      if (NBlok(*v.basis) == 1) continue;
      smaller = true;
      Truncate(v, accuracy_.threshold());
    }
    return smaller;
  }

  CompiledOperator H_;
  std::vector<WaveFunctionType> kept_;
  WaveFunctionType w_;
  Accuracy& accuracy_;
};

// --- The recursion

void PrintLevel(const TriDiagonalMatrixType& M, std::size_t i, double error, const char* end) {
  const int k = static_cast<int>(i);
  VerbosityPrintf(ProgressMask, "| M.a[%3i] M.b[%3i]: %12.5E %12.5E | Err: %12.5E\n%s", k, k - 1, M.a[i],
                  M.b[i - 1], error, end);
}

// Truncates the new vector and tells what was left.
template <class Vectors>
bool TruncateNew(Vectors& vectors, double epsilon) {
  VerbosityPrintf(ProgressMask, "BasisSetSize: %12i ", static_cast<int>(vectors.count()));
  vectors.truncate(epsilon);
  VerbosityPrintf(ProgressMask, "%12i ", static_cast<int>(vectors.count()));
  return vectors.count() > 0;
}

// Scales the new vector to norm 1, unless it is none.
template <class Vectors>
double Normalize(Vectors& vectors) {
  const double norm = vectors.norm();
  vectors.scale(norm < NormFloor ? 0.0 : 1 / norm);
  return norm;
}

// Orthogonal up to epsilon. What two passes leave by rounding is no reason to end a chain, however small
// epsilon is.
template <class Vectors>
bool QNewDirection(Vectors& vectors, double epsilon) {
  const double rounding = 1e4 * DBL_EPSILON * DBL_EPSILON * static_cast<double>(vectors.size());
  return vectors.sumOfSquaredOverlaps() <= std::max(epsilon, rounding);
}

// The first vector stands ready in vectors. M comes out with a level for each one kept.
template <class Vectors>
void KeepKrylovVectors(Vectors& vectors, Accuracy& accuracy, TriDiagonalMatrixType& M) {
  const std::size_t N = ChainLength(M);
  M.b[0] = Normalize(vectors);
  bool found = TruncateNew(vectors, accuracy.epsilon) && M.b[0] >= NormFloor;
  VerbosityPrintf(ProgressMask, "| M.a[  0]         : %12.5E\n", M.a[0]);
  while (found) {
    vectors.keep();
    const std::size_t i = vectors.size();
    vectors.apply();
    M.a[i] = vectors.overlapWithLast();
    if (i == N) break;
    vectors.removeOverlaps();
    vectors.removeOverlaps();
    M.b[i] = Normalize(vectors);
    if (!std::isfinite(M.b[i]))
      throw std::overflow_error("LanczosTriDiagonalizeKrylov called with an operator that is too large\n");
    if (M.b[i] < NormFloor || !QNewDirection(vectors, accuracy.epsilon)) break;
    const double b2 = M.b[i] * M.b[i];
    accuracy.error *= b2 / (DBL_EPSILON * M.a[i] * M.a[i] + b2 + DBL_MIN);
    found = TruncateNew(vectors, accuracy.threshold());
    PrintLevel(M, i, accuracy.error, "");
  }
  M.a.resize(vectors.size() + 1);
  M.b.resize(vectors.size());
  if (vectors.size() == 0) return;
  VerbosityPrintf(ProgressMask, "             ");
  PrintLevel(M, vectors.size(), accuracy.error, "\n");
  std::fflush(stdout);
}

template <class C, class T, class States>
void OnOneNumbering(const OperatorType& H, const WaveFunctionType& psi, const DeterminantRestrictionType* R,
                    double epsilon, KrylovSpace<States>& K) {
  NumberedVectors<C, T> vectors(H, R, psi);
  Accuracy accuracy{epsilon};
  KeepKrylovVectors(vectors, accuracy, K.chain);
  vectors.take(K.states);
}

template <class States>
KrylovSpace<States> Krylov(const OperatorType& H, const DeterminantRestrictionType* R,
                           const WaveFunctionType& psi, const LanczosSettings& settings) {
  assert(settings.length > 0);
  KrylovSpace<States> K{{}, InitTriDiagonalMatrix(settings.length)};
  const auto numbered = QComplex(H) != 0 ? OnOneNumbering<Complex16, Complex16, States>
                        : QComplex(psi)  ? OnOneNumbering<double, Complex16, States>
                                         : OnOneNumbering<double, double, States>;
  if (settings.shareRows && FitsInMemory([&] { numbered(H, psi, R, settings.epsilon, K); })) return K;
  K = {{}, InitTriDiagonalMatrix(settings.length)};
  Accuracy accuracy{settings.epsilon};
  SeparateVectors vectors(H, R, psi, settings.length, accuracy);
  KeepKrylovVectors(vectors, accuracy, K.chain);
  vectors.take(K.states);
  return K;
}

}  // namespace

KrylovBasis LanczosTriDiagonalizeKrylov(const OperatorType& H, const DeterminantRestrictionType* R,
                                        const WaveFunctionType& psi, const LanczosSettings& settings) {
  return Krylov<StateRows>(H, R, psi, settings);
}

KrylovStates LanczosKrylovStates(const OperatorType& H, const DeterminantRestrictionType* R,
                                 const WaveFunctionType& psi, const LanczosSettings& settings) {
  return Krylov<std::vector<WaveFunctionType>>(H, R, psi, settings);
}

}  // namespace fermix
