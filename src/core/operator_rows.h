// Remembered rows: an operator that is applied again and again to states on one common numbering.
//
// The numbering is a determinant basis that only grows and holds all determinants met so far. A state on it
// lists the numbers of its elements. What the operator makes of a determinant, its row, is worked out once
// and kept as entries (number, coefficient) in stored order; a product then needs no ladder and no hash, and
// sums, inner products and truncations are passes over arrays. An entry takes 12 bytes (20 if complex). Rows
// are kept up to a limit of memory; beyond it they are worked out each time.
#pragma once

#include <memory>

#include "core/compiled_operator.h"
#include "core/wave_function.h"

namespace fermix {

using NumberedList = LargeVector<std::uint32_t>;

// A state on a numbering. Elements stand in the order in which they arose, each number once.
template <class T>
struct NumberedState {
  NumberedList number;
  LargeVector<T> value;
};

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

// Scratch for sums and inner products: the place of each number in a state, counted from 1.
using NumberedPlaces = LargeVector<std::uint32_t>;

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
  std::vector<RowSlab<C>> slabs;     // full but for the last
  std::vector<std::uint32_t> rowOf;  // by number: its row, counted from 1; 0 if it has none
  std::uint32_t rows = 0;
  std::size_t bytes = 0;  // of full slabs
};

// O x: elements in the order in which the terms of O, applied one after the other to the elements of x, give
// them, as OperatorPsi has it. Terms that lead one determinant back to itself are summed before they are
// multiplied, so that values may differ from those of OperatorPsi by their rounding. Throws bad_alloc; the
// numbering may have grown then, sums are empty.
template <class C, class X, class T = decltype(C{} * X{})>
NumberedState<T> OperatorRowsMultiply(OperatorRows<C>& O, const NumberedState<X>& x, NumberedSums<T>& sums);

// psi += factor * other; elements that are new come behind the others, in the order of other. All or nothing
// when memory runs out. Between calls all places are 0.
template <class T>
void NumberedAddMultiplied(NumberedState<T>& psi, const NumberedState<T>& other, T factor,
                           NumberedPlaces& places);
// <a|b>, the bra conjugated.
template <class T>
T NumberedDotProduct(const NumberedState<T>& a, const NumberedState<T>& b, NumberedPlaces& places);
// Drops elements of magnitude at or below epsilon.
template <class T>
void NumberedTruncate(NumberedState<T>& psi, double epsilon);

// psi on the numbering, which takes up what it lacks; and back, as a state with a basis of its own. psi must
// be real when T is.
template <class T>
NumberedState<T> NumberState(DeterminantBasis& numbering, const WaveFunctionType& psi);
template <class T>
WaveFunctionType StateOfNumbers(const DeterminantBasis& numbering, const NumberedState<T>& x);

}  // namespace fermix
