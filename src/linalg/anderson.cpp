#include "linalg/anderson.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <numeric>

namespace fermix {

namespace {

using Vector = std::vector<double>;

// A coupling this much smaller than the first is rounding: the chain ends.
constexpr double CouplingFloor = 100 * DBL_EPSILON;
// A unit vector of which orthogonalisation leaves no more than this lies in the space already.
constexpr double RemainderFloor = 100 * DBL_EPSILON;

double Dot(const Vector& x, const Vector& y) {
  return std::inner_product(x.begin(), x.end(), y.begin(), 0.0);
}
double Norm(const Vector& x) { return std::sqrt(Dot(x, x)); }

void Add(Vector& x, double factor, const Vector& y) {
  for (std::size_t i = 0; i < x.size(); ++i) x[i] += factor * y[i];
}

void Scale(Vector& x, double factor) {
  for (double& value : x) value *= factor;
}

// H u for the star.
Vector ApplyStar(const AndersonMatrixType& M, const Vector& u) {
  Vector v(u.size());
  for (std::size_t j = 0; j < u.size(); ++j) v[j] = M.a[j + 1] * u[j];
  for (std::size_t j = 1; j < u.size(); ++j) {
    v[0] += M.b[j] * u[j];
    v[j] += M.b[j] * u[0];
  }
  return v;
}

// Makes v the next Lanczos vector and returns its coupling; 0 when nothing is left of it.
double NextVector(Vector& v, const std::vector<Vector>& T, double firstCoupling) {
  const double b = Norm(v);
  if (!(b > CouplingFloor * firstCoupling)) return 0;
  Scale(v, 1 / b);
  for (const Vector& t : T) Add(v, -Dot(t, v), t);
  const double r = Norm(v);
  if (!(r > RemainderFloor)) return 0;
  Scale(v, 1 / r);
  return b * r;
}

}  // namespace

TriDiagonalMatrixType AndersonMatrixToTriDiagonalMatrix(const AndersonMatrixType& M, std::uint32_t length) {
  const std::size_t n = M.b.size(), L = std::min<std::size_t>(length, n);
  TriDiagonalMatrixType chain;
  chain.name = M.name;
  chain.mu = M.mu;
  chain.a[0] = M.a[0];
  if (L == 0) return chain;
  chain.b = {M.b[0]};
  std::vector<Vector> T = {Vector(n)};
  T[0][0] = 1;  // the corner
  while (true) {
    Vector v = ApplyStar(M, T.back());
    for (std::size_t j = 0; j + 1 < T.size(); ++j) Add(v, -Dot(T[j], v), T[j]);
    chain.a.push_back(Dot(T.back(), v));
    if (T.size() == L) return chain;
    Add(v, -chain.a.back(), T.back());
    const double b = NextVector(v, T, T.size() > 1 ? chain.b[1] : 0);
    if (b == 0) return chain;
    chain.b.push_back(b);
    T.push_back(std::move(v));
  }
}

TriDiagonalMatrixType ListOfPolesToTridiagonalMatrix(const ListOfPoles& P, std::uint32_t length) {
  // A corner at the constant with the poles as its bath: its chain is the wanted one behind one more level.
  AndersonMatrixType star;
  star.name = P.name;
  star.mu = P.mu;
  star.a = {0, P.a0};
  star.b = {1};
  for (std::size_t k = 0; k < P.a.size(); ++k) {
    star.a.push_back(P.a[k]);
    star.b.push_back(std::sqrt(std::fabs(P.b[k])));
  }
  const auto levels = std::min<std::uint64_t>(std::uint64_t{length} + 1, star.b.size());
  TriDiagonalMatrixType chain = AndersonMatrixToTriDiagonalMatrix(star, static_cast<std::uint32_t>(levels));
  chain.a.erase(chain.a.begin());
  chain.b.erase(chain.b.begin());
  return chain;
}

}  // namespace fermix
