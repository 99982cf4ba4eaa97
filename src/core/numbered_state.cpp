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

template NumberedState<double> NumberState(DeterminantBasis&, const WaveFunctionType&);
template NumberedState<Complex16> NumberState(DeterminantBasis&, const WaveFunctionType&);

}  // namespace fermix
