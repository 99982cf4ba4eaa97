// The inner loop of every product of an operator with determinants: which terms survive, with which
// amplitude, and what key they give. Used by core/operator_on_state.cpp and core/expectation.cpp.
#pragma once

#include "core/compiled_operator.h"

namespace fermix {

// Results for one determinant, in stored order of the terms.
struct SurvivingTerms {
  explicit SurvivingTerms(const CompiledOperator& O);
  std::uint32_t count = 0;
  std::vector<std::uint32_t> term;
  std::vector<double> amplitude;  // above NumericalZero in magnitude
  std::vector<KeyWord> keys;      // words a survivor
  // Scratch.
  std::vector<KeyWord> mask;
  std::vector<std::uint32_t> counts;  // of the restrictions on the determinant
};

// Fills out for key; terms whose result breaks the restrictions of O are left out when restricted is true.
void FindSurvivingTerms(const CompiledOperator& O, const KeyWord* key, bool restricted, SurvivingTerms& out);

}  // namespace fermix
