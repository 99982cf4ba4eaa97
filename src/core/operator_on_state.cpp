#include "core/operator_on_state.h"

#include <algorithm>

#include "core/space_check.h"
#include "core/surviving_terms.h"
#include "host/base/status.h"

namespace fermix {

namespace {

// Restrictions that filter nothing.
const DeterminantRestrictionType Unrestricted;

// Results wait here until 128 of them go to the basis together, so that looking keys up overlaps.
template <class T>
struct ResultBatch {
  explicit ResultBatch(std::uint32_t keyWords) : words(keyWords), keys(std::size_t{BasisBatch} * keyWords) {}
  bool full() const { return count == BasisBatch; }
  void add(const KeyWord* key, T value) {
    std::copy_n(key, words, &keys[std::size_t{count} * words]);
    values[count++] = value;
  }
  std::uint32_t words, count = 0;
  std::vector<KeyWord> keys;
  T values[BasisBatch];
  std::uint32_t numbers[BasisBatch];
};

// Adds the batch to the state, whose basis grows.
template <class T>
void Flush(ResultBatch<T>& batch, DeterminantBasis& basis, BlockedArray<T>& values) {
  BasisAddBatch(basis, batch.keys.data(), batch.count, batch.numbers);
  values.resize(std::size_t{basis.N} + 1);
  for (std::uint32_t i = 0; i < batch.count; ++i) __builtin_prefetch(&values[batch.numbers[i]], 1);
  for (std::uint32_t i = 0; i < batch.count; ++i) values[batch.numbers[i]] += batch.values[i];
  batch.count = 0;
}

// Adds what lies inside the basis of the state.
template <class T>
void FlushInside(ResultBatch<T>& batch, const DeterminantBasis& basis, BlockedArray<T>& values) {
  BasisFindBatch(basis, batch.keys.data(), batch.count, batch.numbers);
  for (std::uint32_t i = 0; i < batch.count; ++i)
    if (batch.numbers[i]) values[batch.numbers[i]] += batch.values[i];
  batch.count = 0;
}

// Calls result(key, value) for all that O makes of one determinant with coefficient x, in stored order.
template <class C, class X, class Result>
void ApplyToDeterminant(const CompiledOperator& O, const std::vector<C>& coefficients, const KeyWord* key,
                        X x, bool restricted, SurvivingTerms& terms, Result&& result) {
  FindSurvivingTerms(O, key, restricted, terms);
  for (std::uint32_t k = 0; k < terms.count; ++k)
    result(&terms.keys[std::size_t{k} * O.words], (coefficients[terms.term[k]] * terms.amplitude[k]) * x);
}

constexpr const char Letters[] = "RCM";

// The lines that a growing product owes the user when memory runs out.
void SayFlushFailed(const CompiledOperator& O, const WaveFunctionType& psi, bool last) {
  const char* kind = O.kind || QComplex(psi) ? "Complex" : "Real";
  const char form[] = {Letters[O.kind], Letters[QComplex(psi)], 0};
  Say("alloc failed RealWaveFunctionAddElement 04\n"
      "%sWaveFunctionAddElement failed in %sWaveFunctionAddElementOMPMiniFlush\n"
      "%sWaveFunctionAddElementOMPMiniFlush failed in OperatorPsi%s%s\n",
      kind, kind, kind, form, last ? " 02" : "\n 01");
}

template <class C, class X>
WaveFunctionType GrowingProduct(const CompiledOperator& O, const std::vector<C>& coefficients,
                                const WaveFunctionType& psi, const BlockedArray<X>& x) {
  using T = decltype(C{} * X{});
  WaveFunctionType Opsi(Layout(psi), IsComplex<T>, psi.basis->NBitsKey);
  auto& values = std::get<BlockedArray<T>>(Opsi.values);
  SurvivingTerms terms(O);
  ResultBatch<T> batch(O.words);
  bool last = false;
  const bool fits = FitsInMemory([&] {
    for (std::uint32_t i = 1; i <= ElementCount(psi); ++i)
      ApplyToDeterminant(O, coefficients, ElementKey(psi, i), x[i], true, terms,
                         [&](const KeyWord* key, T value) {
                           batch.add(key, value);
                           if (batch.full()) Flush(batch, *Opsi.basis, values);
                         });
    last = true;
    Flush(batch, *Opsi.basis, values);
  });
  if (fits) return Opsi;
  SayFlushFailed(O, psi, last);
  throw std::bad_alloc();
}

template <class C, class X, class T>
void ProductInside(const CompiledOperator& O, const std::vector<C>& coefficients, const WaveFunctionType& psi,
                   const BlockedArray<X>& x, const DeterminantBasis& basis, BlockedArray<T>& values) {
  values.fill(T{});
  SurvivingTerms terms(O);
  ResultBatch<T> batch(O.words);
  for (std::uint32_t i = 1; i <= ElementCount(psi); ++i)
    ApplyToDeterminant(O, coefficients, ElementKey(psi, i), x[i], false, terms,
                       [&](const KeyWord* key, T value) {
                         batch.add(key, value);
                         if (batch.full()) FlushInside(batch, basis, values);
                       });
  FlushInside(batch, basis, values);
}

}  // namespace

WaveFunctionType OperatorPsi(const CompiledOperator& O, const WaveFunctionType& psi) {
  RequireSameSpace(Layout(psi), "Wave-function", O.layout, "the operator");
  return std::visit([&](const auto& c, const auto& x) { return GrowingProduct(O, c, psi, x); }, O.values,
                    psi.values);
}

WaveFunctionType OperatorPsi(const OperatorType& O, const WaveFunctionType& psi) {
  return OperatorPsi(CompileOperator(O, nullptr, ElementCount(psi)), psi);
}

WaveFunctionType OperatorPsiRestricted(const OperatorType& O, const WaveFunctionType& psi,
                                       const DeterminantRestrictionType& R) {
  return OperatorPsi(CompileOperator(O, &R, ElementCount(psi)), psi);
}

void OperatorPsiConserveBasisPreAllocated(const CompiledOperator& O, const WaveFunctionType& psi,
                                          WaveFunctionType& Opsi) {
  RequireSameSpace(Layout(psi), "Wave-function", O.layout, "the operator");
  RequireSameSpace(Layout(Opsi), "Wave-function", O.layout, "the operator");
  std::visit(
      [&](const auto& c, const auto& x) {
        using T = decltype(c[0] * x[0]);
        if (!std::holds_alternative<BlockedArray<T>>(Opsi.values))
          Opsi.values = BlockedArray<T>(std::size_t{ElementCount(Opsi)} + 1);
        ProductInside(O, c, psi, x, *Opsi.basis, std::get<BlockedArray<T>>(Opsi.values));
      },
      O.values, psi.values);
}

void OperatorPsiConserveBasisPreAllocated(const OperatorType& O, const WaveFunctionType& psi,
                                          WaveFunctionType& Opsi) {
  OperatorPsiConserveBasisPreAllocated(CompileOperator(O, &Unrestricted, ElementCount(psi)), psi, Opsi);
}

int OperatorDeterminantPreAllocated(const CompiledOperator& O, const KeyWord* key, WaveFunctionType& Opsi) {
  RequireSameSpace(Layout(Opsi), "Wave-function", O.layout, "the operator");
  if (O.kind && !QComplex(Opsi))
    return O.kind == 1 ? Fail("Can't store result of complex operator times determinant in real function\n")
                       : Fail(
                             "Can't store result of mixed complex/real operator times determinant in real "
                             "function\n");
  SurvivingTerms terms(O);
  std::visit(
      [&](const auto& c, auto& values) {
        using T = std::decay_t<decltype(values[0])>;
        values.fill(T{});
        if constexpr (IsComplex<T> || !IsComplex<std::decay_t<decltype(c[0])>>)
          ApplyToDeterminant(O, c, key, 1.0, false, terms, [&](const KeyWord* image, T value) {
            if (const std::uint32_t number = BasisFind(*Opsi.basis, image)) values[number] += value;
          });
      },
      O.values, Opsi.values);
  return 0;
}

std::vector<WaveFunctionType> BlockOperatorPsiSerial(const OperatorType& O,
                                                     const std::vector<WaveFunctionType>& psi,
                                                     const DeterminantRestrictionType* R) {
  std::vector<WaveFunctionType> Opsi;
  if (psi.empty()) return Opsi;
  OrSay("OperatorPsi failed in BlockOperatorPsiSerial\n", [&] {
    const CompiledOperator compiled = CompileOperator(O, R, std::size_t{ElementCount(psi[0])} * psi.size());
    Opsi.reserve(psi.size());
    Opsi.push_back(OperatorPsi(compiled, psi[0]));
    WaveFunctionAddMultipliedUnionBasis(Opsi[0], psi[0], 0.0);
    for (std::size_t k = 1; k < psi.size(); ++k) {
      Opsi.push_back(OrSay("WaveFunctionInitCopyBasis failed in BlockOperatorPsiSerial\n",
                           [&] { return WaveFunctionInitCopyBasis(Opsi[0]); }));
      OperatorPsiConserveBasisPreAllocated(compiled, psi[k], Opsi[k]);
    }
  });
  return Opsi;
}

}  // namespace fermix
