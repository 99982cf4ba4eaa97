#include "atomic/coulomb.h"

#include <algorithm>
#include <cfloat>
#include <cmath>

#include "atomic/angular_momentum.h"
#include "core/operator_algebra.h"

namespace fermix {

namespace {

// Terms below are rounding of the sums over k.
constexpr double SmallestTerm = 100 * DBL_EPSILON;

std::vector<SlaterCoefficients> SlaterTables(int kmin, std::size_t count, int l1, int l2) {
  std::vector<SlaterCoefficients> tables;
  tables.reserve(count);
  for (std::size_t i = 0; i < count; ++i) tables.emplace_back(kmin + 2 * static_cast<int>(i), l1, l2);
  return tables;
}

// An upper bound for the number of terms between four shells, for the size of the table.
std::size_t TermBound(const ShellIndices& A, const ShellIndices& B, const ShellIndices& C) {
  return std::size_t{4} * A.list[0].size() * B.list[0].size() * C.list[0].size();
}

// O += factor sum_k R^k c^k(A m1, C m3) c^k(D m4, B m2) c+(A m1 s) c+(B m2 t) c(D m4 t) c(C m3 s),
// over all m and spins, k from the smallest that couples both pairs in steps of two.
void AddCoulomb(OperatorType& O, double factor, const ShellIndices& A, const ShellIndices& B,
                const ShellIndices& C, const ShellIndices& D, const std::vector<double>& R) {
  const int lA = A.l(), lB = B.l(), lC = C.l(), lD = D.l();
  const int kmin = std::max(std::abs(lA - lC), std::abs(lB - lD));
  const auto first = SlaterTables(kmin, R.size(), lA, lC), second = SlaterTables(kmin, R.size(), lD, lB);

  const auto strength = [&](int m1, int m2, int m3, int m4) {
    double sum = 0;
    for (std::size_t k = 0; k < R.size(); ++k) {
      const double angular = factor * first[k](m1, m3) * second[k](m4, m2);
      if (!(std::fabs(angular) <= DBL_EPSILON)) sum += angular * R[k];
    }
    return sum;
  };
  for (int m1 = -lA; m1 <= lA; ++m1)
    for (int m2 = -lB; m2 <= lB; ++m2)
      for (int m3 = -lC; m3 <= lC; ++m3) {
        const int m4 = m1 + m2 - m3;
        if (std::abs(m4) > lD) continue;
        // The ladders stand as c+(1) c+(2) c(3) c(4): the swap of the last two costs a sign.
        const double value = -strength(m1, m2, m3, m4);
        if (value == 0) continue;
        for (Spin s : {Spin::up, Spin::dn})
          for (Spin t : {Spin::up, Spin::dn}) {
            const LadderIndex lader[] = {Annihilate(D.at(t, m4 + lD)), Annihilate(C.at(s, m3 + lC)),
                                         Create(B.at(t, m2 + lB)), Create(A.at(s, m1 + lA))};
            OperatorAddLaderNormalOrder(O, lader, 4, value, 0, QDetNotOrderedFcFaBcBa);
          }
      }
}

}  // namespace

OperatorType CreateOperatorCoulombSingleShell(std::uint32_t NFermion, const ShellIndices& shell,
                                              const std::vector<double>& F) {
  OperatorType O = InitShellOperator("Coulomb Operator", NFermion, 4, TermBound(shell, shell, shell) / 4);
  AddCoulomb(O, 0.5, shell, shell, shell, shell, F);
  OperatorRemoveSmallValues(O, SmallestTerm);
  return O;
}

OperatorType CreateOperatorCoulombTwoShellsConstantOccupation(std::uint32_t NFermion, const ShellIndices& A,
                                                              const ShellIndices& B,
                                                              const std::vector<double>& F,
                                                              const std::vector<double>& G) {
  OperatorType O = InitShellOperator("Coulomb Operator", NFermion, 4, TermBound(A, B, A));
  // Each unordered pair of electrons occurs once, with the first electron in A.
  AddCoulomb(O, 1, A, B, A, B, F);
  AddCoulomb(O, 1, A, B, B, A, G);
  OperatorRemoveSmallValues(O, SmallestTerm);
  return O;
}

}  // namespace fermix
