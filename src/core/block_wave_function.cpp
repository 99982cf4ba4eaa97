#include "core/block_wave_function.h"

#include "core/space_check.h"
#include "core/surviving_terms.h"
#include "host/base/status.h"

namespace fermix {

namespace {

template <class T>
void AddElement(BlockWaveFunctionType& Psi, const KeyWord* key, const T* values, bool create) {
  if (Psi.basis.use_count() > 1 && create) Psi.basis = std::make_shared<DeterminantBasis>(*Psi.basis);
  auto& stored = std::get<BlockedArray<T>>(Psi.values);
  if (create) stored.reserveOne();  // so that nothing can fail once the key is in
  const std::uint32_t number = create ? BasisAdd(*Psi.basis, key) : BasisFind(*Psi.basis, key);
  if (!number) return;
  if (number == stored.size) std::fill_n(stored.append(), stored.width, T{});
  T* to = stored.at(number);
  for (std::uint32_t k = 0; k < stored.width; ++k) to[k] += values[k];
}

// The product, kept a batch behind so that looking keys up overlaps: `scale` of a result times the values of
// its source element.
template <class C, class X>
BlockWaveFunctionType GrowingProduct(const CompiledOperator& O, const std::vector<C>& coefficients,
                                     const BlockWaveFunctionType& Psi, const BlockedArray<X>& x) {
  using T = decltype(C{} * X{});
  const std::uint32_t width = x.width, words = O.words;
  BlockWaveFunctionType OPsi(Psi.basis->layout, width, IsComplex<T>, Psi.basis->NBitsKey);
  auto& values = std::get<BlockedArray<T>>(OPsi.values);
  SurvivingTerms terms(O);
  std::vector<KeyWord> keys(std::size_t{BasisBatch} * words);
  C scale[BasisBatch];
  std::uint32_t source[BasisBatch], numbers[BasisBatch], count = 0;
  const auto flush = [&] {
    BasisAddBatch(*OPsi.basis, keys.data(), count, numbers);
    values.resize(std::size_t{OPsi.basis->N} + 1);
    for (std::uint32_t i = 0; i < count; ++i) {
      T* to = values.at(numbers[i]);
      const X* from = x.at(source[i]);
      for (std::uint32_t k = 0; k < width; ++k) to[k] += scale[i] * from[k];
    }
    count = 0;
  };
  for (std::uint32_t i = 1; i <= Psi.basis->N; ++i) {
    FindSurvivingTerms(O, Psi.basis->keys.at(i), true, terms);
    for (std::uint32_t s = 0; s < terms.count; ++s) {
      std::copy_n(&terms.keys[std::size_t{s} * words], words, &keys[std::size_t{count} * words]);
      scale[count] = coefficients[terms.term[s]] * terms.amplitude[s];
      source[count++] = i;
      if (count == BasisBatch) flush();
    }
  }
  flush();
  return OPsi;
}

}  // namespace

BlockWaveFunctionType::BlockWaveFunctionType(KeyLayout layout, std::uint32_t NBlock, bool complex,
                                             std::uint32_t NBitsKey)
    : basis(std::make_shared<DeterminantBasis>(layout, NBitsKey)) {
  if (complex) {
    values = BlockedArray<Complex16>(1, NBlock);
  } else {
    values = BlockedArray<double>(1, NBlock);
  }
}

std::uint32_t BlockSize(const BlockWaveFunctionType& Psi) {
  return std::visit([](const auto& values) { return values.width; }, Psi.values);
}

BlockWaveFunctionType BlockWaveFunctionFromStates(const std::vector<WaveFunctionType>& states) {
  if (states.empty()) return BlockWaveFunctionType({}, 0);
  const bool complex =
      std::any_of(states.begin(), states.end(), [](const auto& psi) { return QComplex(psi); });
  BlockWaveFunctionType Psi(Layout(states[0]), static_cast<std::uint32_t>(states.size()), complex);
  Psi.Name = states[0].Name;
  Psi.basis = states[0].basis;
  std::visit(
      [&](auto& values) {
        using T = std::decay_t<decltype(*values.at(0))>;
        values.resize(std::size_t{Psi.basis->N} + 1);
        for (std::size_t k = 0; k < states.size(); ++k)
          for (std::uint32_t i = 1; i <= Psi.basis->N; ++i)
            values.at(i)[k] = ToKind<T>(ElementValue(states[k], i));
      },
      Psi.values);
  return Psi;
}

std::vector<WaveFunctionType> BlockWaveFunctionToStates(const BlockWaveFunctionType& Psi) {
  std::vector<WaveFunctionType> states;
  std::visit(
      [&](const auto& values) {
        using T = std::decay_t<decltype(*values.at(0))>;
        for (std::uint32_t k = 0; k < values.width; ++k) {
          WaveFunctionType& psi = states.emplace_back(Psi.basis->layout, IsComplex<T>);
          psi.Name = Psi.Name;
          psi.basis = Psi.basis;
          BlockedArray<T> column(values.size);
          for (std::size_t i = 1; i < values.size; ++i) column[i] = values.at(i)[k];
          psi.values = std::move(column);
        }
      },
      Psi.values);
  return states;
}

void RealBlockWaveFunctionAddElement(BlockWaveFunctionType& Psi, const KeyWord* key, const double* values) {
  OrSay("alloc failed RealBlockWaveFunctionAddElement ValueRe[0]\n",
        [&] { AddElement(Psi, key, values, true); });
}

void ComplexBlockWaveFunctionAddElement(BlockWaveFunctionType& Psi, const KeyWord* key,
                                        const Complex16* values) {
  OrSay("alloc failed ComplexBlockWaveFunctionAddElement ValueRe[0]\n",
        [&] { AddElement(Psi, key, values, true); });
}

void ComplexBlockWaveFunctionAddElementConserveBasis(BlockWaveFunctionType& Psi, const KeyWord* key,
                                                     const Complex16* values) {
  AddElement(Psi, key, values, false);
}

CompactMatrixType BlockWaveFunctionDotProduct(const BlockWaveFunctionType& bra,
                                              const BlockWaveFunctionType& ket) {
  RequireSameSpace(bra.basis->layout, "Wave-function", ket.basis->layout, "the other wave-function");
  return std::visit(
      [&](const auto& b, const auto& k) {
        using T = decltype(*b.at(0) * *k.at(0));
        CompactMatrixType S = InitCompactMatrix(b.width, k.width, IsComplex<T>);
        auto& s = std::get<std::vector<T>>(S.Data);
        for (std::uint32_t n = 1; n <= bra.basis->N; ++n) {
          const std::uint32_t m = bra.basis == ket.basis ? n : BasisFind(*ket.basis, bra.basis->keys.at(n));
          if (!m) continue;
          for (std::uint32_t i = 0; i < b.width; ++i)
            for (std::uint32_t j = 0; j < k.width; ++j)
              s[std::size_t{i} * k.width + j] += Conj(b.at(n)[i]) * k.at(m)[j];
        }
        return S;
      },
      bra.values, ket.values);
}

BlockWaveFunctionType BlockOperatorPsi(const OperatorType& O, const BlockWaveFunctionType& Psi) {
  RequireSameSpace(Psi.basis->layout, "Wave-function", O.layout, "the operator");
  const CompiledOperator compiled = CompileOperator(O, nullptr, Psi.basis->N);
  return OrSay(
      "ComplexBlockWaveFunctionAddElement failed in ComplexBlockWaveFunctionAddElementOMPMiniFlush\n"
      "ComplexBlockWaveFunctionAddElementOMPMiniFlush failed in BlockOperatorPsiRC\n 01\n",
      [&] {
        return std::visit([&](const auto& c, const auto& x) { return GrowingProduct(compiled, c, Psi, x); },
                          compiled.values, Psi.values);
      });
}

}  // namespace fermix
