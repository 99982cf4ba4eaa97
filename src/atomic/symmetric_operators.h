// The operators on the orbitals of a shell that a point group leaves as they are.
//
// Where each representation occurs once in the shell they are the projectors on the representations. Where
// one occurs twice, its functions fall into two sets, each of which the group maps on itself, and there are
// three operators: the projectors on both sets, and the exchange of the two. All are told by energies: those
// of the representations, and the matrix element between two sets.
#pragma once

#include <string>
#include <vector>

#include "atomic/point_groups.h"
#include "linalg/compact_matrix.h"

namespace fermix {

struct SymmetricOperator {
  std::string energy;        // what its factor is, for the user: "Eg", "Eu(2)" or "<Eu(1)|V|Eu(2)>"
  CompactMatrixType matrix;  // on Y(l, m), Hermitian; eigenvalues are 0 and 1, for an exchange also -1
};

// All that the group has for the shell l = 0 .. 3, in the order of its representations. Of one that occurs
// repeatedly first come the sets of functions, in the order in which these stand in the rows of YToKMatrix,
// then the elements between two sets.
//
// Rows that the group mixes (those of C3 along (111)) are projected on the representation; a set begins at
// the first row that is not in those before. With cubeAxis the rows are those of the turned cube.
//
// The sign of an element: it is that of <f1|V|f2>, f1 being the projection of the row at which the first set
// begins on this set, and f2 that of the first row on the second set for which it does not vanish.
std::vector<SymmetricOperator> SymmetricOperators(const PointGroup& group, int l);

}  // namespace fermix
