#include "atomic/shell_rotation.h"

#include <cassert>
#include <cmath>
#include <cstdlib>

#include "atomic/angular_momentum.h"
#include "atomic/basis_change.h"

namespace fermix {

namespace {

// <l-1, m-q; 1, q | l, m> but for a sign that depends on l only, and so drops out of products of two.
double Coupling(int l, int m, int q) {
  const double value = std::sqrt(2.0 * l + 1) * ThreeJSymbol(l - 1, m - q, 1, q, l, -m);
  return m % 2 == 0 ? value : -value;
}

// D(l) from D(l-1) and D(1): Y(l) is the part of highest momentum in the product of Y(l-1) and Y(1).
CompactMatrixType NextRotation(const CompactMatrixType& D, const CompactMatrixType& D1) {
  const int l = static_cast<int>(D.Ni + 1) / 2;
  CompactMatrixType next = InitCompactMatrix(2 * l + 1, 2 * l + 1, true);
  auto& data = std::get<std::vector<Complex16>>(next.Data);
  for (int q1 = -1; q1 <= 1; ++q1)
    for (int q2 = -1; q2 <= 1; ++q2) {
      const Complex16 d1 = CompactMatrixElement(D1, q1 + 1, q2 + 1);
      for (int m1 = 1 - l; m1 < l; ++m1)
        for (int m2 = 1 - l; m2 < l; ++m2)
          data[(m1 + q1 + l) * (2 * l + 1) + m2 + q2 + l] += Coupling(l, m1 + q1, q1) *
                                                             Coupling(l, m2 + q2, q2) * d1 *
                                                             CompactMatrixElement(D, m1 + l - 1, m2 + l - 1);
    }
  return next;
}

}  // namespace

// Rodrigues' formula.
CompactMatrixType RotationOfPoints(const double (&axis)[3], double angle) {
  const double length = std::hypot(axis[0], axis[1], axis[2]);
  const double n[] = {axis[0] / length, axis[1] / length, axis[2] / length};
  const double cosine = std::cos(angle), sine = std::sin(angle);
  CompactMatrixType R = InitCompactMatrix(3, 3, false);
  auto& data = std::get<std::vector<double>>(R.Data);
  for (int i = 0; i < 3; ++i) {
    const int j = (i + 1) % 3, k = (i + 2) % 3;
    data[3 * i + i] = cosine + (1 - cosine) * n[i] * n[i];
    data[3 * i + j] = (1 - cosine) * n[i] * n[j] - sine * n[k];
    data[3 * j + i] = (1 - cosine) * n[i] * n[j] + sine * n[k];
  }
  return R;
}

CompactMatrixType RotationOfHarmonics(const CompactMatrixType& R, int l) {
  CompactMatrixType toXYZ = YToKMatrix(6, false), D1 = R;
  CompactMatrixConjugate(toXYZ);
  [[maybe_unused]] const int status = TransformCompactMatrixInlinecT(D1, toXYZ);
  assert(status == 0);
  CompactMatrixType D = InitCompactIdentityMatrix(1, 1);
  for (int i = 1; i <= l; ++i) D = NextRotation(D, D1);
  return D;
}

}  // namespace fermix
