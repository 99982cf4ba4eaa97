#include "core/wave_function_tools.h"

#include <stdexcept>

namespace fermix {

namespace {

// An empty state with the settings of psi.
WaveFunctionType EmptyLike(const WaveFunctionType& psi) {
  WaveFunctionType part(Layout(psi), QComplex(psi), psi.basis->NBitsKey);
  part.Name = psi.Name;
  return part;
}

// The bits of a and, from bit first on, those of b.
void JoinKeys(const KeyWord* a, std::uint32_t first, const KeyWord* b, std::uint32_t wordsB, Key& joined) {
  std::fill(joined.begin(), joined.end(), 0);
  std::copy_n(a, (first + 63) / 64, joined.begin());
  const std::uint32_t word = first / 64, shift = first % 64;
  for (std::uint32_t w = 0; w < wordsB; ++w) {
    if (word + w < joined.size()) joined[word + w] |= b[w] >> shift;
    if (shift && word + w + 1 < joined.size()) joined[word + w + 1] |= b[w] << (64 - shift);
  }
}

}  // namespace

std::vector<WaveFunctionType> WaveFunctionExpand(const WaveFunctionType& psi,
                                                 const std::vector<std::uint32_t>& orbitals) {
  const std::size_t parts = std::size_t{1} << orbitals.size();
  std::vector<WaveFunctionType> functions;
  functions.reserve(parts);
  for (std::size_t p = 0; p < parts; ++p) functions.push_back(EmptyLike(psi));
  for (std::uint32_t i = 1; i <= ElementCount(psi); ++i) {
    std::size_t pattern = 0;
    for (const std::uint32_t orbital : orbitals)
      pattern = 2 * pattern + QOccupied(ElementKey(psi, i), orbital);
    WaveFunctionAddElement(functions[pattern], ElementKey(psi, i), ElementValue(psi, i));
  }
  return functions;
}

std::vector<WaveFunctionType> WaveFunctionExpandToDeterminantBasis(const WaveFunctionType& psi) {
  std::vector<WaveFunctionType> functions;
  functions.reserve(ElementCount(psi));
  for (std::uint32_t i = 1; i <= ElementCount(psi); ++i)
    WaveFunctionAddElement(functions.emplace_back(EmptyLike(psi)), ElementKey(psi, i), ElementValue(psi, i));
  return functions;
}

WaveFunctionType WaveFunctionTensorProduct(const WaveFunctionType& a, const WaveFunctionType& b) {
  constexpr std::uint64_t MaxElements = 0xfffffffe;
  if (std::uint64_t{ElementCount(a)} * ElementCount(b) > MaxElements)
    throw std::length_error("Error: TensorProduct has more determinants than a wavefunction can hold\n");
  const std::uint32_t first = Layout(a).NFermion;
  WaveFunctionType product({first + Layout(b).NFermion, 0}, QComplex(a) || QComplex(b), a.basis->NBitsKey);
  Key key(KeyWords(Layout(product)));
  DispatchKinds(a, b, [&](const auto& x, const auto& y) {
    for (std::uint32_t i = 1; i <= ElementCount(a); ++i)
      for (std::uint32_t j = 1; j <= ElementCount(b); ++j) {
        JoinKeys(ElementKey(a, i), first, ElementKey(b, j), KeyWords(Layout(b)), key);
        WaveFunctionAddElement(product, key.data(), x[i] * y[j]);
      }
  });
  return product;
}

}  // namespace fermix
