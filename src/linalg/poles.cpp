#include "linalg/poles.h"

#include <algorithm>
#include <cfloat>
#include <cmath>

#include "host/base/status.h"
#include "linalg/eigen_factors.h"
#include "linalg/response_parts.h"

namespace fermix {

Complex16 ResponseAt(const ListOfPoles& P, Complex16 z) {
  double re = 0, im = 0;
  for (std::size_t k = 0; k < P.a.size(); ++k) {
    const double x = z.re - P.a[k], d = z.im * z.im + x * x;
    re += P.b[k] * x / d;
    im += P.b[k] * z.im / d;
  }
  return {P.a0 + re, -im};
}

bool QFinite(const ListOfPoles& P) {
  return QAllFinite(P.a) && QAllFinite(P.b) && std::isfinite(P.a0) && std::isfinite(P.mu);
}

void OrderListOfPoles(ListOfPoles& P) {
  OrSay("malloc for Mab failed in ListOfPoles\n", [&] { SortPairs(P.a, P.b, 0); });
}

void AddListOfPoles(ListOfPoles& A, const ListOfPoles& B) {
  const std::size_t n = B.a.size();  // B may be A
  OrSay("realloc of A->a failed in AddListOfPoles\n", [&] {
    A.a.reserve(A.a.size() + n);
    A.b.reserve(A.b.size() + n);
  });
  for (std::size_t k = 0; k < n; ++k) {
    A.a.push_back(B.a[k]);
    A.b.push_back(B.b[k]);
  }
  A.a0 += B.a0;
}

namespace {

// What a pole at energy e has below mu.
double LowerShare(double e, double mu, double w) {
  if (e <= mu - w) return 1;
  if (e >= mu + w) return 0;
  return 0.5 * (1 + (mu - e) / w);
}

// The pole at energy e gives the weight p to pole k, which moves to the centre of both.
void HandOver(ListOfPoles& P, std::size_t k, double e, double p) {
  const double ratio = p / P.b[k];
  P.a[k] = (P.a[k] + ratio * e) / (1 + ratio);
  P.b[k] += p;
}

// Gives the weight of pole k to its neighbours. They have at least as much themselves.
void GiveToNeighbours(ListOfPoles& P, std::size_t k) {
  const double e = P.a[k], weight = P.b[k];
  if (k == 0) return HandOver(P, 1, e, weight);
  if (k + 1 == P.a.size()) return HandOver(P, k - 1, e, weight);
  const double l = P.a[k - 1], r = P.a[k + 1], tiny = 10 * (std::fabs(e) * DBL_EPSILON + DBL_MIN);
  double right = 0;  // the share of the right neighbour
  if (std::fabs(r - l) < tiny) {
    right = 0.5;
  } else if (std::fabs(r - e) < tiny) {
    right = 1;
  } else if (!(std::fabs(e - l) < tiny)) {
    right = (e - l) / (r - l);
  }
  if (right > 0) HandOver(P, k + 1, e, weight * right);
  if (right < 1) HandOver(P, k - 1, e, weight * (1 - right));
}

}  // namespace

ListOfPoles ListOfPolesCopyVal(const ListOfPoles& P, double mu, double w) {
  ListOfPoles part = P;
  part.a0 = 0;
  for (std::size_t k = 0; k < P.a.size(); ++k) part.b[k] *= LowerShare(P.a[k], mu, w);
  return part;
}

ListOfPoles ListOfPolesCopyCon(const ListOfPoles& P, double mu, double w) {
  ListOfPoles part = ListOfPolesCopyVal(P, mu, w);
  for (std::size_t k = 0; k < P.a.size(); ++k) part.b[k] = P.b[k] - part.b[k];
  return part;
}

void ReduceListOfPolesNumber(ListOfPoles& P, std::uint32_t n) {
  if (P.a.size() < n) return;
  OrderListOfPoles(P);
  while (P.a.size() > std::max<std::size_t>(n, 1)) {
    const auto smallest = std::min_element(P.b.begin(), P.b.end()) - P.b.begin();
    if (P.b[smallest] > DBL_MIN) GiveToNeighbours(P, static_cast<std::size_t>(smallest));
    P.a.erase(P.a.begin() + smallest);
    P.b.erase(P.b.begin() + smallest);
  }
}

int HermitianCompactMatrixToListOfPoles(const CompactMatrixType& A, std::vector<ListOfPoles>& poles,
                                        const CompactMatrixType& V, CompactMatrixType* vectors) {
  EigenFactors F;
  if (const int status = CompactMatrixEigenFactors(A, F)) return status;
  if (V.Nj != A.Ni) return Fail("Error in dimensions\n");
  CompactMatrixType columns = V;
  CompactMatrixTranspose(columns);
  const CompactMatrixType components = EigenComponents(F, std::move(columns));
  std::vector<ListOfPoles> lists(V.Ni);
  std::visit(
      [&](const auto& component) {
        for (std::size_t v = 0; v < lists.size(); ++v) {
          lists[v].a = F.e;
          lists[v].b.resize(F.e.size());
          for (std::size_t k = 0; k < F.e.size(); ++k)
            lists[v].b[k] = A.B0 * A.B0 * NormSqr(component[k * lists.size() + v]);
          lists[v].a0 = A.A0;
          lists[v].mu = A.Mu;
        }
      },
      components.Data);
  poles = std::move(lists);
  if (vectors) *vectors = EigenvectorsOfFactors(std::move(F), A.Ni);
  return 0;
}

}  // namespace fermix
