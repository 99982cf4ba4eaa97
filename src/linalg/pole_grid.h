// Lists of poles on a grid that stays: sums, differences, and negative weights.
//
// The weight of a pole between two grid poles is shared between them, linearly in its distances, so that the
// sum and the first moment of all weights stay.
#pragma once

#include "linalg/poles.h"

namespace fermix {

// A += B with the poles of A as the grid; both in order. Constants add. A pole of B outside of the grid goes
// to the end pole, which moves to the centre of both, but not out of Emin .. Emax nor past its neighbour; a
// grid of one pole gets the sum of all weights and moves to their centre (to 0 if the sum is 0). Status 1
// after a line when A has no poles and B has, or a number is not finite.
[[nodiscard]] int AddToListOfPolesOnGridOrdered(ListOfPoles& A, const ListOfPoles& B, double Emin,
                                                double Emax);

// Leaves no negative weight in L, which is in order, as far as the sum of the weights allows. From mu
// outwards on both sides, a pole of negative weight takes what it lacks from its neighbours, so that the
// first moment stays as long as the inner one, which is not negative any more, has enough; the outer one,
// which may become negative, gives the rest. What an end of the list lacks then comes from the poles next to
// it. If the sum of all weights is negative it remains at the first pole, and all others are 0.
void MergeNegativeToNeighbourListOfPolesSorted(ListOfPoles& L);

// A -= B: the poles of B are taken from the poles of A, constants subtract. Poles of A at one energy become
// one, poles that nothing is left of go. Where B has more than A, what is missing is taken from the
// neighbours; if A as a whole has too little, the first weight is negative and a line warns of it. Status 1
// after a line when A has no poles and B has, or a number is not finite. A and B need not be in order, the
// result is.
[[nodiscard]] int SubtractListOfPoles(ListOfPoles& A, const ListOfPoles& B);

}  // namespace fermix
