#include "core/operator_on_state.h"

#include <algorithm>
#include <cstdio>

#include "core/determinant_index.h"
#include "core/space_check.h"
#include "core/surviving_terms.h"
#include "host/base/status.h"
#include "host/base/verbosity.h"

namespace fermix {

namespace {

// Restrictions that filter nothing.
const DeterminantRestrictionType Unrestricted;

// Adds the terms of results to values, one after the other as they arose. What belongs to no element, number
// 0, is dropped.
template <class C, class X, class T>
auto Adder(const ResultValues<C, X>& added, BlockedArray<T>& values) {
  return [&values, &added, further = FurtherCodes(added.results)](std::uint32_t i,
                                                                  std::uint32_t number) mutable {
    T& value = values[number];
    T sum = value + added.first[i];
    added.forEachFurther(further, i, [&](T term) { sum += term; });
    if (number) value = sum;
  };
}

// Adds a batch of results to a state whose basis grows. A rebuilt index gets room for at least wanted.
template <class C, class X, class T>
void AddResults(const ResultValues<C, X>& added, std::size_t wanted, DeterminantBasis& basis,
                BlockedArray<T>& values) {
  const SurvivingTerms& results = added.results;
  BasisMakeRoom(basis, std::size_t{basis.N} + results.count, wanted);
  DispatchKeys(basis.layout, [&](auto words) {
    AddEach(
        basis, words, results.keys.data(), results.numbers.data(), results.count,
        [&](std::uint32_t number) { __builtin_prefetch(&values[number], 1); },
        [&](const KeyWord* key, std::uint32_t hash) {
          values.reserveOne();  // so that nothing can fail once the key is in
          const std::uint32_t number = AddHashed(basis, key, words, hash);
          if (number == values.size) *values.append() = T{};
          return number;
        },
        Adder(added, values));
  });
}

// Adds what lies inside the basis.
template <class C, class X, class T>
void AddResultsInside(const ResultValues<C, X>& added, const DeterminantBasis& basis,
                      BlockedArray<T>& values) {
  const SurvivingTerms& results = added.results;
  if (basis.buckets.empty()) return;
  DispatchKeys(basis.layout, [&](auto words) {
    FindEach(
        basis, words, results.keys.data(), results.numbers.data(), results.count,
        [&](std::uint32_t number) { __builtin_prefetch(&values[number], 1); }, Adder(added, values));
  });
}

constexpr const char Letters[] = "RCM";

// Runs a step that a growing product needs before its first result.
template <class Step>
auto Prepared(std::uint32_t kind, const WaveFunctionType& psi, Step&& step) {
  char line[64];
  std::snprintf(line, sizeof line, "Could not initialize Opsi in OperatorPsi%c%c\n", Letters[kind],
                Letters[QComplex(psi)]);
  return OrSay(line, step);
}

// The lines that a growing product owes the user when memory runs out.
void SayFlushFailed(const CompiledOperator& O, const WaveFunctionType& psi, bool last) {
  const char* kind = O.kind || QComplex(psi) ? "Complex" : "Real";
  const char form[] = {Letters[O.kind], Letters[QComplex(psi)], 0};
  Say("alloc failed RealWaveFunctionAddElement 04\n"
      "%sWaveFunctionAddElement failed in %sWaveFunctionAddElementOMPMiniFlush\n"
      "%sWaveFunctionAddElementOMPMiniFlush failed in OperatorPsi%s%s\n",
      kind, kind, kind, form, last ? " 02" : "\n 01");
}

// How many determinants a result will have, from what the first `reached` of `all` determinants gave. Later
// ones meet more of what is there already: too much in general, so no more than four times what is there.
std::size_t ForeseenSize(const DeterminantBasis& basis, std::uint32_t reached, std::uint32_t all) {
  return std::min(std::size_t{basis.N} * 4, std::size_t{basis.N} * all / std::max(reached, 1u));
}

template <class C, class X>
WaveFunctionType GrowingProduct(const CompiledOperator& O, const std::vector<C>& coefficients,
                                const WaveFunctionType& psi, const BlockedArray<X>& x) {
  using T = decltype(C{} * X{});
  WaveFunctionType Opsi =
      Prepared(O.kind, psi, [&] { return WaveFunctionType(Layout(psi), IsComplex<T>, psi.basis->NBitsKey); });
  auto& values = std::get<BlockedArray<T>>(Opsi.values);
  std::uint32_t reached = 0;
  // A result has mostly at least as many determinants as the state. No room for the index now is no failure.
  static_cast<void>(FitsInMemory([&] { BasisReserve(*Opsi.basis, ElementCount(psi)); }));
  const bool fits = FitsInMemory([&] {
    ForEachResult(
        O, coefficients, true, 1, ElementCount(psi), *psi.basis, *Opsi.basis,
        [&](std::uint32_t i) { return x[reached = i]; },
        [&](SurvivingTerms&, const ResultValues<C, X>& added) {
          AddResults(added, ForeseenSize(*Opsi.basis, reached, ElementCount(psi)), *Opsi.basis, values);
        });
    BasisFit(*Opsi.basis);
  });
  if (fits) return Opsi;
  SayFlushFailed(O, psi, reached == ElementCount(psi));
  throw std::bad_alloc();
}

template <class C, class X, class T>
void ProductInside(const CompiledOperator& O, const std::vector<C>& coefficients, const WaveFunctionType& psi,
                   const BlockedArray<X>& x, const DeterminantBasis& basis, BlockedArray<T>& values) {
  values.fill(T{});
  ForEachResult(
      O, coefficients, false, 1, ElementCount(psi), *psi.basis, basis, [&](std::uint32_t i) { return x[i]; },
      [&](SurvivingTerms&, const ResultValues<C, X>& added) { AddResultsInside(added, basis, values); });
}

}  // namespace

WaveFunctionType OperatorPsi(const CompiledOperator& O, const WaveFunctionType& psi) {
  RequireSameSpace(Layout(psi), "Wave-function", O.layout, "the operator");
  return std::visit([&](const auto& c, const auto& x) { return GrowingProduct(O, c, psi, x); }, O.values,
                    psi.values);
}

WaveFunctionType OperatorPsi(const OperatorType& O, const WaveFunctionType& psi) {
  return OperatorPsi(
      Prepared(QComplex(O), psi, [&] { return CompileOperator(O, nullptr, ElementCount(psi)); }), psi);
}

WaveFunctionType OperatorPsiRestricted(const OperatorType& O, const WaveFunctionType& psi,
                                       const DeterminantRestrictionType& R) {
  return OperatorPsi(Prepared(QComplex(O), psi, [&] { return CompileOperator(O, &R, ElementCount(psi)); }),
                     psi);
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
  SurvivingTerms results(O, *Opsi.basis);
  FindSurvivingTerms(O, key, false, results);
  BasisFindBatch(*Opsi.basis, results.keys.data(), results.count, results.numbers.data());
  std::visit(
      [&](const auto& coefficients, auto& values) {
        using T = std::decay_t<decltype(values[0])>;
        values.fill(T{});
        FurtherCodes furtherCodes(results);
        if constexpr (IsComplex<T> || !IsComplex<std::decay_t<decltype(coefficients[0])>>)
          for (std::uint32_t k = 0; k < results.count; ++k) {
            const auto added = ResultCoefficient(results, coefficients, k, furtherCodes);
            if (results.numbers[k]) values[results.numbers[k]] += added;
          }
      },
      O.values, Opsi.values);
  return 0;
}

std::vector<WaveFunctionType> BlockOperatorPsiSerial(const OperatorType& O,
                                                     const std::vector<WaveFunctionType>& psi,
                                                     const DeterminantRestrictionType* R) {
  std::vector<WaveFunctionType> Opsi;
  if (!R && NRestrictions(O.Restrictions) == 0) VerbosityPrintf(2, "Start of BlockOperatorPsiSerial\n");
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
