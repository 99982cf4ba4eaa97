#include "linalg/tridiagonal.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numeric>

#include "host/base/status.h"
#include "linalg/blas.h"

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
    const int info = std::visit(
        [&](auto& data) {
          return Tridiagonalize(BlasSize(A.Nj), data.data(), chain.a.data() + 1, chain.b.data() + 1,
                                Q != nullptr);
        },
        basis.Data);
    if (info) return Fail("Reduction failed in CompactMatrixTriDiagonalize with info value %i\n", info);
  }
  T = std::move(chain);
  if (Q) *Q = std::move(basis);
  return 0;
}

namespace {

bool QFinite(const TriDiagonalMatrixType& T) {
  const auto finite = [](double x) { return std::isfinite(x); };
  return std::all_of(T.a.begin() + 1, T.a.end(), finite) &&
         (T.b.empty() || std::all_of(T.b.begin() + 1, T.b.end(), finite));
}

// Eigenvalues of the levels 1 .. N of T, and eigenvectors as rows if vectors is not null.
int ChainEigensystem(const TriDiagonalMatrixType& T, std::vector<double>& e, double* vectors) {
  const int n = BlasSize(ChainLength(T));
  if (n == 0) return e.clear(), 0;
  if (!QFinite(T)) return Fail("TriDiagonalMatrixToEigensystem called with a matrix that is not finite\n");
  const auto levels = [&] { e.assign(T.a.begin() + 1, T.a.end()); };
  levels();
  std::vector<double> couplings(T.b.begin() + 1, T.b.end());
  couplings.push_back(0);  // a single level has none, yet the driver wants an address
  int info = Stevd(n, e.data(), couplings.data(), vectors);
  if (info == 0) return 0;
  Say("dstevd failed in TriDiagonalMatrixToEigensystem with info value %i\n", info);
  Say("While working on matrix %s\n", T.name.c_str());
  Say("continue diagonalization with dstev\n");
  levels();
  std::copy(T.b.begin() + 1, T.b.end(), couplings.begin());
  info = Stev(n, e.data(), couplings.data(), vectors);
  if (info == 0) return 0;
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

void OrderListOfPoles(ListOfPoles& P) {
  std::vector<std::size_t> order(P.a.size());
  std::iota(order.begin(), order.end(), 0);
  std::stable_sort(order.begin(), order.end(), [&](std::size_t i, std::size_t j) { return P.a[i] < P.a[j]; });
  std::vector<double> a(order.size()), b(order.size());
  for (std::size_t k = 0; k < order.size(); ++k) {
    a[k] = P.a[order[k]];
    b[k] = P.b[order[k]];
  }
  P.a = std::move(a);
  P.b = std::move(b);
}

int HermitianCompactMatrixToListOfPoles(const CompactMatrixType& A, std::vector<ListOfPoles>& poles,
                                        const CompactMatrixType& V, CompactMatrixType* vectors) {
  CompactMatrixType eigenvectors, overlaps;
  std::vector<double> e;
  if (const int status = CompactMatrixEigensystem(A, eigenvectors, e)) return status;
  // Element (v, k) is the amplitude of eigenvector k in row v.
  if (const int status = CompactMatrixMultiply('N', 'C', V, eigenvectors, overlaps)) return status;
  std::vector<ListOfPoles> lists(V.Ni);
  std::visit(
      [&](const auto& amplitude) {
        for (std::size_t v = 0; v < lists.size(); ++v) {
          lists[v].a = e;
          lists[v].b.resize(e.size());
          for (std::size_t k = 0; k < e.size(); ++k)
            lists[v].b[k] = A.B0 * A.B0 * NormSqr(amplitude[v * e.size() + k]);
          lists[v].a0 = A.A0;
          lists[v].mu = A.Mu;
        }
      },
      overlaps.Data);
  poles = std::move(lists);
  if (vectors) *vectors = std::move(eigenvectors);
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
