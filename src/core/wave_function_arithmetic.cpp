// Sums, scaling, inner products and norms of states.
#include <algorithm>
#include <cassert>
#include <cfloat>
#include <cmath>

#include "core/space_check.h"
#include "core/wave_function.h"
#include "host/base/status.h"

namespace fermix {

namespace {

// A sum that carries its own rounding error along (Kahan).
struct CompensatedSum {
  double sum = 0, carry = 0;
  void add(double x) {
    const double y = x - carry, t = sum + y;
    carry = (t - sum) - y;
    sum = t;
  }
};

// Some neighbouring elements of a state, on their way through the index of another basis.
struct KeyBatch {
  std::uint32_t first = 0, count = 0;  // elements of the walk
  std::vector<KeyWord> keys;           // side by side
  std::uint32_t numbers[BasisBatch];
};

// Walks all elements of source, the k-th of which is element(k), and finds each in basis, or adds it. In turn
// for each batch, whose first element is the k-th: known(numbers, count) gets their numbers in basis, 0 for
// what is not there, and later use(k, numbers, count) gets them once more. Three batches are on the way at a
// time: buckets of one, keys of the next and, if known fetches them, values of the third come from memory
// while the others are worked on.
template <bool Add, class Basis, class Element, class Known, class Use>
void WalkInBasis(const DeterminantBasis& source, Basis& basis, Element&& element, Known&& known, Use&& use) {
  const std::uint32_t batches = (source.N + BasisBatch - 1) / BasisBatch;
  KeyBatch ring[3];
  for (KeyBatch& batch : ring) batch.keys.resize(std::size_t{BasisBatch} * KeyWords(source.layout));
  for (std::uint32_t n = 0; n < batches + 2; ++n) {
    if (n < batches) {
      KeyBatch& batch = ring[n % 3];
      batch.first = n * BasisBatch;
      batch.count = std::min(BasisBatch, source.N - batch.first);
      DispatchWords(KeyWords(source.layout), [&](auto words) {
        for (std::uint32_t k = 0; k < batch.count; ++k)
          CopyKey(source.keys.at(element(batch.first + k)), words, &batch.keys[std::size_t{k} * words]);
      });
      BasisHash(basis, batch.keys.data(), batch.count, batch.numbers);
    }
    if (n >= 1 && n < batches + 1) {
      KeyBatch& batch = ring[(n - 1) % 3];
      if constexpr (Add) {
        BasisAddBatch(basis, batch.keys.data(), batch.count, batch.numbers);
      } else {
        BasisFindBatch(basis, batch.keys.data(), batch.count, batch.numbers);
      }
      known(batch.numbers, batch.count);
    }
    if (n >= 2) {
      const KeyBatch& batch = ring[(n - 2) % 3];
      use(batch.first, batch.numbers, batch.count);
    }
  }
}

template <class T>
void FetchAhead(const BlockedArray<T>& values, const std::uint32_t* numbers, std::uint32_t count) {
  for (std::uint32_t k = 0; k < count; ++k) __builtin_prefetch(&values[numbers[k]], 1);
}

constexpr const char* AddElementFailed = "alloc failed RealWaveFunctionAddElement 04\n";

// values += added * factor, for states on one numbering.
template <class P, class O, class F>
void AddSameBasis(BlockedArray<P>& values, const BlockedArray<O>& added, F factor) {
  for (std::size_t b = 0; b < values.usedBlocks(); ++b) {
    P* to = values.blocks[b];
    const O* from = added.blocks[b];
    const std::size_t count = values.elementsIn(b);
    for (std::size_t i = b == 0; i < count; ++i) to[i] += from[i] * factor;
  }
}

template <class P, class O, class F>
void AddUnion(WaveFunctionType& psi, BlockedArray<P>& values, const WaveFunctionType& other,
              const BlockedArray<O>& added, F factor) {
  if (psi.basis == other.basis) return AddSameBasis(values, added, factor);
  DeterminantBasis& basis = OrSay(AddElementFailed, [&]() -> DeterminantBasis& { return OwnBasis(psi); });
  const std::uint32_t before = basis.N, last = other.basis->N;
  std::uint32_t done = 0;
  const bool fits = FitsInMemory([&] {
    OrSay(AddElementFailed, [&] {
      BasisReserve(basis, last);  // the least that there will be
      WalkInBasis<true>(
          *other.basis, basis, [last](std::uint32_t k) { return last - k; },
          [&](const std::uint32_t* numbers, std::uint32_t count) {
            values.resize(std::size_t{basis.N} + 1);
            FetchAhead(values, numbers, count);
          },
          [&](std::uint32_t first, const std::uint32_t* numbers, std::uint32_t count) {
            for (std::uint32_t k = 0; k < count; ++k) values[numbers[k]] += added[last - first - k] * factor;
            done = first + count;
          });
    });
  });
  if (fits) return;
  // Undo: elements that are new go, the others lose what they got.
  BasisShrink(basis, before);
  values.resize(std::size_t{before} + 1);
  for (std::uint32_t k = 0; k < done; ++k)
    if (const std::uint32_t number = BasisFind(basis, other.basis->keys.at(last - k)))
      values[number] -= added[last - k] * factor;
  throw std::bad_alloc();
}

template <class P, class O, class F>
void AddConserve(const WaveFunctionType& psi, BlockedArray<P>& values, const WaveFunctionType& other,
                 const BlockedArray<O>& added, F factor, double floorSqr) {
  const auto add = [&](std::uint32_t i, std::uint32_t number) {
    const auto product = added[i] * factor;
    if (!(NormSqr(product) < floorSqr)) values[number] += product;
  };
  if (psi.basis == other.basis) {
    if (floorSqr == 0) return AddSameBasis(values, added, factor);
    for (std::uint32_t i = 1; i < values.size; ++i) add(i, i);
    return;
  }
  WalkInBasis<false>(
      *other.basis, std::as_const(*psi.basis), [](std::uint32_t k) { return k + 1; },
      [&](const std::uint32_t* numbers, std::uint32_t count) { FetchAhead(values, numbers, count); },
      [&](std::uint32_t first, const std::uint32_t* numbers, std::uint32_t count) {
        for (std::uint32_t k = 0; k < count; ++k) add(first + k + 1, numbers[k]);
      });
  values[0] = P{};  // where everything went that psi lacks: no branch on what can't be predicted
}

// Runs add(values of psi, values of other) with kinds that fit: a real psi that meets a complex value becomes
// complex.
template <class Add>
void WithFittingKinds(WaveFunctionType& psi, const WaveFunctionType& other, bool complexFactor,
                      const char* failed, Add&& add) {
  RequireSameSpace(Layout(psi), "Wave-function", Layout(other), "the other wave-function");
  if (QComplex(other) || complexFactor) OrSay(failed, [&] { MakeComplexWaveFunctionFromReal(psi); });
  std::visit(
      [&](auto& values, const auto& added) {
        using P = std::decay_t<decltype(values[0])>;
        using O = std::decay_t<decltype(added[0])>;
        if constexpr (IsComplex<P> || !IsComplex<O>) add(values, added);
      },
      psi.values, other.values);
}

// Sum of f over the last block in use and over the earlier ones, each with its own accumulator.
template <class Values, class F>
double SumByBlocks(const Values& values, F&& f) {
  CompensatedSum last, earlier;
  const std::size_t blocks = values.usedBlocks();
  for (std::size_t b = 0; b < blocks; ++b) {
    CompensatedSum& sum = b + 1 == blocks ? last : earlier;
    for (std::size_t i = 0; i < values.elementsIn(b); ++i) f(values.blocks[b][i], sum);
  }
  return last.sum + earlier.sum;
}

// Four running sums, so that additions overlap.
template <class A, class B>
auto DotOfBlock(const A* a, const B* b, std::size_t count) {
  using Sum = decltype(a[0] * b[0]);
  Sum sums[4] = {};
  std::size_t i = 0;
  for (; i + 4 <= count; i += 4)
    for (int k = 0; k < 4; ++k) sums[k] += Conj(a[i + k]) * b[i + k];
  for (; i < count; ++i) sums[0] += Conj(a[i]) * b[i];
  return (sums[0] + sums[1]) + (sums[2] + sums[3]);
}

}  // namespace

void WaveFunctionAddUnionBasis(WaveFunctionType& psi, const WaveFunctionType& other) {
  WithFittingKinds(psi, other, false, "MakeComplexWaveFunctionFromReal failed in WaveFunctionAddUnionBasis\n",
                   [&](auto& values, const auto& added) { AddUnion(psi, values, other, added, 1.0); });
}

void WaveFunctionAddMultipliedUnionBasis(WaveFunctionType& psi, const WaveFunctionType& other,
                                         double factor) {
  WithFittingKinds(psi, other, false,
                   "MakeComplexWaveFunctionFromReal failed in WaveFunctionAddMultipliedUnionBasis\n",
                   [&](auto& values, const auto& added) { AddUnion(psi, values, other, added, factor); });
}

void WaveFunctionAddComplexMultipliedUnionBasis(WaveFunctionType& psi, const WaveFunctionType& other,
                                                Complex16 factor) {
  // Not the threshold of WaveFunctionMultiply: sums turn complex ten times earlier.
  const bool complexFactor = std::fabs(factor.im) > std::fabs(factor.re) * DBL_EPSILON + DBL_MIN;
  WithFittingKinds(psi, other, complexFactor,
                   "MakeComplexWaveFunctionFromReal failed in WaveFunctionAddComplexMultipliedUnionBasis\n",
                   [&](auto& values, const auto& added) {
                     using P = std::decay_t<decltype(values[0])>;
                     AddUnion(psi, values, other, added, ToKind<P>(factor));
                   });
}

void WaveFunctionAddConserveBasis(WaveFunctionType& psi, const WaveFunctionType& other) {
  WithFittingKinds(psi, other, false,
                   "MakeComplexWaveFunctionFromReal failed in WaveFunctionAddConserveBasis\n",
                   [&](auto& values, const auto& added) { AddConserve(psi, values, other, added, 1.0, 0); });
}

void WaveFunctionAddMultipliedConserveBasis(WaveFunctionType& psi, const WaveFunctionType& other,
                                            double factor) {
  WithFittingKinds(
      psi, other, false, "MakeComplexWaveFunctionFromReal failed in WaveFunctionAddMultipliedConserveBasis\n",
      [&](auto& values, const auto& added) { AddConserve(psi, values, other, added, factor, 0); });
}

void ComplexWaveFunctionAddComplexMultipliedConserveBasis(WaveFunctionType& psi,
                                                          const WaveFunctionType& other, Complex16 factor) {
  constexpr double skipped = 2.2250738585072014e-306;  // products of a smaller squared magnitude
  WithFittingKinds(
      psi, other, true,
      "MakeComplexWaveFunctionFromReal failed in WaveFunctionAddComplexMultipliedConserveBasis\n",
      [&](auto& values, const auto& added) {
        using P = std::decay_t<decltype(values[0])>;
        if constexpr (IsComplex<P>) AddConserve(psi, values, other, added, factor, skipped);
      });
}

void WaveFunctionAddMultipliedSameBasis(WaveFunctionType& psi, const WaveFunctionType& other,
                                        Complex16 factor) {
  WithFittingKinds(psi, other, factor.im != 0,
                   "MakeComplexWaveFunctionFromReal failed in WaveFunctionAddMultipliedConserveBasis\n",
                   [&](auto& values, const auto& added) {
                     AddSameBasis(values, added, ToKind<std::decay_t<decltype(values[0])>>(factor));
                   });
}

void WaveFunctionConjugate(WaveFunctionType& psi) {
  if (auto* values = std::get_if<BlockedArray<Complex16>>(&psi.values))
    for (std::size_t i = 0; i < values->size; ++i) (*values)[i] = Conj((*values)[i]);
}

void WaveFunctionMultiply(WaveFunctionType& psi, double re, double im) {
  // Ten times the threshold of WaveFunctionAddComplexMultipliedUnionBasis, on purpose.
  if (!(std::fabs(im) < 10 * (std::fabs(re) * DBL_EPSILON + DBL_MIN))) MakeComplexWaveFunctionFromReal(psi);
  std::visit(
      [&](auto& values) {
        const auto factor = ToKind<std::decay_t<decltype(values[0])>>({re, im});
        ForEachBlock(values, [&](auto* v, std::size_t count) {
          for (std::size_t i = 0; i < count; ++i) v[i] *= factor;
        });
        values[0] = {};  // also when the factor is infinite
      },
      psi.values);
}

Complex16 WaveFunctionDotProductSameBasis(const WaveFunctionType& a, const WaveFunctionType& b) {
  assert(ElementCount(a) == ElementCount(b));
  return DispatchKinds(a, b, [](const auto& x, const auto& y) -> Complex16 {
    const std::size_t last = x.usedBlocks() - 1;
    auto sum = DotOfBlock(x.blocks[last], y.blocks[last], x.elementsIn(last));
    for (std::size_t k = 0; k < last; ++k) sum += DotOfBlock(x.blocks[k], y.blocks[k], x.elementsIn(k));
    return sum;
  });
}

Complex16 WaveFunctionDotProduct(const WaveFunctionType& a, const WaveFunctionType& b) {
  if (a.basis == b.basis) return WaveFunctionDotProductSameBasis(a, b);
  RequireSameSpace(Layout(a), "Wave-function", Layout(b), "the other wave-function");
  const bool walkA = ElementCount(a) <= ElementCount(b);
  const WaveFunctionType &walked = walkA ? a : b, &searched = walkA ? b : a;
  return DispatchKinds(a, b, [&](const auto& x, const auto& y) -> Complex16 {
    CompensatedSum real;
    Complex16 plain;
    std::uint32_t hits[BasisBatch];
    WalkInBasis<false>(
        *walked.basis, std::as_const(*searched.basis), [](std::uint32_t k) { return k + 1; },
        [&](const std::uint32_t* numbers, std::uint32_t count) {
          walkA ? FetchAhead(y, numbers, count) : FetchAhead(x, numbers, count);
        },
        [&](std::uint32_t first, const std::uint32_t* numbers, std::uint32_t count) {
          std::uint32_t found = 0;
          for (std::uint32_t k = 0; k < count; ++k) {
            hits[found] = k;  // no branch on what can't be predicted
            found += numbers[k] != 0;
          }
          for (std::uint32_t h = 0; h < found; ++h) {
            const std::uint32_t k = hits[h], number = numbers[k];
            const auto product = Conj(x[walkA ? first + k + 1 : number]) * y[walkA ? number : first + k + 1];
            if constexpr (IsComplex<std::decay_t<decltype(product)>>) {
              plain += product;
            } else {
              real.add(product);
            }
          }
        });
    return plain + real.sum;
  });
}

double WaveFunctionCalculateNormSqr(const WaveFunctionType& psi) {
  return std::visit(
      [](const auto& values) {
        return SumByBlocks(values, [](auto value, CompensatedSum& sum) {
          sum.add(Re(value) * Re(value));
          if constexpr (IsComplex<decltype(value)>) sum.add(value.im * value.im);
        });
      },
      psi.values);
}

namespace {

// The largest part of a value; NaN if one is.
double LargestPart(const WaveFunctionType& psi) {
  return std::visit(
      [](const auto& values) {
        double largest = 0;
        const auto grow = [&](double x) {
          if (!(std::fabs(x) <= largest)) largest = std::fabs(x);
        };
        for (std::size_t i = 1; i < values.size && !std::isnan(largest); ++i) {
          grow(Re(values[i]));
          grow(Im(values[i]));
        }
        return largest;
      },
      psi.values);
}

}  // namespace

double WaveFunctionCalculateNorm(const WaveFunctionType& psi) {
  constexpr double SmallestExactSquare = DBL_MIN / DBL_EPSILON;  // below it squares lose digits
  const double square = WaveFunctionCalculateNormSqr(psi);
  if (std::isfinite(square) && square > SmallestExactSquare) return std::sqrt(square);
  const double scale = LargestPart(psi);
  if (scale == 0 || !std::isfinite(scale)) return scale;
  const double sum = std::visit(
      [scale](const auto& values) {
        return SumByBlocks(values, [scale](auto value, CompensatedSum& squares) {
          const double re = Re(value) / scale, im = Im(value) / scale;
          squares.add(re * re + im * im);
        });
      },
      psi.values);
  return scale * std::sqrt(sum);
}

void WaveFunctionNormalize(WaveFunctionType& psi) {
  std::visit([](auto& values) { values[0] = {}; }, psi.values);
  const double norm = WaveFunctionCalculateNorm(psi);
  if (!QComplex(psi) && norm < NumericalZero) return;
  std::visit(
      [norm](auto& values) {
        for (std::size_t i = 1; i < values.size; ++i) values[i] = values[i] / norm;
      },
      psi.values);
}

}  // namespace fermix
