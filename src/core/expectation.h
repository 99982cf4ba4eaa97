// Matrix elements of an operator between states, straight from the stored terms: no product state is built.
#pragma once

#include <vector>

#include "core/compiled_operator.h"
#include "core/wave_function.h"

namespace fermix {

// <psi| O |psi>. Terms that leave the state's own basis contribute nothing.
Complex16 PsiOperatorPsi(const OperatorType& O, const WaveFunctionType& psi);
// The real part, for an O that the caller knows to be Hermitian.
double PsiHermitianOperatorPsi(const OperatorType& O, const WaveFunctionType& psi);
// <psi| O^2 |psi> for a Hermitian O. Intermediate determinants may leave the basis; if R is not null they
// must fulfil it.
double PsiHermitianOperatorSqrPsi(const OperatorType& O, const WaveFunctionType& psi,
                                  const DeterminantRestrictionType* R = nullptr);
// <bra| O |ket>.
Complex16 PsiPrimeOperatorPsi(const OperatorType& O, const WaveFunctionType& bra,
                              const WaveFunctionType& ket);

// For many elements of one operator, it is compiled once for all kets; one walk over a ket serves all bras,
// and one look-up all that share a basis or have equal ones.
CompiledOperator CompileForElements(const OperatorType& O, const std::vector<const WaveFunctionType*>& kets);
std::vector<Complex16> PsiPrimeOperatorPsi(const CompiledOperator& O,
                                           const std::vector<const WaveFunctionType*>& bras,
                                           const WaveFunctionType& ket);

}  // namespace fermix
