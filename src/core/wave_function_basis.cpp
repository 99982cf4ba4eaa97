// The basis of a state taken apart: copies, truncation, restriction, several states on one basis.
#include <algorithm>
#include <bit>
#include <cmath>

#include "core/space_check.h"
#include "core/wave_function.h"
#include "host/base/status.h"

namespace fermix {

namespace {

// A coefficient whose square is NumericalZero: what a new hash size drops.
constexpr double SqrtNumericalZero = 4.717068855239662e-154;

// A basis of count elements of `all`, the k-th of which, from 1 on, is element(k) there.
template <class Element>
std::shared_ptr<DeterminantBasis> PartOfBasis(const DeterminantBasis& all, std::uint32_t count,
                                              Element&& element) {
  auto part = std::make_shared<DeterminantBasis>(all.layout, all.NBitsKey);
  BasisReserve(*part, count);
  DispatchWords(KeyWords(all.layout), [&](auto words) {
    for (std::uint32_t k = 1; k <= count; ++k) CopyKey(all.keys.at(element(k)), words, part->keys.append());
  });
  BasisShrink(*part, count);  // enters the keys, which differ, into the index
  return part;
}

// A function that gives the numbers of the kept elements, one at each call.
template <class Keep>
auto NextKept(const Keep& keep) {
  return [&keep, i = 0u](std::uint32_t) mutable {
    do ++i;
    while (!keep(i));
    return i;
  };
}

// Keeps the elements for which keep(i) is true. A basis that others share is left to them.
template <class T, class Keep>
void KeepElements(WaveFunctionType& psi, BlockedArray<T>& values, Keep&& keep) {
  values[0] = T{};
  const std::uint32_t N = psi.basis->N;
  std::uint32_t first = 1;
  while (first <= N && keep(first)) ++first;
  if (first > N) return;
  if (psi.basis.use_count() > 1) {
    std::uint32_t count = first - 1;
    for (std::uint32_t i = first + 1; i <= N; ++i) count += keep(i);
    auto basis = PartOfBasis(*psi.basis, count, NextKept(keep));
    BlockedArray<T> kept(std::size_t{count} + 1);
    auto next = NextKept(keep);
    for (std::uint32_t k = 1; k <= count; ++k) kept[k] = values[next(k)];
    psi.basis = std::move(basis);
    values = std::move(kept);
  } else {
    BasisKeep(*psi.basis, keep, [&](std::uint32_t from, std::uint32_t to) { values[to] = values[from]; });
    values.resize(std::size_t{psi.basis->N} + 1);
  }
}

// A bit for each element, that of the sentinel 0.
struct ElementBits {
  explicit ElementBits(std::uint32_t N) : words(N / 64 + 1) {}
  bool operator()(std::uint32_t i) const { return words[i / 64] >> (i % 64) & 1; }
  std::uint32_t count() const {
    std::uint32_t sum = 0;
    for (const std::uint64_t word : words) sum += static_cast<std::uint32_t>(std::popcount(word));
    return sum;
  }
  std::vector<std::uint64_t> words;
};

// Keeps the elements of states on one basis for which keep(i) is true.
void KeepElements(std::vector<WaveFunctionType>& states, const ElementBits& keep) {
  std::shared_ptr<DeterminantBasis> basis = states.front().basis;
  const std::uint32_t N = basis->N, count = keep.count();
  if (count == N) return;
  if (static_cast<std::size_t>(basis.use_count()) > states.size() + 1) {
    basis = PartOfBasis(*basis, count, NextKept(keep));
  } else {
    BasisKeep(*basis, keep, [](std::uint32_t, std::uint32_t) {});
  }
  for (WaveFunctionType& psi : states) {
    std::visit(
        [&](auto& values) {
          // What is not kept is overwritten by the next: no branch on what can't be predicted.
          std::uint32_t kept = 0;
          for (std::uint32_t i = 1; i <= N; ++i) {
            values[kept + 1] = values[i];
            kept += keep(i);
          }
          values.resize(std::size_t{count} + 1);
        },
        psi.values);
    psi.basis = basis;
  }
}

// Sets values of magnitude below epsilon to 0, and the bit of every other element.
template <class T>
void ClearSmallValues(BlockedArray<T>& values, double epsilon, ElementBits& keep) {
  std::uint64_t* word = keep.words.data();
  ForEachBlock(values, [&](T* v, std::size_t count) {
    for (std::size_t first = 0; first < count; first += 64) {
      std::uint64_t large = 0;
      for (std::size_t i = first; i < std::min(first + 64, count); ++i) {
        const bool small = IsComplex<T> ? NormSqr(v[i]) < epsilon * epsilon : Abs(v[i]) < epsilon;
        v[i] = small ? T{} : v[i];
        large |= std::uint64_t{!small} << (i - first);
      }
      *word++ |= large;
    }
  });
  values[0] = T{};
  keep.words[0] &= ~std::uint64_t{1};
}

// psi on a basis that holds all its determinants.
WaveFunctionType MovedToBasis(const WaveFunctionType& psi, const std::shared_ptr<DeterminantBasis>& basis) {
  WaveFunctionType moved;
  moved.Name = psi.Name;
  moved.basis = basis;
  std::visit(
      [&](const auto& values) { moved.values = std::decay_t<decltype(values)>(std::size_t{basis->N} + 1); },
      psi.values);
  WaveFunctionAddConserveBasis(moved, psi);
  return moved;
}

// Runs step for state k of n and tells whether memory sufficed; line has two places for the numbers.
template <class Step>
bool FitsOrSays(const char* line, std::size_t k, std::size_t n, Step&& step) {
  if (FitsInMemory(step)) return true;
  Say(line, static_cast<int>(k), static_cast<int>(n));
  return false;
}

template <class Step>
void OrSayWhich(const char* line, std::size_t k, std::size_t n, Step&& step) {
  if (!FitsOrSays(line, k, n, step)) throw std::bad_alloc();
}

}  // namespace

WaveFunctionType WaveFunctionCopy(const WaveFunctionType& Source) {
  WaveFunctionType psi = OrSay("WaveFunctionInit failed in WaveFunctionCopy\n", [&] {
    WaveFunctionType empty(Layout(Source), QComplex(Source), Source.basis->NBitsKey);
    empty.Name = Source.Name;
    return empty;
  });
  // The sum of nothing and Source, backwards as all sums; its keys need no look-up, for they differ.
  OrSay("WaveFunctionAddUnionBasis failed in WaveFunctionCopy\n", [&] {
    const std::uint32_t N = ElementCount(Source);
    psi.basis = std::make_shared<DeterminantBasis>(BasisReversed(*Source.basis));
    std::visit(
        [&](const auto& from) {
          auto& to = std::get<std::decay_t<decltype(from)>>(psi.values);
          to.resize(from.size);
          for (std::uint32_t k = 1; k <= N; ++k) to[k] += from[N + 1 - k];
        },
        Source.values);
  });
  return psi;
}

void WaveFunctionTruncateBasis(WaveFunctionType& psi, double epsilon) {
  if (auto* real = std::get_if<BlockedArray<double>>(&psi.values)) {
    KeepElements(psi, *real, [&](std::uint32_t i) { return std::fabs((*real)[i]) > epsilon; });
    return;
  }
  ComplexWaveFunctionTruncateBasis(psi, epsilon);
  const auto& values = std::get<BlockedArray<Complex16>>(psi.values);
  for (std::uint32_t i = 1; i <= ElementCount(psi); ++i)
    if (values[i].im * values[i].im > epsilon * epsilon) return;
  // Truncation is what makes room when there is none: without memory the state keeps its imaginary parts.
  static_cast<void>(FitsInMemory([&] { DropImaginaryParts(psi); }));
}

void ComplexWaveFunctionTruncateBasis(WaveFunctionType& psi, double epsilon) {
  auto& values = std::get<BlockedArray<Complex16>>(psi.values);
  KeepElements(psi, values, [&](std::uint32_t i) { return NormSqr(values[i]) > epsilon * epsilon; });
}

void WaveFunctionResetKeylist(WaveFunctionType& psi, std::uint32_t NBitsKey) {
  OrSay("realloc failed in RealWaveFunctionResetKeylist\n", [&] { OwnBasis(psi).NBitsKey = NBitsKey; });
  std::visit(
      [&](auto& values) {
        KeepElements(psi, values, [&](std::uint32_t i) { return Abs(values[i]) > SqrtNumericalZero; });
      },
      psi.values);
}

void WaveFunctionRestrict(WaveFunctionType& psi, const DeterminantRestrictionType& R) {
  RequireRestrictionsFit(R, Layout(psi), "the wave-function");
  std::visit(
      [&](auto& values) {
        // The basis may be replaced on the way, never while it is read.
        const DeterminantBasis& basis = *psi.basis;
        KeepElements(psi, values,
                     [&](std::uint32_t i) { return QFulfillsRestrictions(R, basis.keys.at(i)); });
      },
      psi.values);
}

void WaveFunctionArrayToSameBasis(std::vector<WaveFunctionType>& states) {
  for (std::size_t k = 1; k < states.size(); ++k)
    OrSayWhich("WaveFunctionAddMultipliedUnionBasis failed in WaveFunctionArrayToSameBasis at %i from %i\n",
               k, states.size(), [&] { WaveFunctionAddMultipliedUnionBasis(states[0], states[k], 0.0); });
  for (std::size_t k = 1; k < states.size(); ++k) {
    if (states[k].basis == states[0].basis) continue;
    OrSayWhich("WaveFunctionInitCopyBasis failed in WaveFunctionArrayToSameBasis at %i from %i\n", k,
               states.size(), [&] { states[k] = MovedToBasis(states[k], states[0].basis); });
  }
}

void WaveFunctionArraySeperateBasis(std::vector<WaveFunctionType>& states) {
  for (std::size_t k = 1; k < states.size(); ++k)
    if (!FitsOrSays("WaveFunctionCopy failed in WaveFunctionArraySeperateBasis at length %i of %i\n", k,
                    states.size(), [&] { states[k] = WaveFunctionCopy(states[k]); }))
      return;
}

void BlockWaveFunctionTruncateBasis(std::vector<WaveFunctionType>& states, double epsilon) {
  if (states.empty()) return;
  ElementBits keep(states[0].basis->N);
  for (WaveFunctionType& psi : states)
    std::visit([&](auto& values) { ClearSmallValues(values, epsilon, keep); }, psi.values);
  KeepElements(states, keep);
}

void BlockWaveFunctionResetKeylist(std::vector<WaveFunctionType>& states, std::uint32_t NBitsKey) {
  if (states.empty()) return;
  std::shared_ptr<DeterminantBasis> basis = states[0].basis;
  if (static_cast<std::size_t>(basis.use_count()) > states.size() + 1)
    basis = std::make_shared<DeterminantBasis>(*basis);
  basis->NBitsKey = NBitsKey;
  for (WaveFunctionType& psi : states) psi.basis = basis;
}

void BlockWaveFunctionRestrict(std::vector<WaveFunctionType>& states, const DeterminantRestrictionType& R) {
  if (states.empty()) return;
  RequireRestrictionsFit(R, Layout(states[0]), "the wave-function");
  ElementBits keep(states[0].basis->N);
  for (std::uint32_t i = 1; i <= states[0].basis->N; ++i)
    keep.words[i / 64] |= std::uint64_t{QFulfillsRestrictions(R, ElementKey(states[0], i))} << (i % 64);
  KeepElements(states, keep);
}

}  // namespace fermix
