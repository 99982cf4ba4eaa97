// The inner loop of every product of an operator with determinants: which terms survive, with which
// amplitude, and what key they give. Used by core/operator_on_state.cpp and core/expectation.cpp.
#pragma once

#include "core/compiled_operator.h"
#include "core/determinant_basis.h"

namespace fermix {

// A batch of results, in the order in which they arise: determinant by determinant, terms in stored order. It
// has room for one more determinant's worth as long as fewer than BasisBatch stand in it. The keys will be
// found in, or added to, the basis target.
struct SurvivingTerms {
  SurvivingTerms(const CompiledOperator& O, const DeterminantBasis& target);
  const DeterminantBasis& target;
  std::uint32_t count = 0;
  std::vector<std::uint32_t> term;
  std::vector<double> amplitude;       // above NumericalZero in magnitude
  std::vector<KeyWord> keys;           // words a result
  std::vector<std::uint32_t> numbers;  // as BasisHash leaves them, for BasisFindBatch or BasisAddBatch
  // Scratch.
  std::vector<KeyWord> mask;
  std::vector<std::uint32_t> occupation;  // what each restriction counts on the determinant
};

// Appends the results for key; terms whose result breaks the restrictions of O are left out when restricted
// is true. Returns the position of the first.
std::uint32_t FindSurvivingTerms(const CompiledOperator& O, const KeyWord* key, bool restricted,
                                 SurvivingTerms& out);

// Results of an operator wait here with their values until enough have come together that looking up their
// keys overlaps: the one loop of all products. For each of the determinants i = first .. last of a state,
// value(i) is its coefficient; flush(results, values) takes over a batch for target.
template <class C, class Value, class Flush>
void ForEachResult(const CompiledOperator& O, const std::vector<C>& coefficients, bool restricted,
                   std::uint32_t first, std::uint32_t last, const DeterminantBasis& basis,
                   const DeterminantBasis& target, Value&& value, Flush&& flush) {
  using T = decltype(C{} * value(first));
  SurvivingTerms results(O, target);
  std::vector<T> values(results.amplitude.size());
  for (std::uint32_t i = first; i <= last; ++i) {
    const auto x = value(i);
    for (std::uint32_t k = FindSurvivingTerms(O, basis.keys.at(i), restricted, results); k < results.count;
         ++k)
      values[k] = (coefficients[results.term[k]] * results.amplitude[k]) * x;
    if (results.count < BasisBatch) continue;
    flush(results, values.data());
    results.count = 0;
  }
  flush(results, values.data());
}

}  // namespace fermix
