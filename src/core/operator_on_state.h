// The product of an operator with a state: everything else waits for it.
//
// The order of results is part of the interface: element by element of the state, length by length and term
// by term of the operator, in batches of 128. Values that cancel stay as elements. All throw bad_alloc after
// lines that say where, and then leave their arguments as they were. Operator and state must have one space
// (asserted).
#pragma once

#include "core/compiled_operator.h"
#include "core/operator.h"
#include "core/wave_function.h"

namespace fermix {

// O psi on a new basis, which takes NBitsKey from psi. Restrictions of the operator, if it has any, filter
// the determinants of the result.
WaveFunctionType OperatorPsi(const OperatorType& O, const WaveFunctionType& psi);
// The same with explicit restrictions instead.
WaveFunctionType OperatorPsiRestricted(const OperatorType& O, const WaveFunctionType& psi,
                                       const DeterminantRestrictionType& R);
// The same with an operator that was compiled once, with the restrictions it was compiled for.
WaveFunctionType OperatorPsi(const CompiledOperator& O, const WaveFunctionType& psi);

// Opsi = O psi inside the basis that Opsi has; what falls outside is dropped. Opsi takes the kind of the
// result.
void OperatorPsiConserveBasisPreAllocated(const OperatorType& O, const WaveFunctionType& psi,
                                          WaveFunctionType& Opsi);
void OperatorPsiConserveBasisPreAllocated(const CompiledOperator& O, const WaveFunctionType& psi,
                                          WaveFunctionType& Opsi);

// The same for a single determinant of coefficient 1. Status 1 after a line when O is not real and Opsi is.
[[nodiscard]] int OperatorDeterminantPreAllocated(const CompiledOperator& O, const KeyWord* key,
                                                  WaveFunctionType& Opsi);

// O applied to each of several states on one basis. The result's basis is the image of the first plus the
// first's own basis; the others contribute inside it. Restrictions as in OperatorPsi; R replaces the
// operator's own if not null.
std::vector<WaveFunctionType> BlockOperatorPsiSerial(const OperatorType& O,
                                                     const std::vector<WaveFunctionType>& psi,
                                                     const DeterminantRestrictionType* R = nullptr);

}  // namespace fermix
