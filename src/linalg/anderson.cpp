#include "linalg/anderson.h"

#include <algorithm>
#include <cfloat>
#include <cmath>

#include "host/base/status.h"
#include "linalg/response_parts.h"
#include "linalg/vector_kernels.h"

namespace fermix {

Complex16 ResponseAt(const AndersonMatrixType& M, Complex16 z) {
  if (M.b.empty()) return M.a[0];
  Complex16 bath = 0;
  for (std::size_t k = M.b.size(); k >= 2; --k) bath += M.b[k - 1] * M.b[k - 1] / (z - M.a[k]);
  return M.a[0] + M.b[0] * M.b[0] / (z - M.a[1] - bath);
}

bool QFinite(const AndersonMatrixType& M) { return QAllFinite(M.a) && QAllFinite(M.b); }

void OrderAndersonMatrix(AndersonMatrixType& M) {
  OrSay("malloc for Mab failed in ListOfPoles\n", [&] { SortPairs(M.a, M.b, 1, 1); });
}

CompactMatrixType AndersonMatrixToCompactMatrix(const AndersonMatrixType& M) {
  CompactMatrixType H = MatrixOfLevels(M);
  auto& h = std::get<0>(H.Data);
  const std::size_t N = M.b.size();
  for (std::size_t k = 1; k < N; ++k) h[k] = h[k * N] = M.b[k];
  return H;
}

namespace {

template <class T>
CompactMatrixType WithoutFirst(const std::vector<T>& A, std::uint32_t N) {
  CompactMatrixType rest = InitCompactMatrix(N - 1, N - 1, IsComplex<T>);
  auto out = std::get<std::vector<T>>(rest.Data).begin();
  for (std::size_t i = 1; i < N; ++i) {
    const auto row = A.begin() + static_cast<std::ptrdiff_t>(i * N);
    out = std::copy(row + 1, row + N, out);
  }
  return rest;
}

// |sum_j conj(V[k][j]) A[j + 1][0]|: what the first state of A couples to row k of V.
template <class T>
double CouplingToFirst(const std::vector<T>& A, const std::vector<T>& V, std::size_t N, std::size_t k) {
  T sum = 0;
  for (std::size_t j = 0; j + 1 < N; ++j) sum += Conj(V[k * (N - 1) + j]) * A[(j + 1) * N];
  return Abs(sum);
}

// The bath of the star: eigenvalues behind its energies, what the first state couples to them behind its
// couplings.
template <class T>
int DiagonalizeBath(const std::vector<T>& A, std::uint32_t N, AndersonMatrixType& star) {
  CompactMatrixType V;
  std::vector<double> e;
  if (const int status = CompactMatrixEigensystem(WithoutFirst(A, N), V, e)) return status;
  star.a.insert(star.a.end(), e.begin(), e.end());
  for (std::size_t k = 0; k + 1 < N; ++k)
    star.b.push_back(CouplingToFirst(A, std::get<std::vector<T>>(V.Data), N, k));
  return 0;
}

}  // namespace

int CompactMatrixToAndersonMatrix(const CompactMatrixType& A, AndersonMatrixType& M) {
  if (A.Ni != A.Nj) return Fail("MatrixToAndersonMatrix called with non-square matrix\n");
  if (!QFinite(A)) return Fail("MatrixToAndersonMatrix called with a matrix that is not finite\n");
  AndersonMatrixType star{A.Name, {A.A0}, {}, A.Mu};
  if (A.Ni > 0) {
    star.a.push_back(Re(CompactMatrixElement(A, 0, 0)));
    star.b.push_back(A.B0);
  }
  if (A.Ni > 1) {
    const int status =
        std::visit([&](const auto& data) { return DiagonalizeBath(data, A.Ni, star); }, A.Data);
    if (status) return status;
  }
  M = std::move(star);
  return 0;
}

namespace {

// A unit vector of which orthogonalisation leaves no more than this lies in the space already.
constexpr double RemainderFloor = 100 * DBL_EPSILON;

using Vector = std::vector<double>;

double Norm(const Vector& x) { return fermix::Norm(x.data(), x.size()); }
void Scale(Vector& x, double factor) { fermix::Scale(x.data(), factor, x.size()); }

// x += factor y
void Add(Vector& x, double factor, const double* y) { AddEach(&y, 1, &factor, x.data(), x.size()); }

// v = H u for the star.
void ApplyStar(const AndersonMatrixType& M, const double* u, Vector& v) {
  for (std::size_t j = 0; j < v.size(); ++j) v[j] = M.a[j + 1] * u[j];
  for (std::size_t j = 1; j < v.size(); ++j) {
    v[0] += M.b[j] * u[j];
    v[j] += M.b[j] * u[0];
  }
}

// The Lanczos vectors found so far, one behind the other.
struct LanczosRows {
  std::size_t n = 0;
  std::vector<double> data;

  std::size_t count() const { return data.size() / n; }
  const double* row(std::size_t k) const { return data.data() + k * n; }
  void append(const Vector& v) {
    OrSay("InitMatrix failed in AndersonMatrixToTriDiagonalMatrix\n",
          [&] { data.insert(data.end(), v.begin(), v.end()); });
  }
  // Takes the first m rows out of v.
  void projectOut(Vector& v, std::size_t m) const {
    for (std::size_t k = 0; k < m; ++k) Add(v, -Dot(row(k), v.data(), n), row(k));
  }
};

// Makes v the next Lanczos vector and returns its coupling; 0 when nothing is left of it.
double NextVector(Vector& v, const LanczosRows& rows, double floor) {
  const double b = Norm(v);
  if (!(b > floor)) return 0;
  Scale(v, 1 / b);
  rows.projectOut(v, rows.count());
  const double r = Norm(v);
  if (!(r > RemainderFloor)) return 0;
  Scale(v, 1 / r);
  return b * r;
}

// The dimension of the Krylov space of the corner: itself, and one combination of all levels of one energy
// that couple to it. Rounding may hide the end of the space from the run below, but not from this count.
std::size_t KrylovDimension(const AndersonMatrixType& M) {
  std::vector<double> energies;
  for (std::size_t k = 1; k < M.b.size(); ++k)
    if (M.b[k] != 0) energies.push_back(M.a[k + 1]);
  std::sort(energies.begin(), energies.end());
  return 1 + static_cast<std::size_t>(std::unique(energies.begin(), energies.end()) - energies.begin());
}

// Continues the chain by the Krylov space of the corner, to L levels or to its end. Energies count from
// offset, so that they are no larger than they must be.
void RunLanczos(AndersonMatrixType M, std::size_t L, double offset, LanczosRows& rows,
                TriDiagonalMatrixType& chain) {
  for (std::size_t k = 1; k < M.a.size(); ++k) M.a[k] -= offset;
  Vector v(rows.n);
  v[0] = 1;  // the corner
  rows.append(v);
  chain.b = {M.b[0]};
  while (true) {
    const std::size_t last = rows.count() - 1;
    ApplyStar(M, rows.row(last), v);
    const double size = Norm(v) + std::fabs(offset);  // the energies given are as exact as that
    rows.projectOut(v, last);
    const double a = Dot(rows.row(last), v.data(), rows.n);
    chain.a.push_back(std::isfinite(size) ? a + offset : size);  // the caller reports what is not finite
    if (rows.count() == L || !std::isfinite(size)) return;
    Add(v, -a, rows.row(last));
    const double b = NextVector(v, rows, last > 0 ? CouplingFloor(chain.b[1], size) : 0);
    if (b == 0) return;
    chain.b.push_back(b);
    rows.append(v);
  }
}

}  // namespace

int AndersonMatrixToTriDiagonalMatrixPlusT(const AndersonMatrixType& M, CompactMatrixType* T,
                                           TriDiagonalMatrixType& R, std::uint32_t length) {
  if (!QFinite(M)) return Fail("AndersonMatrixToTriDiagonalMatrix called with a matrix that is not finite\n");
  const std::size_t n = M.b.size(), L = n == 0 ? 0 : std::min<std::size_t>(length, KrylovDimension(M));
  TriDiagonalMatrixType chain;
  chain.name = M.name;
  chain.mu = M.mu;
  chain.a[0] = M.a[0];
  LanczosRows rows{n, {}};
  OrSay("InitTriDiagonalMatrix failed in AndersonMatrixToTriDiagonalMatrix\n", [&] {
    chain.a.reserve(L + 1);
    chain.b.reserve(L);
  });
  if (L > 0) RunLanczos(M, L, CommonOffset(std::span(M.a).subspan(1)), rows, chain);
  if (!QFinite(chain))
    return Fail("AndersonMatrixToTriDiagonalMatrix: the elements of the matrix are too large\n");
  if (T) {
    CompactMatrixType basis;
    basis.Name = "TriDiagonalizer of " + M.name.substr(0, 236);
    basis.Ni = ChainLength(chain);
    basis.Nj = static_cast<std::uint32_t>(n);
    basis.Data = std::move(rows.data);
    *T = std::move(basis);
  }
  R = std::move(chain);
  return 0;
}

int AndersonMatrixToTriDiagonalMatrix(const AndersonMatrixType& M, TriDiagonalMatrixType& R,
                                      std::uint32_t length) {
  if (AndersonMatrixToTriDiagonalMatrixPlusT(M, nullptr, R, length))
    return Fail("AndersonMatrixToTriDiagonalMatrixPlusT failed in AndersonMatrixToTriDiagonalMatrix\n");
  return 0;
}

namespace {

// By how much couplings to poles are scaled down, so that the chain's end does not depend on the unit of
// weights: their norm counts as no more than the width of the spectrum, yet enough to have a square.
double CouplingScale(const ListOfPoles& P, double norm) {
  constexpr double Smallest = 1e-100;
  const auto [lowest, highest] = std::minmax_element(P.a.begin(), P.a.end());
  const double width = P.a.empty() ? 0 : *highest - *lowest;
  return width > 0 && norm > width ? std::min(1.0, std::max(width, Smallest) / norm) : 1;
}

}  // namespace

int ListOfPolesToTridiagonalMatrix(const ListOfPoles& P, TriDiagonalMatrixType& R, std::uint32_t length) {
  if (!QFinite(P)) return Fail("ListOfPolesToTridiagonalMatrix called with poles that are not finite\n");
  double sum = 0;
  for (const double b : P.b) sum += std::fabs(b);
  const double norm = std::sqrt(sum), scale = CouplingScale(P, norm);
  // A corner, at any energy, with the poles as its bath: its chain is the wanted one behind one more level.
  AndersonMatrixType star{P.name, {0, P.a.empty() ? 0 : P.a[0]}, {1}, P.mu};
  OrSay("InitAndersonMatrix failed in ListOfPolesToTridiagonalMatrix\n;", [&] {
    star.a.reserve(P.a.size() + 2);
    star.b.reserve(P.a.size() + 1);
  });
  for (std::size_t k = 0; k < P.a.size(); ++k) {
    star.a.push_back(P.a[k]);
    star.b.push_back(scale * std::sqrt(std::fabs(P.b[k])));
  }
  const auto levels = std::min<std::uint64_t>(std::uint64_t{length} + 1, star.b.size());
  TriDiagonalMatrixType chain;
  if (const int status = AndersonMatrixToTriDiagonalMatrix(star, chain, static_cast<std::uint32_t>(levels)))
    return status;
  chain.a.erase(chain.a.begin());
  chain.b.erase(chain.b.begin());
  chain.a[0] = P.a0;
  if (!chain.b.empty()) chain.b[0] = norm;
  R = std::move(chain);
  return 0;
}

int TriDiagonalMatrixToAndersonMatrix(const TriDiagonalMatrixType& T, AndersonMatrixType& M) {
  const std::size_t N = T.b.size();
  AndersonMatrixType star{T.name, T.a, T.b, T.mu};
  if (N > 2) {
    TriDiagonalMatrixType bath;
    bath.name = T.name;
    bath.a.assign(T.a.begin() + 1, T.a.end());
    bath.b.assign(T.b.begin() + 1, T.b.end());
    CompactMatrixType V;
    std::vector<double> e;
    if (const int status = TriDiagonalMatrixToEigensystem(bath, V, e)) return status;
    for (std::size_t k = 1; k < N; ++k) {
      star.a[k + 1] = e[k - 1];
      star.b[k] = std::fabs(T.b[1] * std::get<0>(V.Data)[(k - 1) * (N - 1)]);
    }
  }
  M = std::move(star);
  return 0;
}

int ListOfPolesToAndersonMatrix(const ListOfPoles& P, AndersonMatrixType& M) {
  TriDiagonalMatrixType chain;
  if (const int status = ListOfPolesToTridiagonalMatrix(P, chain, static_cast<std::uint32_t>(P.a.size())))
    return status;
  return TriDiagonalMatrixToAndersonMatrix(chain, M);
}

int AndersonMatrixToEigensystem(const AndersonMatrixType& M, CompactMatrixType& V, std::vector<double>& e) {
  CompactMatrixType basis, inChain, vectors;
  TriDiagonalMatrixType chain;
  std::vector<double> values;
  const auto N = static_cast<std::uint32_t>(M.b.size());
  if (const int status = AndersonMatrixToTriDiagonalMatrixPlusT(M, &basis, chain, N)) return status;
  if (const int status = TriDiagonalMatrixToEigensystem(chain, inChain, values)) return status;
  if (const int status = CompactMatrixMultiply('N', 'N', inChain, basis, vectors)) return status;
  vectors.Name = std::move(inChain.Name);
  V = std::move(vectors);
  e = std::move(values);
  return 0;
}

int AndersonMatrixToListOfPoles(const AndersonMatrixType& M, ListOfPoles& P) {
  TriDiagonalMatrixType chain;
  const auto N = static_cast<std::uint32_t>(M.b.size());
  if (const int status = AndersonMatrixToTriDiagonalMatrix(M, chain, N)) return status;
  return TriDiagonalMatrixToListOfPoles(chain, P);
}

}  // namespace fermix
