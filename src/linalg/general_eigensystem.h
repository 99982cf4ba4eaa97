// Eigensystem of a general matrix: left and right eigenvectors and complex eigenvalues.
//
// Rows are eigenvectors: A VR[k]^T = values[k] VR[k]^T and conj(VL[k]) A = values[k] conj(VL[k]), normalised
// to VR[k] . conj(VL[k]) = 1, so that A = sum_k VR[k]^T values[k] conj(VL[k]) where A is diagonalisable and
// the vectors of equal eigenvalues are biorthonormal too.
#pragma once

#include <vector>

#include "linalg/compact_matrix.h"

namespace fermix {

// Values ascend by their real parts; of a real matrix the partner with the positive imaginary part comes
// first. VL and VR are complex. Status 1 after printed lines when A is not square, not finite, or the driver
// fails.
[[nodiscard]] int NonHermitianCompactMatrixEigensystem(const CompactMatrixType& A, CompactMatrixType& VL,
                                                       CompactMatrixType& VR, std::vector<Complex16>& values);

// Sorts values and rows by the real part of the value, ascending; equal ones keep their order. Status 1 after
// a line when the numbers of rows differ.
[[nodiscard]] int NonHermitianEigensystemOrder(std::vector<Complex16>& values, CompactMatrixType& VL,
                                               CompactMatrixType& VR);

// Scales and turns the rows k of both matrices alike so that sum_j conj(VL[k][j]) VR[k][j] = 1. Rows whose
// product vanishes, as those of a defective matrix, become zero. Both become complex. Status 1 after a line
// when the shapes differ.
[[nodiscard]] int CompactMatrixLeftRightNormalize(CompactMatrixType& VL, CompactMatrixType& VR);

}  // namespace fermix
