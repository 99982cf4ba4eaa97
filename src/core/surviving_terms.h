// The inner loop of every product of an operator with determinants: which terms survive, with which
// amplitude, and what key they give. Used by core/operator_on_state.cpp and core/expectation.cpp.
#pragma once

#include <memory>

#include "core/compiled_operator.h"
#include "core/determinant_basis.h"

namespace fermix {

// A batch of results, in the order in which they arise: determinant by determinant, terms in stored order.
// Terms that lead back to their determinant share one result, at the place of the first of them, so that one
// look-up serves them all. The batch has room for one more determinant's worth as long as fewer than
// BasisBatch results stand in it. The keys will be found in, or added to, the basis target.
struct SurvivingTerms {
  SurvivingTerms(const CompiledOperator& O, const DeterminantBasis& target);
  void clear();

  const DeterminantBasis& target;
  std::uint32_t count = 0;
  std::vector<std::uint32_t> code;     // 2 * term + parity: the place in the values of the operator
  std::vector<double> factor;          // with bosons, what the ladders give besides; empty without
  std::vector<KeyWord> keys;           // words a result
  std::vector<std::uint32_t> numbers;  // as BasisHash leaves them, for BasisFindBatch or BasisAddBatch
  // Codes beyond the first one of a result stand at further[begin .. end - 1]; the last entry of shared
  // belongs to no result.
  struct Shared {
    std::uint32_t result, begin, end;
  };
  std::vector<Shared> shared;
  std::size_t furtherRoom;
  std::unique_ptr<std::uint32_t[]> further;  // mostly more room than is used: not zeroed
  std::uint32_t furtherCount = 0;
  // Scratch.
  std::vector<KeyWord> mask;
  std::vector<const KeyWord*> chosen;  // rows
};

// Gives the further codes of results that are asked for in rising order.
struct FurtherCodes {
  explicit FurtherCodes(const SurvivingTerms& results) : next(results.shared.data()) {}
  const SurvivingTerms::Shared* next;
  // Calls f(place in further) for those of result i.
  template <class F>
  void forEach(std::uint32_t i, F&& f) {
    if (next->result != i) return;
    for (std::uint32_t e = next->begin; e < next->end; ++e) f(e);
    ++next;
  }
};

// Signed matrix element of a result; values are those of the operator.
template <class C>
inline C FirstCoefficient(const SurvivingTerms& results, const std::vector<C>& values, std::uint32_t i) {
  const C c = values[results.code[i]];
  return results.factor.empty() ? c : c * results.factor[i];
}
// The same with the further codes of result i summed up.
template <class C>
inline C ResultCoefficient(const SurvivingTerms& results, const std::vector<C>& values, std::uint32_t i,
                           FurtherCodes& furtherCodes) {
  C c = FirstCoefficient(results, values, i);
  furtherCodes.forEach(i, [&](std::uint32_t e) { c += values[results.further[e]]; });
  return c;
}

// Appends the results for key; terms whose result breaks the restrictions of O are left out when restricted
// is true. Returns the position of the first.
std::uint32_t FindSurvivingTerms(const CompiledOperator& O, const KeyWord* key, bool restricted,
                                 SurvivingTerms& out);

// What the results of a batch add to their determinants, for an operator with coefficients of kind C on a
// state with values of kind X.
template <class C, class X>
struct ResultValues {
  ResultValues(const SurvivingTerms& batch, const std::vector<C>& ofOperator)
      : results(batch), coefficients(ofOperator), first(batch.code.size()), shared(BasisBatch + 1) {}

  const SurvivingTerms& results;
  const std::vector<C>& coefficients;
  std::vector<decltype(C{} * X{})> first;  // of each result its first term
  std::vector<X> shared;                   // for each entry of results.shared the value of its determinant

  // Calls f(value) for the further terms of result i; further has been asked for the results before.
  template <class F>
  void forEachFurther(FurtherCodes& further, std::uint32_t i, F&& f) const {
    const X x = shared[static_cast<std::size_t>(further.next - results.shared.data())];
    further.forEach(i, [&](std::uint32_t e) { f(coefficients[results.further[e]] * x); });
  }
};

// Results of an operator wait here with their values until enough have come together that looking up their
// keys overlaps: the one loop of all products. For each of the determinants i = first .. last of a state,
// value(i) is its coefficient; flush(results, values) takes over a batch for target.
template <class C, class Value, class Flush>
void ForEachResult(const CompiledOperator& O, const std::vector<C>& coefficients, bool restricted,
                   std::uint32_t first, std::uint32_t last, const DeterminantBasis& basis,
                   const DeterminantBasis& target, Value&& value, Flush&& flush) {
  SurvivingTerms results(O, target);
  ResultValues<C, std::decay_t<decltype(value(first))>> values(results, coefficients);
  for (std::uint32_t i = first; i <= last; ++i) {
    const auto x = value(i);
    values.shared[results.shared.size() - 1] = x;
    const std::uint32_t from = FindSurvivingTerms(O, basis.keys.at(i), restricted, results);
    if (O.QLader) {
      for (std::uint32_t k = from; k < results.count; ++k)
        values.first[k] = FirstCoefficient(results, coefficients, k) * x;
    } else {
      for (std::uint32_t k = from; k < results.count; ++k)
        values.first[k] = coefficients[results.code[k]] * x;
    }
    if (results.count < BasisBatch) continue;
    flush(results, values);
    results.clear();
  }
  flush(results, values);
}

}  // namespace fermix
