// Functions of square matrices: powers, exponentials, roots, and the split by the sign of eigenvalues.
//
// The source stays unchanged; a result is written only when the status is 0.
#pragma once

#include <cstdint>
#include <vector>

#include "linalg/compact_matrix.h"

namespace fermix {

// R = A^n by repeated squaring; A^0 is the real identity. Carries A0, B0 and Mu of A. Status 1 after a line
// when A is not square, or singular where n is negative.
[[nodiscard]] int CompactMatrixPow(const CompactMatrixType& A, CompactMatrixType& R, std::int64_t n);

// R = exp(A) for a Hermitian A. Status 1 after a line when the eigensystem fails.
[[nodiscard]] int HermitianCompactMatrixExp(const CompactMatrixType& A, CompactMatrixType& R);
// The same for any A; real if A is. Through the eigensystem where that is well conditioned, otherwise by
// scaling and squaring.
[[nodiscard]] int NonHermitianCompactMatrixExp(const CompactMatrixType& A, CompactMatrixType& R);

// R = the root of a Hermitian, positive semidefinite A. Eigenvalues below 0 count as 0; those that are more
// than rounding are reported by a line each. Status: the number of reported eigenvalues (R is written all the
// same), -1 when the eigensystem fails.
[[nodiscard]] int CompactMatrixSqrt(const CompactMatrixType& A, CompactMatrixType& R);

// How many eigenvalues a Hermitian matrix has of each sign.
struct EigenvalueSigns {
  std::uint32_t positive = 0, negative = 0, zero = 0;
};
// A = P + N for a Hermitian A, with P from the eigenvalues above 0 and N from those below; sum is the sum of
// the negative ones. Status 1 after a line when the eigensystem fails.
[[nodiscard]] int HermitianCompactMatrixToPosAndNeg(const CompactMatrixType& A, CompactMatrixType& P,
                                                    CompactMatrixType& N, EigenvalueSigns& counts,
                                                    double& sum);

}  // namespace fermix
