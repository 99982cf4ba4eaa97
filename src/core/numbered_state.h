// States on a common numbering.
//
// The numbering is a determinant basis that only grows and holds all determinants met so far. A state on it
// lists the numbers of its elements, so that no hash is made and no key is read.
#pragma once

#include "core/wave_function.h"

namespace fermix {

using NumberedList = LargeVector<std::uint32_t>;

// A state on a numbering. Elements stand in the order in which they arose, each number once.
template <class T>
struct NumberedState {
  NumberedList number;
  LargeVector<T> value;
};

// psi on the numbering, which takes up what it lacks. psi must be real when T is.
template <class T>
NumberedState<T> NumberState(DeterminantBasis& numbering, const WaveFunctionType& psi);

// x on a basis of its own, its elements in their order.
template <class T>
WaveFunctionType StateOfNumbers(const DeterminantBasis& numbering, const NumberedState<T>& x);

}  // namespace fermix
