#include "linalg/eigen_factors.h"

#include <algorithm>
#include <cassert>
#include <cmath>

#include "host/base/status.h"

namespace fermix {

namespace {

// A factor for elements whose squares are out of range, as the drivers for eigensystems have it: a power of
// two, so that no digit is lost.
double SafeFactor(const ElementList& elements) {
  constexpr double Largest = 0x1p+480, Smallest = 0x1p-480;
  const double size = std::visit(
      [](const auto& data) {
        double largest = 0;
        for (const auto& x : data) largest = std::max({largest, std::fabs(Re(x)), std::fabs(Im(x))});
        return largest;
      },
      elements);
  if (size == 0 || (size > Smallest && size < Largest)) return 1;
  return std::ldexp(1.0, std::clamp(-std::ilogb(size), -1000, 1000));
}

void Scale(std::vector<double>& x, double factor) {
  for (double& element : x) element *= factor;
}

// X Q^T as the library sees it, that is Q X, or Q^H X, for rows of columns side by side.
template <bool adjoint>
CompactMatrixType TimesUnitary(const ChainForm& F, CompactMatrixType X) {
  assert(X.Ni == F.T.b.size());
  if (X.Ni == 0 || X.Nj == 0) return X;
  if (F.Q.index() == 1) MakeCompactRealMatrixComplex(X);
  std::visit(
      [&](const auto& Q, auto& data) {
        using R = typename std::decay_t<decltype(Q.vectors)>::value_type;
        using T = typename std::decay_t<decltype(data)>::value_type;
        const int columns = BlasSize(X.Nj);
        if constexpr (std::is_same_v<R, T>)
          TimesQ(Q, !adjoint, columns, data.data());
        else if constexpr (IsComplex<T>)  // a real Q acts on both parts alike
          TimesQ(Q, !adjoint, BlasSize(2 * std::uint64_t{X.Nj}), &data[0].re);
      },
      F.Q, X.Data);
  return X;
}

}  // namespace

int CompactMatrixToChainForm(const CompactMatrixType& A, ChainForm& F) {
  if (A.Ni != A.Nj) return Fail("CompactMatrixEigensystem called with non-square matrix\n");
  if (!QFinite(A)) return Fail("CompactMatrixEigensystem called with a matrix that is not finite\n");
  ChainForm form{InitTriDiagonalMatrix(A.Ni), {}};
  form.T.name = A.Name;
  const double factor = SafeFactor(A.Data);
  CompactMatrixType scaled;
  if (factor != 1) CompactMatrixScale(scaled = A, factor);
  if (A.Ni > 0)
    std::visit(
        [&](const auto& data) {
          form.Q = Tridiagonalize(BlasSize(A.Ni), data.data(), form.T.a.data() + 1, form.T.b.data() + 1);
        },
        factor == 1 ? A.Data : scaled.Data);
  if (factor != 1) {
    Scale(form.T.a, 1 / factor);
    Scale(form.T.b, 1 / factor);
    if (A.Ni > 0) form.T.b[0] = 1;
  }
  F = std::move(form);
  return 0;
}

CompactMatrixType FromChainBasis(const ChainForm& F, CompactMatrixType X) {
  return TimesUnitary<false>(F, std::move(X));
}

CompactMatrixType ToChainBasis(const ChainForm& F, CompactMatrixType X) {
  return TimesUnitary<true>(F, std::move(X));
}

int ChainResolvent(const TriDiagonalMatrixType& T, Complex16 z, std::vector<Complex16>& x) {
  const std::size_t n = ChainLength(T);
  if (n == 0) return 0;
  std::vector<Complex16> diagonal(n), lower(n), upper(n);
  for (std::size_t k = 0; k < n; ++k) {
    diagonal[k] = z - T.a[k + 1];
    if (k > 0) lower[k - 1] = upper[k - 1] = -T.b[k];
  }
  return Gtsv(BlasSize(n), lower.data(), diagonal.data(), upper.data(), x.data());
}

int CompactMatrixEigenFactors(const CompactMatrixType& A, EigenFactors& F) {
  EigenFactors factors;
  if (const int status = CompactMatrixToChainForm(A, factors.chain)) return status;
  if (const int status = TriDiagonalMatrixToEigensystem(factors.chain.T, factors.Z, factors.e)) return status;
  F = std::move(factors);
  return 0;
}

CompactMatrixType EigenComponents(const EigenFactors& F, CompactMatrixType X) {
  CompactMatrixType components;
  const int status = CompactMatrixMultiply('N', 'N', F.Z, ToChainBasis(F.chain, std::move(X)), components);
  assert(status == 0);
  static_cast<void>(status);
  return components;
}

CompactMatrixType EigenvectorsOfFactors(EigenFactors F, std::uint32_t N) {
  ResizeCompactMatrix(F.Z, N, F.Z.Nj);
  CompactMatrixTranspose(F.Z);
  CompactMatrixType V = FromChainBasis(F.chain, std::move(F.Z));
  CompactMatrixTranspose(V);
  return V;
}

int CompactMatrixLowestEigenvectors(const CompactMatrixType& A, std::uint32_t N, CompactMatrixType& V,
                                    std::vector<double>& values) {
  // Where most of the eigenvectors are wanted, or the matrix is small, the factors gain nothing.
  constexpr std::uint32_t SmallMatrix = 64;
  N = std::min(N, A.Ni);
  if (A.Ni <= SmallMatrix || N > A.Ni / 2) {
    if (const int status = CompactMatrixEigensystem(A, V, values)) return status;
    ResizeCompactMatrix(V, N, A.Ni);
    return 0;
  }
  EigenFactors F;
  if (const int status = CompactMatrixEigenFactors(A, F)) return status;
  values = F.e;
  V = EigenvectorsOfFactors(std::move(F), N);
  return 0;
}

}  // namespace fermix
