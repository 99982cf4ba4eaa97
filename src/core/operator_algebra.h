// Operators as algebraic objects: products, transposes, scaling, exponents.
//
// Every routine that orders takes the predicate that decides what is in order (core/determinant.h). All
// results are all or nothing when memory runs out: bad_alloc after a line.
#pragma once

#include "core/normal_order.h"
#include "core/operator.h"

namespace fermix {

// A B in normal order. A mode 'N' takes the factor as it stands, 'D' its conjugate transpose.
OperatorType OperatorMultiply2NormalOrder(const OperatorType& A, const OperatorType& B, char Aset, char Bset,
                                          OrderPredicate order);

OperatorType OperatorTransposeNormalOrder(const OperatorType& O, OrderPredicate order);
OperatorType OperatorConjugateTransposeNormalOrder(const OperatorType& O, OrderPredicate order);
// Flips the sign of every imaginary part; strings stay.
void OperatorComplexConjugate(OperatorType& O);

void OperatorScale(OperatorType& O, Complex16 factor);

// Sum of the number-operator coefficients of the listed orbitals, over their count; 0 for an empty list.
Complex16 OperatorTraceAverage(const OperatorType& O, const std::vector<std::uint32_t>& indices);

// exp(factor O) for a Hermitian O of at most one-particle form, exactly: a product over its eigenorbitals, of
// which those with the factor 1 are left out. The number of terms doubles with each of the others.
// Status 1 after a line that says why O is refused, or that the result is not finite; it is then left alone.
[[nodiscard]] int HermitianOperatorNormalOrderExponent(const OperatorType& O, Complex16 factor,
                                                       OperatorType& result, OrderPredicate order);

}  // namespace fermix
