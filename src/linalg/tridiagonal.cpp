#include "linalg/tridiagonal.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdio>

#include "host/base/status.h"
#include "linalg/blas.h"
#include "linalg/response_parts.h"

namespace fermix {

TriDiagonalMatrixType InitTriDiagonalMatrix(std::uint32_t N) {
  TriDiagonalMatrixType M;
  OrSay("malloc for M->a failed in InitTriDiagonalMatrix\n", [&] { M.a.assign(std::size_t{N} + 1, 0); });
  OrSay("malloc for M->b failed in InitTriDiagonalMatrix\n", [&] { M.b.assign(N, 0); });
  if (N > 0) M.b[0] = 1;
  return M;
}

int CompactMatrixTriDiagonalize(const CompactMatrixType& A, CompactMatrixType* Q, TriDiagonalMatrixType& T) {
  if (A.Ni != A.Nj) return Fail("CompactMatrixTriDiagonalize called with non-square matrix\n");
  if (!QFinite(A)) return Fail("CompactMatrixTriDiagonalize called with a matrix that is not finite\n");
  CompactMatrixType basis = A;
  CompactMatrixConjugate(basis);  // the library sees the transposed matrix
  TriDiagonalMatrixType chain = InitTriDiagonalMatrix(A.Nj);
  chain.mu = A.Mu;
  chain.a[0] = A.A0;
  if (A.Nj > 0) {
    chain.b[0] = A.B0;
    std::visit(
        [&](auto& data) {
          auto reflectors =
              Tridiagonalize(BlasSize(A.Nj), data.data(), chain.a.data() + 1, chain.b.data() + 1);
          if (Q) FormQ(reflectors);
          reflectors.vectors.resize(data.size());
          data = std::move(reflectors.vectors);
        },
        basis.Data);
  }
  T = std::move(chain);
  if (Q) *Q = std::move(basis);
  return 0;
}

Complex16 ResponseAt(const TriDiagonalMatrixType& M, Complex16 z) {
  double re = 0, im = 0, coupling = 0;  // below the last level there is nothing
  for (std::size_t k = M.b.size(); k >= 1; --k) {
    const double x = z.re - M.a[k] - coupling * re, y = z.im - coupling * im, d = x * x + y * y;
    re = x / d;
    im = -y / d;
    coupling = M.b[k - 1] * M.b[k - 1];
  }
  return {M.a[0] + coupling * re, coupling * im};
}

bool QFinite(const TriDiagonalMatrixType& M) { return QAllFinite(M.a) && QAllFinite(M.b); }

CompactMatrixType TriDiagonalMatrixToCompactMatrix(const TriDiagonalMatrixType& M) {
  CompactMatrixType H = MatrixOfLevels(M);
  auto& h = std::get<0>(H.Data);
  const std::size_t N = M.b.size();
  for (std::size_t k = 1; k < N; ++k) h[k * N + k - 1] = h[(k - 1) * N + k] = M.b[k];
  return H;
}

double CouplingFloor(double first, double size) {
  return std::max(100 * DBL_EPSILON * std::fabs(first), 4 * DBL_EPSILON * size);
}

double CommonOffset(std::span<const double> energies) {
  if (energies.empty()) return 0;
  const auto [lowest, highest] = std::minmax_element(energies.begin(), energies.end());
  const double centre = *lowest / 2 + *highest / 2;
  return std::fabs(centre) > *highest - *lowest ? centre : 0;
}

namespace {

// Eigenvalues of the levels 1 .. N of T, and eigenvectors as rows if vectors is not null.
int ChainEigensystem(const TriDiagonalMatrixType& T, std::vector<double>& e, double* vectors) {
  const int n = BlasSize(ChainLength(T));
  if (n == 0) return e.clear(), 0;
  if (!QFinite(T)) return Fail("TriDiagonalMatrixToEigensystem called with a matrix that is not finite\n");
  const double offset = CommonOffset(std::span(T.a).subspan(1));
  const auto levels = [&] {
    e.assign(T.a.begin() + 1, T.a.end());
    for (double& x : e) x -= offset;
  };
  const auto done = [&] {
    for (double& x : e) x += offset;
    return 0;
  };
  levels();
  std::vector<double> couplings(T.b.begin() + 1, T.b.end());
  couplings.push_back(0);  // a single level has none, yet the driver wants an address
  int info = Stevd(n, e.data(), couplings.data(), vectors);
  if (info == 0) return done();
  Say("dstevd failed in TriDiagonalMatrixToEigensystem with info value %i\n", info);
  Say("While working on matrix %s\n", T.name.c_str());
  Say("continue diagonalization with dstev\n");
  levels();
  std::copy(T.b.begin() + 1, T.b.end(), couplings.begin());
  info = Stev(n, e.data(), couplings.data(), vectors);
  if (info == 0) return done();
  Say("Also dstev failed with info value %i\n", info);
  Say("I don't know what to do\n");
  return Fail("ERROR!!!!!!!!!!!\n");
}

}  // namespace

int TriDiagonalMatrixToEigenvalues(const TriDiagonalMatrixType& T, std::vector<double>& e) {
  return ChainEigensystem(T, e, nullptr);
}

int TriDiagonalMatrixToEigensystem(const TriDiagonalMatrixType& T, CompactMatrixType& V,
                                   std::vector<double>& e) {
  CompactMatrixType vectors = InitCompactMatrix(ChainLength(T), ChainLength(T), false);
  vectors.Name = "Eigenvectors of " + T.name.substr(0, 238);
  if (const int status = ChainEigensystem(T, e, std::get<0>(vectors.Data).data())) return status;
  V = std::move(vectors);
  return 0;
}

int TriDiagonalMatrixToListOfPoles(const TriDiagonalMatrixType& T, ListOfPoles& P) {
  CompactMatrixType V;
  ListOfPoles poles;
  if (const int status = TriDiagonalMatrixToEigensystem(T, V, poles.a)) return status;
  const std::size_t N = ChainLength(T);
  const auto& vectors = std::get<0>(V.Data);
  poles.b.resize(N);
  for (std::size_t k = 0; k < N; ++k) poles.b[k] = NormSqr(T.b[0] * vectors[k * N]);
  poles.a0 = T.a[0];
  poles.mu = T.mu;
  poles.name = T.name;
  P = std::move(poles);
  return 0;
}

int FilePrintPlainTriDiagonalMatrix(const TriDiagonalMatrixType& M, const char* path, const char* mode) {
  std::FILE* file = std::fopen(path, mode);
  if (!file) return Fail("ERROR\nCan't open %s for writing with mode %s.\n", path, mode);
  const std::uint32_t N = ChainLength(M);
  std::fprintf(file, "#%s\n#N %u mu %22.15E\n#   k a[k]                   b[k]\n", M.name.c_str(), N, M.mu);
  for (std::uint32_t k = 0; k <= N; ++k)  // the last level couples to none
    std::fprintf(file, "%5u %22.15E %22.15E\n", k, M.a[k], k < N ? M.b[k] : 0.0);
  return std::fclose(file) ? Fail("ERROR\nCan't write to %s.\n", path) : 0;
}

}  // namespace fermix
