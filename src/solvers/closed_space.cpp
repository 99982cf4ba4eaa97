#include "solvers/closed_space.h"

#include "core/operator_on_state.h"

namespace fermix {

void AddBasis(WaveFunctionType& U, WaveFunctionType other) {
  if (ElementCount(other) == 0) return;
  WaveFunctionMultiply(other, 0, 0);
  WaveFunctionAddUnionBasis(U, other);
}

bool CloseUnder(const OperatorType& H, const DeterminantRestrictionType& R, std::uint32_t most,
                WaveFunctionType& U) {
  if (ElementCount(U) == 0) return false;
  const CompiledOperator compiled = CompileOperator(H, &R, ElementCount(U));
  for (std::uint32_t before = 0; before != ElementCount(U);) {
    if (ElementCount(U) > most) return false;
    before = ElementCount(U);
    AddBasis(U, OperatorPsi(compiled, U));
  }
  return true;
}

}  // namespace fermix
