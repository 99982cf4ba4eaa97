#include "core/numbered_state.h"

#include <algorithm>
#include <bit>

#include "core/space_check.h"
#include "host/base/status.h"

namespace fermix {

namespace {

// How far ahead places are fetched.
constexpr std::size_t PlacesAhead = 32;

void MakeRoom(NumberedPlaces& places, const NumberedList& a, const NumberedList& b) {
  std::uint32_t highest = 0;
  for (const auto* list : {&a, &b})
    for (const std::uint32_t number : *list) highest = std::max(highest, number);
  if (places.size() <= highest) places.resize(std::size_t{highest} + 1);
}

// Notes the place of each of the first count numbers of list, calls use(k, place) for the elements k of
// other, and forgets the places again. A place of 0: list does not have the element.
template <class Use>
void WithPlaces(const NumberedList& list, std::size_t count, const NumberedList& other,
                NumberedPlaces& places, Use&& use) {
  const auto forEach = [&](const NumberedList& numbers, std::size_t end, auto&& f) {
    for (std::size_t k = 0; k < end; ++k) {
      __builtin_prefetch(&places[numbers[std::min(k + PlacesAhead, end - 1)]], 1);
      f(k, places[numbers[k]]);
    }
  };
  forEach(list, count,
          [](std::size_t k, std::uint32_t& place) { place = static_cast<std::uint32_t>(k + 1); });
  forEach(other, other.size(), use);
  forEach(list, count, [](std::size_t, std::uint32_t& place) { place = 0; });
}

// x, or 0. No branch.
double Kept(double x, bool keep) {
  return std::bit_cast<double>(std::bit_cast<std::uint64_t>(x) & -std::uint64_t{keep});
}
Complex16 Kept(Complex16 x, bool keep) { return {Kept(x.re, keep), Kept(x.im, keep)}; }

}  // namespace

template <class T>
void NumberedAddMultiplied(NumberedState<T>& psi, const NumberedState<T>& other, T factor,
                           NumberedPlaces& places) {
  const std::size_t before = psi.number.size(), most = before + other.number.size();
  const auto resize = [&](std::size_t elements) {
    psi.number.resize(elements);
    psi.value.resize(elements);
  };
  MakeRoom(places, psi.number, other.number);
  if (!FitsInMemory([&] { resize(most); })) {
    resize(before);
    throw std::bad_alloc();
  }
  std::size_t end = before;
  WithPlaces(psi.number, before, other.number, places, [&](std::size_t k, std::uint32_t place) {
    // Whether psi has an element can't be predicted: what is new falls behind the end, which then moves.
    const std::size_t at = place ? place - 1 : end;
    psi.number[at] = other.number[k];
    psi.value[at] += other.value[k] * factor;
    end += place == 0;
  });
  resize(end);
}

template <class T>
T NumberedDotProduct(const NumberedState<T>& a, const NumberedState<T>& b, NumberedPlaces& places) {
  if (a.number.empty()) return T{};
  MakeRoom(places, a.number, b.number);
  T sum{};
  WithPlaces(a.number, a.number.size(), b.number, places, [&](std::size_t k, std::uint32_t place) {
    sum += Kept(Conj(a.value[place - (place != 0)]) * b.value[k], place != 0);
  });
  return sum;
}

template <class T>
void NumberedTruncate(NumberedState<T>& psi, double epsilon) {
  std::size_t kept = 0;
  for (std::size_t k = 0; k < psi.number.size(); ++k) {
    psi.number[kept] = psi.number[k];
    psi.value[kept] = psi.value[k];
    kept += NormSqr(psi.value[k]) > epsilon * epsilon;
  }
  psi.number.resize(kept);
  psi.value.resize(kept);
}

template <class T>
NumberedState<T> NumberState(DeterminantBasis& numbering, const WaveFunctionType& psi) {
  RequireSameSpace(Layout(psi), "Wave-function", numbering.layout, "the numbering");
  NumberedState<T> x;
  const std::uint32_t words = KeyWords(numbering.layout), N = ElementCount(psi);
  std::vector<KeyWord> keys(std::size_t{BasisBatch} * words);
  x.number.resize(N);
  x.value.resize(N);
  for (std::uint32_t first = 0; first < N; first += BasisBatch) {
    const std::uint32_t part = std::min(BasisBatch, N - first);
    for (std::uint32_t k = 0; k < part; ++k) {
      std::copy_n(ElementKey(psi, first + k + 1), words, &keys[std::size_t{k} * words]);
      x.value[first + k] = ToKind<T>(ElementValue(psi, first + k + 1));
    }
    BasisHash(numbering, keys.data(), part, &x.number[first]);
    BasisAddBatch(numbering, keys.data(), part, &x.number[first]);
  }
  return x;
}

template <class T>
WaveFunctionType StateOfNumbers(const DeterminantBasis& numbering, const NumberedState<T>& x) {
  WaveFunctionType psi(numbering.layout, IsComplex<T>, numbering.NBitsKey);
  auto& values = std::get<BlockedArray<T>>(psi.values);
  BasisReserve(*psi.basis, x.number.size());
  for (std::size_t k = 0; k < x.number.size(); ++k) {
    BasisAdd(*psi.basis, numbering.keys.at(x.number[k]));
    *values.append() = x.value[k];
  }
  return psi;
}

template void NumberedAddMultiplied(NumberedState<double>&, const NumberedState<double>&, double,
                                    NumberedPlaces&);
template void NumberedAddMultiplied(NumberedState<Complex16>&, const NumberedState<Complex16>&, Complex16,
                                    NumberedPlaces&);
template double NumberedDotProduct(const NumberedState<double>&, const NumberedState<double>&,
                                   NumberedPlaces&);
template Complex16 NumberedDotProduct(const NumberedState<Complex16>&, const NumberedState<Complex16>&,
                                      NumberedPlaces&);
template void NumberedTruncate(NumberedState<double>&, double);
template void NumberedTruncate(NumberedState<Complex16>&, double);
template NumberedState<double> NumberState(DeterminantBasis&, const WaveFunctionType&);
template NumberedState<Complex16> NumberState(DeterminantBasis&, const WaveFunctionType&);
template WaveFunctionType StateOfNumbers(const DeterminantBasis&, const NumberedState<double>&);
template WaveFunctionType StateOfNumbers(const DeterminantBasis&, const NumberedState<Complex16>&);

}  // namespace fermix
