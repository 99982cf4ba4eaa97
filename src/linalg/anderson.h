// Scalar response functions as a star: one level that carries the response, coupled to a bath of others; and
// the way from stars and poles to chains.
//
//     star:   a2   a3 ... aN          chain:   a1 -b1- a2 -b2- a3 ... aN
//              \b1 |b2 /bN-1
//                  a1
#pragma once

#include "linalg/tridiagonal.h"

namespace fermix {

// G(w) = a[0] + b[0]^2 [(w - H)^-1]_00 with H the arrowhead of a[1] on the corner, a[2] .. a[N] on the rest
// of the diagonal, and b[1] .. b[N - 1] in the first row and column.
struct AndersonMatrixType {
  std::string name = "Matrix";
  std::vector<double> a = {0};  // N + 1 elements
  std::vector<double> b;        // N elements
  double mu = 0;
};

// The chain of at most length levels that has the same first moments: the same function if length reaches the
// number of levels. It comes out shorter when the Krylov space of the corner closes before. Lanczos with full
// reorthogonalisation; all vectors are kept.
TriDiagonalMatrixType AndersonMatrixToTriDiagonalMatrix(const AndersonMatrixType& M, std::uint32_t length);

// The same for poles: a[0] is their constant, b[0] the root of the sum of the magnitudes of their weights.
TriDiagonalMatrixType ListOfPolesToTridiagonalMatrix(const ListOfPoles& P, std::uint32_t length);

}  // namespace fermix
