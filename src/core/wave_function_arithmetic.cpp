// Sums, scaling, inner products and norms of states.
#include <algorithm>
#include <cassert>
#include <cfloat>
#include <cmath>

#include "core/determinant_index.h"
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

// Runs first(k), second(k) and third(k) for k = 0 .. N - 1, each in order of k; the second follows so many
// elements behind the first, and the third behind the second, that what one fetches from memory is there for
// the next. One loop, so that the work of one element overlaps with waiting for others.
constexpr std::uint32_t Ahead = 32;
template <class First, class Second, class Third>
inline void Staggered(std::uint32_t N, First&& first, Second&& second, Third&& third) {
  for (std::uint64_t n = 0; n < std::uint64_t{N} + 2 * Ahead; ++n) {
    const auto k = static_cast<std::uint32_t>(n);
    if (n >= 2 * Ahead) third(k - 2 * Ahead);
    if (n >= Ahead && n < std::uint64_t{N} + Ahead) second(k - Ahead);
    if (n < N) first(k);
  }
}

// One element on its way through the index of another basis: its bucket is fetched; then the bucket is read
// and what goes with the candidate is fetched; then the key is compared, or added.
struct Passage {
  std::uint32_t hash, candidate;
  bool further;  // no candidate in the home bucket, which has run over into the next one
};

template <class Words>
inline void FetchBucket(const DeterminantBasis& basis, Words words, const KeyWord* key, Passage& p) {
  p.hash = KeyHash(key, words);
  __builtin_prefetch(&basis.buckets[HomeBucket(p.hash, basis.buckets.size())]);
}
template <class Words, class Fetch>
inline void LookIntoBucket(const DeterminantBasis& basis, Words words, Passage& p, Fetch&& fetch) {
  constexpr unsigned last = DeterminantBasis::Bucket::Places - 1;
  const std::size_t size = basis.buckets.size(), b = HomeBucket(p.hash, size);
  const DeterminantBasis::Bucket& bucket = basis.buckets[b];
  const unsigned matches = Matches(bucket, p.hash);
  // Without a match the sentinel, which is at hand.
  p.candidate = bucket.number[std::countr_zero(matches | 1u << last)] & -std::uint32_t{matches != 0};
  p.further = matches == 0 && bucket.hash[last];
  if constexpr (!std::is_same_v<Words, NarrowKeys>) __builtin_prefetch(KeyAt(basis, p.candidate, words));
  __builtin_prefetch(&basis.buckets[p.further ? NextBucket(b, size) : b]);
  fetch(p.candidate);
}
template <class Words>
inline std::uint32_t NumberOf(const DeterminantBasis& basis, Words words, const KeyWord* key,
                              const Passage& p) {
  const bool holds = QHolds(basis, p.candidate, key, words);
  if (p.further || (!holds && p.candidate)) [[unlikely]]
    return FindHashed(basis, key, words, p.hash);
  return p.candidate & -std::uint32_t{holds};
}

// The number of a key whose bucket is at hand; adds it to a basis with room in index and keys. Whether the
// key is new can't be predicted: it is written behind the last one in any case.
template <class Words>
inline std::uint32_t AddFetched(DeterminantBasis& basis, Words words, const KeyWord* key,
                                std::uint32_t hash) {
  DeterminantBasis::Bucket& bucket = basis.buckets[HomeBucket(hash, basis.buckets.size())];
  const unsigned matches = Matches(bucket, hash), empty = Matches(bucket, 0);
  const bool isNew = matches == 0;
  const unsigned usable = matches | (empty & -unsigned{isNew});
  const int place = std::countr_zero(usable | 1u << (DeterminantBasis::Bucket::Places - 1));
  const std::uint32_t mask = -std::uint32_t{isNew};
  const std::uint32_t number = ((basis.N + 1) & mask) | (bucket.number[place] & ~mask);
  if (!usable || (!isNew && !QHolds(basis, number, key, words))) [[unlikely]]
    return AddHashed(basis, key, words, hash);
  bucket.hash[place] = hash;
  bucket.number[place] = number;
  CopyKey(key, words, basis.keys.at(basis.keys.size));
  basis.keys.size += isNew;
  basis.N += isNew;
  return number;
}

// Finds all elements of source, the k-th of which is element(k), in basis: use(k, number) in order of k, with
// number 0 for what is not there. fetch(number) fetches whatever use will need.
template <class Element, class Fetch, class Use>
void FindAll(const DeterminantBasis& source, const DeterminantBasis& basis, Element&& element, Fetch&& fetch,
             Use&& use) {
  if (basis.buckets.empty()) return;
  DispatchKeys(source.layout, [&](auto words) {
    Passage ring[2 * Ahead];
    const auto key = [&](std::uint32_t k) { return KeyAt(source, element(k), words); };
    Staggered(
        source.N, [&](std::uint32_t k) { FetchBucket(basis, words, key(k), ring[k % (2 * Ahead)]); },
        [&](std::uint32_t k) { LookIntoBucket(basis, words, ring[k % (2 * Ahead)], fetch); },
        [&](std::uint32_t k) { use(k, NumberOf(basis, words, key(k), ring[k % (2 * Ahead)])); });
  });
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

// Room in the index of basis for the sum with source: how much of source is new is asked of a few elements.
// No room for that now is no failure.
void ReserveForSum(DeterminantBasis& basis, const DeterminantBasis& source) {
  constexpr std::size_t few = 512;
  const std::size_t step = source.N / few + 1;
  std::size_t asked = 0, absent = 0;
  for (std::size_t i = 1; i <= source.N; i += step, ++asked)
    absent += BasisFind(basis, source.keys.at(i)) == 0;
  if (!asked) return;
  const std::size_t elements = std::max<std::size_t>(source.N, basis.N + source.N * absent / asked);
  static_cast<void>(FitsInMemory([&] { BasisReserve(basis, elements + elements / 32); }));
}

template <class P, class O, class F>
void AddUnion(WaveFunctionType& psi, BlockedArray<P>& values, const WaveFunctionType& other,
              const BlockedArray<O>& added, F factor) {
  if (psi.basis == other.basis) return AddSameBasis(values, added, factor);
  DeterminantBasis& basis = OrSay(AddElementFailed, [&]() -> DeterminantBasis& { return OwnBasis(psi); });
  const DeterminantBasis& source = *other.basis;
  const std::uint32_t before = basis.N, last = source.N;
  std::uint32_t done = 0;
  const bool fits = FitsInMemory([&] {
    OrSay(AddElementFailed, [&] {
      ReserveForSum(basis, source);
      BasisMakeRoom(basis, std::size_t{basis.N} + 1, 0);  // an index that buckets can be fetched from
      DispatchKeys(basis.layout, [&](auto words) {
        Passage ring[2 * Ahead];
        const auto key = [&](std::uint32_t k) { return KeyAt(source, last - k, words); };
        Staggered(
            last, [&](std::uint32_t k) { FetchBucket(basis, words, key(k), ring[k % (2 * Ahead)]); },
            [&](std::uint32_t k) {
              LookIntoBucket(basis, words, ring[k % (2 * Ahead)],
                             [&](std::uint32_t number) { __builtin_prefetch(&values[number], 1); });
            },
            [&](std::uint32_t k) {
              if (k % Ahead == 0) {
                BasisMakeRoom(basis, std::size_t{basis.N} + Ahead, 0);
                basis.keys.reserve(std::size_t{basis.N} + 1 + Ahead);
                values.reserve(std::size_t{basis.N} + 1 + Ahead);
                values.resize(std::size_t{basis.N} + 1 + Ahead);
              }
              values[AddFetched(basis, words, key(k), ring[k % (2 * Ahead)].hash)] +=
                  added[last - k] * factor;
              done = k + 1;
            });
      });
      values.resize(std::size_t{basis.N} + 1);
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
  FindAll(
      *other.basis, *psi.basis, [](std::uint32_t k) { return k + 1; },
      [&](std::uint32_t number) { __builtin_prefetch(&values[number], 1); },
      [&](std::uint32_t k, std::uint32_t number) { add(k + 1, number); });
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
    const auto sum = [&](const auto& own, const auto& found, auto&& product) {
      FindAll(
          *walked.basis, *searched.basis, [](std::uint32_t k) { return k + 1; },
          [&](std::uint32_t number) { __builtin_prefetch(&found[number]); },
          [&](std::uint32_t k, std::uint32_t number) {
            // No branch on what can't be predicted: what is missing there is taken as 0 here.
            const auto p = product(own[(k + 1) & -std::uint32_t{number != 0}], found[number]);
            if constexpr (IsComplex<std::decay_t<decltype(p)>>) {
              plain += p;
            } else {
              real.add(p);
            }
          });
    };
    if (walkA) {
      sum(x, y, [](auto own, auto found) { return Conj(own) * found; });
    } else {
      sum(y, x, [](auto own, auto found) { return Conj(found) * own; });
    }
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
