#include "core/block_wave_function.h"

#include <optional>

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

// The product: one look-up for each result serves all states. The coefficient of a determinant travels as its
// number, and the values follow when the result is stored.
template <class C, class X>
BlockWaveFunctionType GrowingProduct(const CompiledOperator& O, const std::vector<C>& coefficients,
                                     const BlockWaveFunctionType& Psi, const BlockedArray<X>& x) {
  using T = decltype(C{} * X{});
  const std::uint32_t width = x.width;
  BlockWaveFunctionType OPsi(Psi.basis->layout, width, IsComplex<T>, Psi.basis->NBitsKey);
  auto& values = std::get<BlockedArray<T>>(OPsi.values);
  std::uint32_t first = 1;  // determinant of the first result of the batch
  SurvivingTerms results(O, *OPsi.basis);
  std::vector<std::uint32_t> ends;  // where the results of each determinant of the batch end
  const auto flush = [&] {
    BasisAddBatch(*OPsi.basis, results.keys.data(), results.count, results.numbers.data());
    values.resize(std::size_t{OPsi.basis->N} + 1);
    FurtherCodes furtherCodes(results);
    std::uint32_t k = 0;
    for (std::size_t n = 0; n < ends.size(); ++n)
      for (const X* from = x.at(first + n); k < ends[n]; ++k) {
        T* to = values.at(results.numbers[k]);
        const auto add = [&](C scale) {
          for (std::uint32_t b = 0; b < width; ++b) to[b] += scale * from[b];
        };
        add(FirstCoefficient(results, coefficients, k));
        furtherCodes.forEach(k, [&](std::uint32_t e) { add(coefficients[results.further[e]]); });
      }
    first += static_cast<std::uint32_t>(ends.size());
    ends.clear();
    results.clear();
  };
  for (std::uint32_t i = 1; i <= Psi.basis->N; ++i) {
    FindSurvivingTerms(O, Psi.basis->keys.at(i), true, results);
    ends.push_back(results.count);
    if (results.count >= BasisBatch) flush();
  }
  flush();
  return OPsi;
}

// The lines that a failing product owes the user, with the form's letters.
void SayFlushFailed(const CompiledOperator& O, bool complexState) {
  const char* kind = O.kind || complexState ? "Complex" : "Real";
  const char form[] = {"RCM"[O.kind], "RC"[complexState || O.kind], 0};
  Say("%sBlockWaveFunctionAddElement failed in %sBlockWaveFunctionAddElementOMPMiniFlush\n"
      "%sBlockWaveFunctionAddElementOMPMiniFlush failed in BlockOperatorPsi%s\n 01\n",
      kind, kind, kind, form);
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

BlockWaveFunctionType BlockOperatorPsi(const OperatorType& O, const BlockWaveFunctionType& Psi,
                                       const DeterminantRestrictionType* R) {
  RequireSameSpace(Psi.basis->layout, "Wave-function", O.layout, "the operator");
  const CompiledOperator compiled = CompileOperator(O, R, Psi.basis->N);
  std::optional<BlockWaveFunctionType> OPsi;
  const bool fits = FitsInMemory([&] {
    OPsi = std::visit([&](const auto& c, const auto& x) { return GrowingProduct(compiled, c, Psi, x); },
                      compiled.values, Psi.values);
  });
  if (fits) return *std::move(OPsi);
  SayFlushFailed(compiled, Psi.values.index() == 1);
  throw std::bad_alloc();
}

}  // namespace fermix
