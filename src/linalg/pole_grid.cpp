#include "linalg/pole_grid.h"

#include <algorithm>
#include <cfloat>
#include <cmath>

#include "host/base/status.h"

namespace fermix {

namespace {

// What is left of a weight that was subtracted from itself, in units of it, is rounding.
constexpr double CancelledWeight = 100 * DBL_EPSILON;

// All weights on the only pole of the grid.
void AddToSinglePole(ListOfPoles& A, const ListOfPoles& B) {
  double weight = A.b[0], moment = A.b[0] * A.a[0];
  for (std::size_t k = 0; k < B.a.size(); ++k) {
    weight += B.b[k];
    moment += B.b[k] * B.a[k];
  }
  A.a[0] = weight == 0 ? 0 : moment / weight;
  A.b[0] = weight;
}

// Adds the weight p at energy e to an end pole of the grid, which may move within lowest .. highest.
void AddToEnd(double& energy, double& weight, double e, double p, double lowest, double highest) {
  weight += p;
  if (weight == 0 || e == energy || !(lowest <= highest)) return;
  const double moved = energy + p / weight * (e - energy);
  if (std::isfinite(moved)) energy = std::clamp(moved, lowest, highest);
}

// The pole of weight p at energy e, on a grid of at least two poles.
void AddPoleToGrid(ListOfPoles& A, double e, double p, double Emin, double Emax) {
  const std::size_t last = A.a.size() - 1;
  if (e <= A.a[0]) return AddToEnd(A.a[0], A.b[0], e, p, Emin, std::min(A.a[1], Emax));
  if (e >= A.a[last]) return AddToEnd(A.a[last], A.b[last], e, p, std::max(A.a[last - 1], Emin), Emax);
  const auto r = static_cast<std::size_t>(std::upper_bound(A.a.begin(), A.a.end(), e) - A.a.begin());
  const double left = A.a[r - 1], right = A.a[r];
  const bool together = right - left <= (std::fabs(left) + std::fabs(right)) * DBL_MIN;
  const double share = together ? 0.5 : (e - left) / (right - left);
  A.b[r] += share * p;
  A.b[r - 1] += (1 - share) * p;
}

}  // namespace

int AddToListOfPolesOnGridOrdered(ListOfPoles& A, const ListOfPoles& B, double Emin, double Emax) {
  if (A.a.empty() && !B.a.empty())
    return Fail(
        "ERROR: Adding a list of poles to a list of poles with length zero and forcing to keep the grid\n"
        "Not an option\n");
  if (!QFinite(A) || !QFinite(B)) return Fail("ERROR: Adding lists of poles that are not finite\n");
  A.a0 += B.a0;
  if (A.a.size() == 1) return AddToSinglePole(A, B), 0;
  const std::size_t n = B.a.size();  // B may be A
  for (std::size_t k = 0; k < n; ++k) AddPoleToGrid(A, B.a[k], B.b[k], Emin, Emax);
  return 0;
}

namespace {

// Lifts the weight of pole k to 0. Its inner neighbour gives its linear share, or what it has; the outer one
// the rest.
void TakeFromNeighbours(ListOfPoles& L, std::size_t k, std::size_t inner, std::size_t outer) {
  const double lack = -L.b[k], e = L.a[k], distance = std::fabs(L.a[inner] - L.a[outer]);
  const double share = distance > 0 ? std::fabs(e - L.a[outer]) / distance : 0.5;
  const double taken = std::min(share * lack, std::max(L.b[inner], 0.0));
  L.b[inner] -= taken;
  L.b[outer] -= lack - taken;
  L.b[k] = 0;
}

// Lifts the weight of pole k to 0 as far as the others, in the order of first, first + step, ..., have
// enough.
void TakeInOrder(ListOfPoles& L, std::size_t k, int step) {
  for (std::size_t j = k + static_cast<std::size_t>(step); j < L.b.size() && L.b[k] < 0;
       j += static_cast<std::size_t>(step)) {  // below 0 the index wraps to a large one
    const double taken = std::min(-L.b[k], std::max(L.b[j], 0.0));
    L.b[j] -= taken;
    L.b[k] += taken;
  }
}

}  // namespace

void MergeNegativeToNeighbourListOfPolesSorted(ListOfPoles& L) {
  const std::size_t n = L.a.size();
  if (n < 2) return;
  const auto above = static_cast<std::size_t>(std::upper_bound(L.a.begin(), L.a.end(), L.mu) - L.a.begin());
  for (std::size_t k = std::min(above, n - 1); k-- > 1;)
    if (L.b[k] < 0) TakeFromNeighbours(L, k, k + 1, k - 1);
  for (std::size_t k = std::max<std::size_t>(above, 1); k + 1 < n; ++k)
    if (L.b[k] < 0) TakeFromNeighbours(L, k, k - 1, k + 1);
  TakeInOrder(L, 0, 1);
  TakeInOrder(L, n - 1, -1);
  if (L.b[n - 1] < 0) {  // nobody had enough
    L.b[0] += L.b[n - 1];
    L.b[n - 1] = 0;
  }
}

namespace {

// Keeps the poles for which keep(k) is true.
template <class Keep>
void KeepPoles(ListOfPoles& P, Keep&& keep) {
  std::size_t kept = 0;
  for (std::size_t k = 0; k < P.a.size(); ++k) {
    if (!keep(k)) continue;
    P.a[kept] = P.a[k];
    P.b[kept++] = P.b[k];
  }
  P.a.resize(kept);
  P.b.resize(kept);
}

// Poles of one energy, in order, become one.
void MergeEqualEnergies(ListOfPoles& P) {
  for (std::size_t k = P.a.size(); k-- > 1;)
    if (P.a[k] == P.a[k - 1]) P.b[k - 1] += std::exchange(P.b[k], 0);
  KeepPoles(P, [&](std::size_t k) { return k == 0 || P.a[k] != P.a[k - 1]; });
}

}  // namespace

int SubtractListOfPoles(ListOfPoles& A, const ListOfPoles& B) {
  ListOfPoles rest = A, minus = B;
  OrderListOfPoles(rest);
  MergeEqualEnergies(rest);
  OrderListOfPoles(minus);
  for (double& b : minus.b) b = -b;
  minus.a0 = -minus.a0;
  const std::vector<double> before = rest.b;
  double Emin = 0, Emax = 0;
  if (!rest.a.empty() && !minus.a.empty()) {
    Emin = std::min(rest.a.front(), minus.a.front());
    Emax = std::max(rest.a.back(), minus.a.back());
  }
  if (const int status = AddToListOfPolesOnGridOrdered(rest, minus, Emin, Emax)) return status;
  const auto cancelled = [&](std::size_t k) { return std::fabs(rest.b[k]) <= CancelledWeight * before[k]; };
  for (std::size_t k = 0; k < rest.b.size(); ++k)
    if (cancelled(k)) rest.b[k] = 0;
  MergeNegativeToNeighbourListOfPolesSorted(rest);
  KeepPoles(rest, [&](std::size_t k) { return rest.b[k] != 0; });
  if (!rest.b.empty() && rest.b[0] < 0)
    Say("WARNING: SubtractListOfPoles returned with A->b[0]=%24.17E and A->N=%i\n", rest.b[0],
        static_cast<int>(rest.a.size()));
  A = std::move(rest);
  return 0;
}

}  // namespace fermix
