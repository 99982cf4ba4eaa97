#include "linalg/natural_orbitals.h"

#include <algorithm>
#include <cmath>

#include "host/base/status.h"

namespace fermix {

namespace {

// The coupling of the first level of a chain to the second.
double FirstCoupling(const TriDiagonalMatrixType& chain) { return ChainLength(chain) > 1 ? chain.b[1] : 0; }

// The chain of a function that has one side only.
const TriDiagonalMatrixType* OnlySide(const BADoubleTriDiagonalMatrixType& M) {
  if (M.con.b[0] == 0) return &M.val;
  return M.val.b[0] == 0 ? &M.con : nullptr;
}

// That chain as the whole function; without levels if it has no weight either.
TriDiagonalMatrixType WholeFunction(const BADoubleTriDiagonalMatrixType& M,
                                    const TriDiagonalMatrixType& side) {
  TriDiagonalMatrixType T;
  if (side.b[0] != 0 && M.B0 != 0) {
    T = side;
    T.b[0] *= M.B0;
  }
  T.a[0] = M.A0;
  T.mu = M.Mu;
  T.name = M.name;
  return T;
}

int EmptyChain(const BADoubleTriDiagonalMatrixType& M) {
  return Fail("Error in InitDoubleTriDiagonalMatrix M->val.N=%i M->con.N=%i\n",
              static_cast<int>(ChainLength(M.val)), static_cast<int>(ChainLength(M.con)));
}

bool QEmptyChain(const BADoubleTriDiagonalMatrixType& M) { return M.val.b.empty() || M.con.b.empty(); }

}  // namespace

Complex16 ResponseAt(const BADoubleTriDiagonalMatrixType& M, Complex16 z) {
  return M.A0 + M.B0 * M.B0 * (ResponseAt(M.val, z) + ResponseAt(M.con, z));
}

void CompleteNaturalOrbitals(BADoubleTriDiagonalMatrixType& M) {
  for (TriDiagonalMatrixType* chain : {&M.val, &M.con})
    if (chain->b.empty()) {
      chain->a.push_back(0);
      chain->b.push_back(0);
    }
  M.A0 += M.B0 * M.B0 * (M.val.a[0] + M.con.a[0]);
  M.val.a[0] = M.con.a[0] = 0;
  double& v = M.val.b[0];
  double& c = M.con.b[0];
  const double norm = std::hypot(v, c);
  M.B0 *= norm;
  if (norm > 0) {
    v /= norm;
    c /= norm;
  }
  const double va = M.val.a[1], ca = M.con.a[1], vb = FirstCoupling(M.val), cb = FirstCoupling(M.con);
  M.E1 = c * c * ca + v * v * va;
  M.E2 = c * c * va + v * v * ca;
  M.V12 = v * c * (va - ca);
  M.V1Val = v * vb;
  M.V1Con = c * cb;
  M.V2Val = c * vb;
  M.V2Con = -v * cb;
}

int ListOfPolesToBADoubleTridiagonalMatrix(const ListOfPoles& P, BADoubleTriDiagonalMatrixType& R,
                                           std::uint32_t nVal, std::uint32_t nCon, double mu, double w) {
  if (!QFinite(P) || !std::isfinite(mu))
    return Fail("ListOfPolesToBADoubleTridiagonalMatrix called with poles that are not finite\n");
  if (!std::isfinite(w) || w < 0)
    return Fail("ListOfPolesToBADoubleTridiagonalMatrix called with a width of %g at mu\n", w);
  BADoubleTriDiagonalMatrixType orbitals;
  orbitals.name = P.name;
  orbitals.Mu = mu;
  orbitals.Epsilon = w;
  orbitals.A0 = P.a0;
  orbitals.B0 = 1;
  const auto side = [mu](ListOfPoles part, std::uint32_t n, TriDiagonalMatrixType& chain) {
    part.mu = mu;
    n = std::max(n, 1u);
    ReduceListOfPolesNumber(part, n);
    return ListOfPolesToTridiagonalMatrix(part, chain, n);
  };
  if (const int status = side(ListOfPolesCopyVal(P, mu, w), nVal, orbitals.val)) return status;
  if (const int status = side(ListOfPolesCopyCon(P, mu, w), nCon, orbitals.con)) return status;
  CompleteNaturalOrbitals(orbitals);
  R = std::move(orbitals);
  return 0;
}

int TriDiagonalMatrixToBADoubleTriDiagonalMatrix(const TriDiagonalMatrixType& T,
                                                 BADoubleTriDiagonalMatrixType& R, double w) {
  ListOfPoles P;
  if (const int status = TriDiagonalMatrixToListOfPoles(T, P)) return status;
  return ListOfPolesToBADoubleTridiagonalMatrix(P, R, ChainLength(T), ChainLength(T), T.mu, w);
}

int AndersonMatrixToBADoubleTriDiagonalMatrix(const AndersonMatrixType& M, BADoubleTriDiagonalMatrixType& R,
                                              double w) {
  ListOfPoles P;
  if (const int status = AndersonMatrixToListOfPoles(M, P)) return status;
  const auto N = static_cast<std::uint32_t>(M.b.size());
  return ListOfPolesToBADoubleTridiagonalMatrix(P, R, N, N, M.mu, w);
}

int BADoubleTriDiagonalMatrixTypeToCompactMatrix(const BADoubleTriDiagonalMatrixType& M,
                                                 CompactMatrixType& H) {
  if (QEmptyChain(M)) return EmptyChain(M);
  const std::size_t nVal = ChainLength(M.val), nCon = ChainLength(M.con), N = nVal + nCon;
  CompactMatrixType matrix =
      InitCompactMatrix(static_cast<std::uint32_t>(N), static_cast<std::uint32_t>(N), false);
  matrix.Name = M.name;
  matrix.A0 = M.A0;
  matrix.B0 = M.B0;
  matrix.Mu = M.Mu;
  auto& h = std::get<0>(matrix.Data);
  const auto set = [&](std::size_t i, std::size_t j, double x) { h[i * N + j] = h[j * N + i] = x; };
  set(0, 0, M.E1);
  set(1, 1, M.E2);
  set(0, 1, M.V12);
  // The levels 2, 3, ... of a chain, from index first on.
  const auto place = [&](const TriDiagonalMatrixType& chain, std::size_t first, double V1, double V2) {
    for (std::size_t k = 2; k <= ChainLength(chain); ++k) {
      const std::size_t i = first + k - 2;
      set(i, i, chain.a[k]);
      if (k > 2) set(i - 1, i, chain.b[k - 1]);
    }
    if (ChainLength(chain) < 2) return;
    set(0, first, V1);
    set(1, first, V2);
  };
  place(M.val, 2, M.V1Val, M.V2Val);
  place(M.con, nVal + 1, M.V1Con, M.V2Con);
  H = std::move(matrix);
  return 0;
}

int BADoubleTriDiagonalMatrixToListOfPoles(const BADoubleTriDiagonalMatrixType& M, ListOfPoles& P) {
  ListOfPoles both;
  for (const TriDiagonalMatrixType* chain : {&M.val, &M.con}) {
    if (chain->b.empty() || chain->b[0] == 0) continue;
    ListOfPoles side;
    if (const int status = TriDiagonalMatrixToListOfPoles(*chain, side)) return status;
    AddListOfPoles(both, side);
  }
  for (double& b : both.b) b *= M.B0 * M.B0;
  both.a0 = M.A0;
  both.mu = M.Mu;
  both.name = M.name;
  P = std::move(both);
  return 0;
}

namespace {

// Where the matrix has levels that nothing couples to, rounding does: the chain ends before it.
void CutAtRounding(TriDiagonalMatrixType& T) {
  double size = 0;
  for (std::size_t k = 1; k < T.a.size(); ++k) size = std::max(size, std::fabs(T.a[k]));
  for (std::size_t k = 1; k < T.b.size(); ++k) size = std::max(size, std::fabs(T.b[k]));
  for (std::size_t k = 1; k < T.b.size(); ++k) {
    T.b[k] = std::fabs(T.b[k]);
    if (T.b[k] > CouplingFloor(T.b[1], size)) continue;
    T.a.resize(k + 1);
    T.b.resize(k);
  }
}

}  // namespace

int BADoubleTriDiagonalMatrixToTriDiagonalMatrix(const BADoubleTriDiagonalMatrixType& M,
                                                 TriDiagonalMatrixType& T) {
  CompactMatrixType H;
  if (QEmptyChain(M)) return EmptyChain(M);
  if (const TriDiagonalMatrixType* side = OnlySide(M)) return T = WholeFunction(M, *side), 0;
  if (const int status = BADoubleTriDiagonalMatrixTypeToCompactMatrix(M, H)) return status;
  TriDiagonalMatrixType chain;
  if (const int status = CompactMatrixTriDiagonalize(H, nullptr, chain)) return status;
  chain.name = M.name;
  CutAtRounding(chain);
  T = std::move(chain);
  return 0;
}

int BADoubleTriDiagonalMatrixToAndersonMatrix(const BADoubleTriDiagonalMatrixType& M, AndersonMatrixType& R) {
  CompactMatrixType H;
  if (QEmptyChain(M)) return EmptyChain(M);
  if (const TriDiagonalMatrixType* side = OnlySide(M))
    return TriDiagonalMatrixToAndersonMatrix(WholeFunction(M, *side), R);
  if (const int status = BADoubleTriDiagonalMatrixTypeToCompactMatrix(M, H)) return status;
  return CompactMatrixToAndersonMatrix(H, R);
}

namespace {

void Chop(double& value, double x) {
  if (std::fabs(value) < x) value = 0;
}

// Cuts the chain at its first coupling below x; the weight b[0] is none.
void EndAtSmallCoupling(TriDiagonalMatrixType& chain, double x) {
  for (std::size_t k = 1; k < chain.b.size(); ++k)
    if (std::fabs(chain.b[k]) < x) {
      chain.a.resize(k + 1);
      chain.b.resize(k);
    }
}

}  // namespace

void BADoubleTriDiagonalMatrixChop(BADoubleTriDiagonalMatrixType& M, double x) {
  for (double* value :
       {&M.Mu, &M.Epsilon, &M.A0, &M.B0, &M.E1, &M.E2, &M.V12, &M.V1Val, &M.V1Con, &M.V2Val, &M.V2Con})
    Chop(*value, x);
  for (auto* list : {&M.val.a, &M.val.b, &M.con.a, &M.con.b})
    for (double& value : *list) Chop(value, x);
}

void BADoubleTriDiagonalMatrixChopReduceDimension(BADoubleTriDiagonalMatrixType& M, double x) {
  for (TriDiagonalMatrixType* chain : {&M.val, &M.con}) EndAtSmallCoupling(*chain, x);
  BADoubleTriDiagonalMatrixChop(M, x);
}

}  // namespace fermix
