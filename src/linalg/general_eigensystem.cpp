#include "linalg/general_eigensystem.h"

#include <algorithm>
#include <numeric>

#include "host/base/status.h"
#include "linalg/blas.h"

namespace fermix {

namespace {

std::vector<Complex16>& ComplexElements(CompactMatrixType& m) {
  MakeCompactRealMatrixComplex(m);
  return std::get<1>(m.Data);
}

CompactMatrixType EigenvectorMatrix(const CompactMatrixType& A, const char* name) {
  CompactMatrixType V = InitCompactMatrix(A.Ni, A.Nj, true);
  V.Name = name;
  V.A0 = A.A0;
  V.B0 = A.B0;
  V.Mu = A.Mu;
  return V;
}

// Rows of m in the given order.
void PermuteRows(CompactMatrixType& m, const std::vector<std::size_t>& order) {
  std::visit(
      [&](auto& data) {
        std::decay_t<decltype(data)> sorted;
        sorted.reserve(data.size());
        for (const std::size_t k : order)
          sorted.insert(sorted.end(), data.begin() + static_cast<std::ptrdiff_t>(k * m.Nj),
                        data.begin() + static_cast<std::ptrdiff_t>((k + 1) * m.Nj));
        data = std::move(sorted);
      },
      m.Data);
}

}  // namespace

int NonHermitianCompactMatrixEigensystem(const CompactMatrixType& A, CompactMatrixType& VL,
                                         CompactMatrixType& VR, std::vector<Complex16>& values) {
  if (A.Ni != A.Nj) return Fail("NonHermitianCompactMatrixEigensystem called with non-square matrix\n");
  if (!QFinite(A))  // the drivers promise nothing then
    return Fail("NonHermitianCompactMatrixEigensystem called with a matrix that is not finite\n");
  CompactMatrixType left = EigenvectorMatrix(A, "Left Eigen vectors"),
                    right = EigenvectorMatrix(A, "Right Eigen vectors");
  std::vector<Complex16> eigenvalues(A.Ni);
  if (A.Ni > 0) {
    // The driver sees the transposed matrix, so that its right vectors are our left ones, conjugated.
    const int status = std::visit(
        [&](auto data) {
          const int info = Geev(BlasSize(A.Ni), data.data(), eigenvalues.data(),
                                ComplexElements(right).data(), ComplexElements(left).data());
          if (info == 0) return 0;
          return Fail("%s failed in NonHermitianCompactMatrixEigensystem with info value %i\n",
                      GeevName(data.data()), info);
        },
        A.Data.base());
    if (status) return status;
    if (!std::all_of(eigenvalues.begin(), eigenvalues.end(),
                     [](Complex16 z) { return std::isfinite(z.re) && std::isfinite(z.im); }))
      return Fail("Eigenvalues are not finite in NonHermitianCompactMatrixEigensystem\n");
    CompactMatrixConjugate(left);
    CompactMatrixConjugate(right);
    if (const int failed = CompactMatrixLeftRightNormalize(left, right)) return failed;
    if (const int failed = NonHermitianEigensystemOrder(eigenvalues, left, right)) return failed;
  }
  VL = std::move(left);
  VR = std::move(right);
  values = std::move(eigenvalues);
  return 0;
}

int NonHermitianEigensystemOrder(std::vector<Complex16>& values, CompactMatrixType& VL,
                                 CompactMatrixType& VR) {
  if (VL.Ni != VR.Ni || VL.Ni != values.size())
    return Fail("Number of rows for funL and funR need to be equal in NonHermitianEigensystemOrder\n");
  std::vector<std::size_t> order(values.size());
  std::iota(order.begin(), order.end(), 0);
  std::stable_sort(order.begin(), order.end(),
                   [&](std::size_t i, std::size_t j) { return values[i].re < values[j].re; });
  std::vector<Complex16> sorted;
  for (const std::size_t k : order) sorted.push_back(values[k]);
  PermuteRows(VL, order);
  PermuteRows(VR, order);
  values = std::move(sorted);
  return 0;
}

int CompactMatrixLeftRightNormalize(CompactMatrixType& VL, CompactMatrixType& VR) {
  if (VL.Ni != VR.Ni || VL.Nj != VR.Nj)
    return Fail(
        "Dimensions of matrices in CompactMatrixLeftRightNormalize not ok to calculate funL^* . funR^T (%i "
        "%i)(%i %i)\n",
        static_cast<int>(VL.Ni), static_cast<int>(VL.Nj), static_cast<int>(VR.Ni), static_cast<int>(VR.Nj));
  constexpr double vanishing = 2.220446049250313e-14;  // 100 DBL_EPSILON
  auto &left = ComplexElements(VL), &right = ComplexElements(VR);
  const std::size_t Nj = VL.Nj;
  for (std::size_t k = 0; k < VL.Ni; ++k) {
    Complex16 d = 0;
    for (std::size_t j = k * Nj; j < (k + 1) * Nj; ++j) d += Conj(left[j]) * right[j];
    const double r = std::sqrt(Abs(d)), half = std::atan2(d.im, d.re) / 2;
    const double scale = r < vanishing ? 0 : 1 / r;
    const Complex16 turn = scale * Complex16(std::cos(half), std::sin(half));
    for (std::size_t j = k * Nj; j < (k + 1) * Nj; ++j) {
      left[j] *= turn;
      right[j] *= Conj(turn);
    }
  }
  return 0;
}

}  // namespace fermix
