#include "atomic/coulomb.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <stdexcept>

#include "atomic/angular_momentum.h"
#include "core/operator_algebra.h"

namespace fermix {

namespace {

// Terms below are rounding of the sums over k.
constexpr double SmallestTerm = 100 * DBL_EPSILON;

// Orbital i of a shell has the projection i - twoJ / 2.
int TwiceProjection(const CoulombShell& shell, int i) { return 2 * i - shell.twoJ; }
int States(const CoulombShell& shell) { return shell.twoJ + 1; }

double Coefficient(int k, const CoulombShell& A, int i, const CoulombShell& B, int j) {
  const int twoMi = TwiceProjection(A, i), twoMj = TwiceProjection(B, j);
  if (A.twoJ == 2 * A.l) return SlaterCoefficientC(k, A.l, twoMi / 2, B.l, twoMj / 2);
  return SlaterCoefficientCjcoupling(k, A.l, A.twoJ, twoMi, B.l, B.twoJ, twoMj);
}

// All c^k between the orbitals of two shells.
struct CoefficientTable {
  int columns;
  std::vector<double> c;

  CoefficientTable(int k, const CoulombShell& A, const CoulombShell& B) : columns(States(B)) {
    for (int i = 0; i < States(A); ++i)
      for (int j = 0; j < columns; ++j) {
        c.push_back(Coefficient(k, A, i, B, j));
        if (std::isnan(c.back()))
          throw std::range_error("Coulomb repulsion is not available for so large an angular momentum\n");
      }
  }
  double operator()(int i, int j) const { return c[i * columns + j]; }
};

// O += factor R^k sum c^k(A 1, C 3) c^k(D 4, B 2) c+(A 1 s) c+(B 2 t) c(D 4 t) c(C 3 s).
void AddCoulomb(OperatorType& O, double factor, int k, const CoulombShell& A, const CoulombShell& B,
                const CoulombShell& C, const CoulombShell& D, double R) {
  const CoefficientTable first(k, A, C), second(k, D, B);
  for (int i1 = 0; i1 < States(A); ++i1)
    for (int i2 = 0; i2 < States(B); ++i2)
      for (int i3 = 0; i3 < States(C); ++i3) {
        const int twoM4 = TwiceProjection(A, i1) + TwiceProjection(B, i2) - TwiceProjection(C, i3);
        if (std::abs(twoM4) > D.twoJ) continue;
        const int i4 = (twoM4 + D.twoJ) / 2;
        // The ladders stand as c+(1) c+(2) c(3) c(4): the swap of the last two costs a sign.
        const double value = -factor * first(i1, i3) * second(i4, i2);
        if (std::fabs(value) <= DBL_EPSILON) continue;
        for (std::size_t t = 0; t < B.spins.size(); ++t)
          for (std::size_t s = 0; s < A.spins.size(); ++s) {
            const LadderIndex lader[] = {Annihilate(D.spins[t][i4]), Annihilate(C.spins[s][i3]),
                                         Create(B.spins[t][i2]), Create(A.spins[s][i1])};
            OperatorAddLaderNormalOrder(O, lader, 4, value * R, 0, QDetNotOrderedFcFaBcBa);
          }
      }
}

void AddCoulomb(OperatorType& O, double factor, const CoulombShell& A, const CoulombShell& B,
                const CoulombShell& C, const CoulombShell& D, const std::vector<double>& R) {
  const CoulombOrders orders = CoulombOrdersOf(A, B, C, D);
  const int count = std::min(orders.count, static_cast<int>(R.size()));
  for (int n = 0; n < count; ++n) AddCoulomb(O, factor, orders.first + 2 * n, A, B, C, D, R[n]);
}

OperatorType InitCoulomb(std::uint32_t NFermion) {
  return InitShellOperator("Coulomb Operator", NFermion, 4);
}

}  // namespace

CoulombShell::CoulombShell(const ShellIndices& shell)
    : l(shell.l()),
      twoJ(2 * l),
      spins{shell.list[static_cast<int>(Spin::dn)], shell.list[static_cast<int>(Spin::up)]} {}

CoulombShell::CoulombShell(int kappa, std::vector<std::uint16_t> states)
    : l(kappa > 0 ? kappa : -kappa - 1), twoJ(2 * std::abs(kappa) - 1), spins{std::move(states)} {}

CoulombOrders CoulombOrdersOf(const CoulombShell& A, const CoulombShell& B, const CoulombShell& C,
                              const CoulombShell& D) {
  const int parity = (A.l + C.l) & 1;
  const int least = std::max(std::abs(A.twoJ - C.twoJ), std::abs(B.twoJ - D.twoJ)) / 2;
  const int most = std::min(A.twoJ + C.twoJ, B.twoJ + D.twoJ) / 2;
  const int first = least + ((least ^ parity) & 1);
  const bool couple = ((B.l + D.l) & 1) == parity && first <= most;
  return {first, couple ? (most - first) / 2 + 1 : 0};
}

OperatorType CreateOperatorCoulombSingleShell(std::uint32_t NFermion, const CoulombShell& shell,
                                              const std::vector<double>& F) {
  return CreateOperatorCoulombFourShells(NFermion, shell, shell, shell, shell, F);
}

OperatorType CreateOperatorCoulombTwoShellsConstantOccupation(std::uint32_t NFermion, const CoulombShell& A,
                                                              const CoulombShell& B,
                                                              const std::vector<double>& F,
                                                              const std::vector<double>& G) {
  OperatorType O = InitCoulomb(NFermion);
  AddCoulomb(O, 1, A, B, A, B, F);
  AddCoulomb(O, 1, A, B, B, A, G);
  OperatorRemoveSmallValues(O, SmallestTerm);
  return O;
}

OperatorType CreateOperatorCoulombFourShells(std::uint32_t NFermion, const CoulombShell& A,
                                             const CoulombShell& B, const CoulombShell& C,
                                             const CoulombShell& D, const std::vector<double>& R) {
  OperatorType O = InitCoulomb(NFermion);
  AddCoulomb(O, 0.5, A, B, C, D, R);
  OperatorRemoveSmallValues(O, SmallestTerm);
  return O;
}

}  // namespace fermix
