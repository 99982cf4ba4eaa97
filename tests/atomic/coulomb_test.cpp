#include "atomic/coulomb.h"

#include "atomic/sector.h"
#include "atomic/shell_operators.h"
#include "core/operator_algebra.h"

namespace fermix::test {
namespace {

constexpr double Tolerance = 1e-12;

struct TermEnergies {
  int l, electrons;
  std::vector<double> F;
  std::vector<Level> levels;
};

// Condon and Shortley, The Theory of Atomic Spectra, sections 5^7 and 7^7; Slater, Quantum Theory of Atomic
// Structure II, appendix 21. A shell with n holes has the levels of n electrons, shifted by the difference of
// the average energies: pairs times F0 - 2 (F2 + F4) / 63 for d electrons.
std::vector<TermEnergies> Textbook() {
  const double F0 = 3, F2 = 9.786, F4 = 6.078, F6 = 4.37;
  const double d2 = F2 / 49, d4 = F4 / 441, f2 = F2 / 225, f4 = F4 / 1089, f6 = F6 * 25 / 184041;
  const std::vector<Level> dTerms = {{F0 - 8 * d2 - 9 * d4, 21},
                                     {F0 + 7 * d2 - 84 * d4, 9},
                                     {F0 + 4 * d2 + d4, 9},
                                     {F0 - 3 * d2 + 36 * d4, 5},
                                     {F0 + 14 * d2 + 126 * d4, 1}};
  std::vector<Level> holes = dTerms;
  for (Level& level : holes) level.energy += 27 * (F0 - 2 * (F2 + F4) / 63);
  return {{0, 2, {F0}, {{F0, 1}}},
          {1, 2, {F0, F2}, {{F0 - F2 / 5, 9}, {F0 + F2 / 25, 5}, {F0 + 10 * F2 / 25, 1}}},
          {2, 2, {F0, F2, F4}, dTerms},
          {2, 8, {F0, F2, F4}, holes},
          {3,
           2,
           {F0, F2, F4, F6},
           {{F0 - 25 * f2 - 51 * f4 - 13 * f6, 33},
            {F0 - 10 * f2 - 33 * f4 - 286 * f6, 21},
            {F0 - 30 * f2 + 97 * f4 + 78 * f6, 9},
            {F0 + 19 * f2 - 99 * f4 + 715 * f6, 5},
            {F0 + 25 * f2 + 9 * f4 + f6, 13},
            {F0 + 45 * f2 + 33 * f4 - 1287 * f6, 9},
            {F0 + 60 * f2 + 198 * f4 + 1716 * f6, 1}}}};
}

TEST(CoulombSingleShell, TermsOfTwoElectronsAndTwoHoles) {
  for (const auto& c : Textbook()) {
    SCOPED_TRACE(testing::Message() << "l = " << c.l << ", " << c.electrons << " electrons");
    const int NF = 4 * c.l + 2;
    const OperatorType U = CreateOperatorCoulombSingleShell(static_cast<std::uint32_t>(NF), Shell(c.l), c.F);
    EXPECT_EQ(U.Name, "Coulomb Operator");
    const Sector sector({NF}, {c.electrons});
    ExpectLevels(Eigenvalues(Matrix(U, sector), sector.size()), c.levels, 40 * Tolerance);
  }
}

// Largest element of the commutators of U with S^2, L^2 and the components of S, L of all shells together.
double LargestCommutator(const OperatorType& U, const std::vector<ShellIndices>& shells,
                         const Sector& sector) {
  using enum VectorComponent;
  const std::uint32_t NF = U.layout.NFermion;
  const std::size_t n = sector.size();
  const Dense u = Matrix(U, sector);
  double largest = 0;
  for (auto create : {CreateOperatorS, CreateOperatorL}) {
    Dense square(n * n);
    for (auto c : {x, y, z}) {
      Dense V(n * n);
      for (const auto& shell : shells) V = Sum(V, Matrix(create(c, NF, shell), sector));
      largest = std::max(largest, Largest(Commutator(u, V, n)));
      square = Sum(square, Multiply(V, V, n));
    }
    largest = std::max(largest, Largest(Commutator(u, square, n)));
  }
  return largest;
}

TEST(Coulomb, IsInvariantUnderRotationsOfSpinAndSpace) {
  const OperatorType d = CreateOperatorCoulombSingleShell(10, Shell(2), {1.3, 9.786, 6.078});
  EXPECT_LT(LargestCommutator(d, {Shell(2)}, Sector({10}, {3})), 100 * Tolerance);

  const ShellIndices p = Shell(1, 0), dAfterP = Shell(2, 6);
  const OperatorType pd =
      CreateOperatorCoulombTwoShellsConstantOccupation(16, p, dAfterP, {1.1, 6.176}, {4.626, 2.632});
  EXPECT_LT(LargestCommutator(pd, {p, dAfterP}, Sector({6, 10}, {5, 9})), 100 * Tolerance);
  EXPECT_LT(LargestCommutator(pd, {p, dAfterP}, Sector({6, 10}, {1, 2})), 100 * Tolerance);

  const ShellIndices dBeforeF = Shell(2, 0), f = Shell(3, 10);
  const OperatorType df =
      CreateOperatorCoulombTwoShellsConstantOccupation(24, dBeforeF, f, {1.7, 8.1, 4.3}, {5.2, 3.1, 2.4});
  EXPECT_LT(LargestCommutator(df, {dBeforeF, f}, Sector({10, 14}, {1, 1})), 100 * Tolerance);
}

// Condon and Shortley, section 6^6: terms of p d, singlets with the upper sign of the exchange.
TEST(CoulombTwoShells, TermsOfPAndDElectron) {
  const double F0 = 1.2, F2 = 7.72 / 35, G1 = 5.783 / 15, G3 = 3.29 / 245;
  const OperatorType U = CreateOperatorCoulombTwoShellsConstantOccupation(16, Shell(1, 0), Shell(2, 6),
                                                                          {F0, 35 * F2}, {15 * G1, 245 * G3});
  const double direct[] = {F0 + 7 * F2, F0 - 7 * F2, F0 + 2 * F2};
  const double exchange[] = {G1 + 63 * G3, -3 * G1 + 21 * G3, 6 * G1 + 3 * G3};
  std::vector<Level> levels;
  for (int L = 1; L <= 3; ++L) {
    levels.push_back({direct[L - 1] + exchange[L - 1], 2 * L + 1});
    levels.push_back({direct[L - 1] - exchange[L - 1], 3 * (2 * L + 1)});
  }
  const Sector sector({6, 10}, {1, 1});
  ExpectLevels(Eigenvalues(Matrix(U, sector), sector.size()), levels, Tolerance);
}

TEST(Coulomb, IsHermitianAndInNormalOrder) {
  const OperatorType U =
      CreateOperatorCoulombTwoShellsConstantOccupation(16, Shell(1, 0), Shell(2, 6), {1, 0.7}, {0.5, 0.3});
  EXPECT_EQ(QOperatorHermitian(U, 1e-14), 1);
  EXPECT_EQ(TermCount(NormalOrderOperator(U, QDetNotOrderedFcFaBcBa).l[4]), TermCount(U.l[4]));
  EXPECT_EQ(TermCount(U.l[2]), 0u);
}

}  // namespace
}  // namespace fermix::test
