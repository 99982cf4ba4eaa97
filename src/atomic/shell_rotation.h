// Rotations as matrices: on points, and on the spherical harmonics of a shell (Wigner's D matrices).
#pragma once

#include "linalg/compact_matrix.h"

namespace fermix {

// The real 3 by 3 matrix R that turns points, r -> R r, by an angle around an axis of any length but 0.
CompactMatrixType RotationOfPoints(const double (&axis)[3], double angle);

// D with Y(l, m)(R^-1 r) = sum_m' Y(l, m')(r) D(m', m), rows and columns over m = -l .. l, for any orthogonal
// R: -R differs from R by the parity of l.
CompactMatrixType RotationOfHarmonics(const CompactMatrixType& R, int l);

}  // namespace fermix
