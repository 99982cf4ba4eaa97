// From one list of orbitals to another: order, and non-relativistic against relativistic shells.
//
// Row r of a matrix is the new spin-orbital r on the old ones. The spin-orbitals of a list follow each other
// orbital by orbital, within a non-relativistic one by m and spin, within a relativistic one by rising jz.
#pragma once

#include "atomic/orbital_names.h"
#include "linalg/compact_matrix.h"

namespace fermix {

// From old to new; the smaller list is thought to go on with what it lacks, and rows or columns of that are
// cut off. An empty matrix after a line when names repeat or the lists don't name the same orbitals.
CompactMatrixType OrbitalRotationMatrix(const OrbitalNames& oldOrbitals, const OrbitalNames& newOrbitals);

// From non-relativistic orbitals to the same ones in the same order, each of which may be replaced by its one
// or two relativistic parts, in either order. Names that are equal in both lists give the identity. An empty
// matrix after a line when the lists don't match.
CompactMatrixType NonRelToRelRotationMatrix(const OrbitalNames& nonRel, const OrbitalNames& rel);

// From old to another order of the same names. Status 1 when the names differ or repeat, or one can't be
// read.
[[nodiscard]] int orbitalPermutationMatrix(CompactMatrixType& P, const OrbitalNames& from,
                                           const OrbitalNames& to, bool withSpin);

// Whether shells change their form: one list has orbitals that the other has not, and they are not all of one
// kind.
bool QChangeFromRelToNonRel(const OrbitalNames& a, const OrbitalNames& b);

}  // namespace fermix
