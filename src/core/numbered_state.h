// States on a common numbering: sums, inner products and truncations without keys.
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

// Scratch for sums and inner products: the place of each number in a state, counted from 1.
using NumberedPlaces = LargeVector<std::uint32_t>;

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
