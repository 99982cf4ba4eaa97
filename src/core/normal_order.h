// Normal order: bringing ladder strings to a chosen order, with all the contraction terms that this leaves.
//
// Every routine takes the predicate that decides what is in order (core/determinant.h).
#pragma once

#include <cmath>

#include "core/operator.h"
#include "core/space_check.h"

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
// The same by the kind of value. The first `sorted` elements are known to be in order.
void AddNormalOrder(OperatorType& O, const LadderIndex* lader, std::uint32_t length, double value,
                    OrderPredicate order, std::uint32_t sorted = 1);
void AddNormalOrder(OperatorType& O, const LadderIndex* lader, std::uint32_t length, Complex16 value,
                    OrderPredicate order, std::uint32_t sorted = 1);
// How many elements from position 0 on are in order; at least 1.
std::uint32_t SortedLength(const LadderIndex* lader, std::uint32_t length, std::uint32_t NFermion,
                           OrderPredicate order);

OperatorType NormalOrderOperator(const OperatorType& O, OrderPredicate order);

// O += factor * Other, where add(string, length, value) adds a term to O. Values are real where the factor
// and both tables are, else complex, and the table of O is made so first. All or nothing when memory runs
// out.
template <class Add>
void AddScaledTerms(OperatorType& O, const OperatorType& Other, Complex16 factor, Add&& add) {
  if (&O == &Other) return AddScaledTerms(O, OperatorType(Other), factor, add);
  RequireSameSpace(O.layout, "Operator", Other.layout, "the other operator");
  OperatorAllOrNothing(O, [&] {
    OperatorCreateTablesOf(O, Other);
    for (std::uint32_t length = 0; length <= MaxLength(Other); ++length) {
      const bool real = !(std::fabs(factor.im) > NumericalZero) && !QComplexTable(O.l[length]) &&
                        !QComplexTable(Other.l[length]);
      if (!real) static_cast<void>(MakeRealOperatorFixedLengthComplex(O, length));
      ForEachTermOf(Other.l[length], length, [&](const LadderIndex* lader, std::uint32_t, auto value) {
        if (real) return add(lader, length, Re(value) * factor.re);
        add(lader, length, value * factor);
      });
    }
  });
}

// As OperatorAdd, each term of Other normal ordered.
void OperatorAddNormalOrder(OperatorType& O, const OperatorType& Other, Complex16 factor,
                            OrderPredicate order);

}  // namespace fermix
