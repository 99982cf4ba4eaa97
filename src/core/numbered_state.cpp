#include "core/numbered_state.h"

#include <algorithm>

#include "core/space_check.h"

namespace fermix {

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
  const auto N = static_cast<std::uint32_t>(x.number.size());
  BasisReserve(*psi.basis, N);
  DispatchWords(KeyWords(numbering.layout), [&](auto words) {
    for (const std::uint32_t number : x.number)
      CopyKey(numbering.keys.at(number), words, psi.basis->keys.append());
  });
  BasisShrink(*psi.basis, N);  // enters the keys, which differ, into the index
  auto& values = std::get<BlockedArray<T>>(psi.values);
  values.resize(std::size_t{N} + 1);
  for (std::uint32_t k = 0; k < N; ++k) values[k + 1] = x.value[k];
  return psi;
}

template NumberedState<double> NumberState(DeterminantBasis&, const WaveFunctionType&);
template NumberedState<Complex16> NumberState(DeterminantBasis&, const WaveFunctionType&);
template WaveFunctionType StateOfNumbers(const DeterminantBasis&, const NumberedState<double>&);
template WaveFunctionType StateOfNumbers(const DeterminantBasis&, const NumberedState<Complex16>&);

}  // namespace fermix
