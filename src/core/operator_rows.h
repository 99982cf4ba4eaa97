// Remembered rows: an operator that is applied again and again to states on one common numbering.
//
// What the operator makes of a determinant of the numbering, its row, is worked out once and kept as entries
// (number, coefficient) in stored order; a product then needs no ladder and no hash. An entry takes 12 bytes
// (20 if complex). Rows are kept up to a limit of memory; beyond it they are worked out each time.
#pragma once

#include <functional>
#include <memory>

#include "core/compiled_operator.h"
#include "core/numbered_state.h"
#include "host/base/status.h"

namespace fermix {

// Rows one behind the other: row r has the entries start[r] .. start[r + 1] - 1.
template <class T>
struct RowSlab {
  std::vector<std::size_t> start{0};
  LargeVector<std::uint32_t> target;
  LargeVector<T> value;
};

// Sums by number. Between calls all are zero and none is met.
template <class T>
struct NumberedSums {
  LargeVector<T> value;
  LargeVector<std::uint8_t> met;     // 1 for a number that is in order
  LargeVector<std::uint32_t> order;  // numbers in the order in which they were met
  std::uint32_t count = 0;
};

// C is double for a real operator and Complex16 for the others.
template <class C>
struct OperatorRows {
  static constexpr std::uint32_t RowsPerSlab = 4096;

  // R: restrictions of the results; null takes the operator's own. limit: bytes for rows. Throws bad_alloc,
  // and invalid_argument when the spaces differ.
  OperatorRows(const OperatorType& O, const DeterminantRestrictionType* R,
               std::shared_ptr<DeterminantBasis> numbering, std::size_t limit);

  CompiledOperator compiled;
  std::shared_ptr<DeterminantBasis> numbering;
  std::size_t limit;
  std::vector<RowSlab<C>> slabs;        // full but for the last
  std::vector<std::uint32_t> rowOf;     // by number: its row, counted from 1; 0 if it has none
  std::vector<std::uint32_t> numberOf;  // by row, counted from 0: its number
  std::uint32_t rows = 0;
  std::size_t bytes = 0;     // of full slabs
  std::uint32_t within = 0;  // so many numbers, from 1 on, are known to fulfil the restrictions
};

// Makes the rows of these numbers, those that are missing, as far as there is room. Throws bad_alloc.
template <class C>
void RememberRows(OperatorRows<C>& O, const std::vector<std::uint32_t>& numbers);

// Makes rows of these numbers, some at a time, that are forgotten after use(rows, their numbers). The
// numbering may grow before each call. Throws bad_alloc.
template <class C>
void WorkOutRows(OperatorRows<C>& O, const std::vector<std::uint32_t>& numbers,
                 const std::function<void(const RowSlab<C>&, const std::uint32_t*)>& use);

// Forgets an eighth of the rows, and that there was room for more: they and new ones are worked out each
// time. False when there are none.
template <class C>
bool ForgetRows(OperatorRows<C>& O);

// Runs step, which can be repeated; rows make room for it. Throws bad_alloc when there are no more.
template <class C, class Step>
void OrForgetRows(OperatorRows<C>& O, Step&& step) {
  while (!FitsInMemory(step))
    if (!ForgetRows(O)) throw std::bad_alloc();
}

// O x: elements in the order in which the terms of O, applied one after the other to the elements of x, give
// them, as OperatorPsi has it. Terms that lead one determinant back to itself are summed before they are
// multiplied, so that values may differ from those of OperatorPsi by their rounding. Throws bad_alloc; the
// numbering may have grown then, sums are empty.
template <class C, class X, class T = decltype(C{} * X{})>
NumberedState<T> OperatorRowsMultiply(OperatorRows<C>& O, const NumberedState<X>& x, NumberedSums<T>& sums);

}  // namespace fermix
