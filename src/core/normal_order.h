// Normal order: bringing ladder strings to a chosen order, with all the contraction terms that this leaves.
//
// Every routine takes the predicate that decides what is in order (core/determinant.h).
#pragma once

#include "core/operator.h"

namespace fermix {

// Room for a ladder string: on the stack up to a length that factories and products of two-particle operators
// do not exceed, on the heap above.
class WorkString {
 public:
  explicit WorkString(std::uint32_t length) {
    if (length > StackLength) heap_.resize(length);
  }
  LadderIndex* data() { return heap_.empty() ? stack_ : heap_.data(); }

 private:
  static constexpr std::uint32_t StackLength = 32;
  LadderIndex stack_[StackLength];
  std::vector<LadderIndex> heap_;
};

// Adds one term in normal order, with all its contractions; tables that are missing are created. A bad_alloc
// may leave some contraction terms in O: whoever adds to an operator that must survive it uses
// OperatorAllOrNothing.
//
// As OperatorAddLader chooses, a real table stays real when |im| is a numerical zero.
void OperatorAddLaderNormalOrder(OperatorType& O, const LadderIndex* lader, std::uint32_t length, double re,
                                 double im, OrderPredicate order);
// Real to a real or complex table; complex, which makes every table complex that it adds to.
void RealOperatorAddLaderNormalOrder(OperatorType& O, const LadderIndex* lader, std::uint32_t length,
                                     double value, OrderPredicate order);
void ComplexOperatorAddLaderNormalOrder(OperatorType& O, const LadderIndex* lader, std::uint32_t length,
                                        Complex16 value, OrderPredicate order);

inline void OperatorAddLaderNormalOrder(OperatorType& O, const std::vector<LadderIndex>& lader,
                                        Complex16 value, OrderPredicate order = QDetNotOrderedFcFaBcBa) {
  OperatorAddLaderNormalOrder(O, lader.data(), static_cast<std::uint32_t>(lader.size()), value.re, value.im,
                              order);
}
// The same by the kind of value: real or complex as above.
inline void AddNormalOrder(OperatorType& O, const LadderIndex* lader, std::uint32_t length, double value,
                           OrderPredicate order) {
  RealOperatorAddLaderNormalOrder(O, lader, length, value, order);
}
inline void AddNormalOrder(OperatorType& O, const LadderIndex* lader, std::uint32_t length, Complex16 value,
                           OrderPredicate order) {
  ComplexOperatorAddLaderNormalOrder(O, lader, length, value, order);
}

OperatorType NormalOrderOperator(const OperatorType& O, OrderPredicate order);

// O += factor * Other, each term of Other normal ordered. All or nothing when memory runs out.
void OperatorAddNormalOrder(OperatorType& O, const OperatorType& Other, Complex16 factor,
                            OrderPredicate order);

}  // namespace fermix
