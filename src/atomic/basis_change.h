// Matrices between the one-particle bases of a shell: spherical (Y), tesseral (Z) and cubic (K) harmonics,
// and the relativistic basis jjz.
//
// Row r of a matrix is the new basis function r on the old ones: K = M Y. All are unitary. Without spin, rows
// and columns of Y and Z run over m = -l .. l, those of K over the positions of its list. With spin they are
// spin-orbitals 2 (m + l) + s, s = 0 for spin down, 1 for up. The basis jjz holds the states of j = l - 1/2,
// then those of j = l + 1/2, each by rising jz.
#pragma once

#include <string>
#include <vector>

#include "linalg/compact_matrix.h"

namespace fermix {

// The multiplicity counts spin-orbitals, 2 (2l + 1), also where the matrix is without spin (addSpin false). A
// number of another form, or above 14 where K is involved, prints a line and gives an empty matrix.
CompactMatrixType YToKMatrix(int multiplicity, bool addSpin);  // complex
CompactMatrixType ZToKMatrix(int multiplicity, bool addSpin);  // real
CompactMatrixType YToZMatrix(int multiplicity, bool addSpin);  // complex
// Real, always with spin: addSpin false only prints a line.
CompactMatrixType YToJJzMatrix(int multiplicity, bool addSpin);

using ShellMatrix = CompactMatrixType (*)(int multiplicity, bool addSpin);

// The matrices of shells along the diagonal, in their order; empty when that of one shell is. Throws
// length_error beyond 32768 orbitals.
CompactMatrixType LargeRotationMatrix(const std::vector<int>& multiplicities, ShellMatrix matrix,
                                      bool addSpin);

// Blocks along the diagonal, real when all blocks are.
CompactMatrixType BlockDiagonalMatrix(const std::vector<CompactMatrixType>& blocks);

}  // namespace fermix
