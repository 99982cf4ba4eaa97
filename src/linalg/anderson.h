// Scalar response functions as a star: one level that carries the response, coupled to a bath of others; and
// the ways between stars, chains and poles.
//
//     star:   a2   a3 ... aN          chain:   a1 -b1- a2 -b2- a3 ... aN
//              \b1 |b2 /bN-1
//                  a1
//
// All results are written only when the status is 0. Status 1 comes after a line: elements that are not
// finite, or LAPACK fails.
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

// G at the complex energy z.
Complex16 ResponseAt(const AndersonMatrixType& M, Complex16 z);

bool QFinite(const AndersonMatrixType& M);

// Sorts the levels 2 .. N by energy, ascending, with their couplings. Throws bad_alloc after a line.
void OrderAndersonMatrix(AndersonMatrixType& M);

// The levels 1 .. N as a real matrix, with A0, B0 and Mu of the function; B0 is 0 if there is no level.
CompactMatrixType AndersonMatrixToCompactMatrix(const AndersonMatrixType& M);

// The star that the Hermitian A becomes when all but its first basis state are diagonalised: as many levels
// as A has rows, couplings not negative, a[0], b[0] and mu from A0, B0 and Mu.
[[nodiscard]] int CompactMatrixToAndersonMatrix(const CompactMatrixType& A, AndersonMatrixType& M);

// The chain R of at most length levels that has the same first moments: the same function if length reaches
// the number of levels. It comes out shorter when the Krylov space of the corner closes before. The rows of T
// are the Lanczos vectors, the basis in which the star is the chain; T may be null. Lanczos with full
// reorthogonalisation; all vectors are kept.
[[nodiscard]] int AndersonMatrixToTriDiagonalMatrixPlusT(const AndersonMatrixType& M, CompactMatrixType* T,
                                                         TriDiagonalMatrixType& R, std::uint32_t length);
[[nodiscard]] int AndersonMatrixToTriDiagonalMatrix(const AndersonMatrixType& M, TriDiagonalMatrixType& R,
                                                    std::uint32_t length);

// The same for poles: a[0] is their constant, b[0] the root of the sum of the magnitudes of their weights.
[[nodiscard]] int ListOfPolesToTridiagonalMatrix(const ListOfPoles& P, TriDiagonalMatrixType& R,
                                                 std::uint32_t length);

// The star whose bath is the eigensystem of the levels 2 .. N of the chain.
[[nodiscard]] int TriDiagonalMatrixToAndersonMatrix(const TriDiagonalMatrixType& T, AndersonMatrixType& M);
// By the chain of all poles.
[[nodiscard]] int ListOfPolesToAndersonMatrix(const ListOfPoles& P, AndersonMatrixType& M);

// Eigenvalues, ascending, and eigenvectors as the rows of V, of the space that the corner reaches. Levels
// that don't couple, and all but one combination of levels of one energy, have no part in the response and
// are left out.
[[nodiscard]] int AndersonMatrixToEigensystem(const AndersonMatrixType& M, CompactMatrixType& V,
                                              std::vector<double>& e);

// Poles at these eigenvalues.
[[nodiscard]] int AndersonMatrixToListOfPoles(const AndersonMatrixType& M, ListOfPoles& P);

}  // namespace fermix
