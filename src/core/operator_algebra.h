// Operators as algebraic objects: normal order, sums, products, transposes, exponents, changes of basis.
//
// Every routine that orders takes the predicate that decides what is in order (core/determinant.h). All
// results are all or nothing when memory runs out: bad_alloc after a line.
#pragma once

#include "core/operator.h"
#include "core/wave_function.h"
#include "linalg/compact_matrix.h"

namespace fermix {

// Adds one term in normal order, with all its contractions.
void OperatorAddLaderNormalOrder(OperatorType& O, const LadderIndex* lader, std::uint32_t length, double re,
                                 double im, OrderPredicate order);
inline void OperatorAddLaderNormalOrder(OperatorType& O, const std::vector<LadderIndex>& lader,
                                        Complex16 value, OrderPredicate order = QDetNotOrderedFcFaBcBa) {
  OperatorAddLaderNormalOrder(O, lader.data(), static_cast<std::uint32_t>(lader.size()), value.re, value.im,
                              order);
}

OperatorType NormalOrderOperator(const OperatorType& O, OrderPredicate order);

// O += factor * Other, each term of Other normal ordered.
void OperatorAddNormalOrder(OperatorType& O, const OperatorType& Other, Complex16 factor,
                            OrderPredicate order);

// A B in normal order. A mode 'N' takes the factor as it stands, 'D' its conjugate transpose.
OperatorType OperatorMultiply2NormalOrder(const OperatorType& A, const OperatorType& B, char Aset, char Bset,
                                          OrderPredicate order);

OperatorType OperatorTransposeNormalOrder(const OperatorType& O, OrderPredicate order);
OperatorType OperatorConjugateTransposeNormalOrder(const OperatorType& O, OrderPredicate order);
// Flips the sign of every imaginary part; strings stay.
void OperatorComplexConjugate(OperatorType& O);

void OperatorScale(OperatorType& O, Complex16 factor);

// Sum of the number-operator coefficients of the listed orbitals, over their count.
Complex16 OperatorTraceAverage(const OperatorType& O, const std::vector<std::uint32_t>& indices);

// exp(factor O) for a Hermitian O of at most one-particle form, exactly: a product over its eigenorbitals.
// Status 1 after a line that says why O is refused.
[[nodiscard]] int HermitianOperatorNormalOrderExponent(const OperatorType& O, Complex16 factor,
                                                       OperatorType& result, OrderPredicate order);

// O += Source in the one-particle basis changed by M (NF + NB square): annihilator i becomes sum_j M[j][i] j,
// a creator takes conj(M[j][i]).
void MappedOperatorAddNormalOrder(OperatorType& O, const OperatorType& Source, const CompactMatrixType& M,
                                  OrderPredicate order);

// Psi += Source in the changed basis: the creation operators of a determinant take conj(M), as those of an
// operator do. Fermions only.
void MappedWaveFunctionAdd(WaveFunctionType& Psi, const WaveFunctionType& Source, const CompactMatrixType& M);

}  // namespace fermix
