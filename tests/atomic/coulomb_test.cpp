#include "atomic/coulomb.h"

#include "atomic/sector.h"
#include "atomic/shell_operators.h"

namespace fermix::test {
namespace {

constexpr double Tolerance = 1e-12;

OperatorType TwoShells(int lA, int lB, const std::vector<double>& F, const std::vector<double>& G) {
  const int sizeA = 4 * lA + 2, sizeB = 4 * lB + 2;
  return CreateOperatorCoulombTwoShellsConstantOccupation(static_cast<std::uint32_t>(sizeA + sizeB),
                                                          Shell(lA), Shell(lB, sizeA), F, G);
}

struct TermEnergies {
  int l, electrons;
  std::vector<double> F;
  std::vector<Level> levels;
};

// Condon and Shortley, The Theory of Atomic Spectra, sections 5^7 and 7^7; Slater, Quantum Theory of Atomic
// Structure II, appendix 21; three d electrons by Racah's A, B, C: Racah, Phys. Rev. 62 (1942) 438.
// A shell with n holes has the levels of n electrons, shifted by the difference of the average energies:
// pairs times F0 - 2 (F2 + F4) / 63 for d electrons.
std::vector<TermEnergies> Textbook() {
  const double F0 = 3, F2 = 9.786, F4 = 6.078, F6 = 4.37;
  const double d2 = F2 / 49, d4 = F4 / 441, f2 = F2 / 225, f4 = F4 / 1089, f6 = F6 * 25 / 184041;
  const double A = F0 - 49 * d4, B = d2 - 5 * d4, C = 35 * d4;
  const double root = std::sqrt(193 * B * B + 8 * B * C + 4 * C * C);
  const std::vector<Level> dTerms = {{F0 - 8 * d2 - 9 * d4, 21},
                                     {F0 + 7 * d2 - 84 * d4, 9},
                                     {F0 + 4 * d2 + d4, 9},
                                     {F0 - 3 * d2 + 36 * d4, 5},
                                     {F0 + 14 * d2 + 126 * d4, 1}};
  std::vector<Level> holes = dTerms;
  for (Level& level : holes) level.energy += 27 * (F0 - 2 * (F2 + F4) / 63);
  return {{1, 2, {F0, F2}, {{F0 - F2 / 5, 9}, {F0 + F2 / 25, 5}, {F0 + 10 * F2 / 25, 1}}},
          {2, 2, {F0, F2, F4}, dTerms},
          {2, 8, {F0, F2, F4}, holes},
          {2,
           3,
           {F0, F2, F4},
           {{3 * A - 15 * B, 28},
            {3 * A, 12},
            {3 * A - 11 * B + 3 * C, 18},
            {3 * A - 6 * B + 3 * C, 22 + 6},
            {3 * A + 9 * B + 3 * C, 14},
            {3 * A + 5 * B + 5 * C + root, 10},
            {3 * A + 5 * B + 5 * C - root, 10}}},
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

TEST(CoulombSingleShell, TermsOfEquivalentElectrons) {
  for (const auto& c : Textbook()) {
    SCOPED_TRACE(testing::Message() << "l = " << c.l << ", " << c.electrons << " electrons");
    const int NF = 4 * c.l + 2;
    const OperatorType U = CreateOperatorCoulombSingleShell(static_cast<std::uint32_t>(NF), Shell(c.l), c.F);
    const Sector sector({NF}, {c.electrons});
    ExpectLevels(Eigenvalues(Matrix(U, sector), sector.size()), c.levels, 40 * Tolerance);
  }
}

// Condon and Shortley, section 6^6, and Slater, appendix 21: one electron in each shell, singlets with the
// upper sign of the exchange. Rows are L, columns the k of F and of G, each with its denominator.
TEST(CoulombTwoShells, TermsOfOneElectronInEach) {
  const struct {
    int lA, lB;
    std::vector<double> directDenominators, exchangeDenominators;
    std::vector<std::vector<double>> direct, exchange;
  } cases[] = {{1, 2, {1, 35}, {15, 245}, {{1, 7}, {1, -7}, {1, 2}}, {{1, 63}, {-3, 21}, {6, 3}}},
               {2,
                3,
                {1, 105, 693},
                {35, 315, 1524.6},
                {{1, 24, 66}, {1, 6, -99}, {1, -11, 66}, {1, -15, -22}, {1, 10, 3}},
                {{1, 24, 330}, {-3, -42, 165}, {6, 19, 55}, {-10, 35, 11}, {15, 10, 1}}}};
  const std::vector<double> integrals = {1.7, 8.1, 4.3, 5.2, 3.1, 2.4};
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.lA << ' ' << c.lB);
    const std::size_t n = c.directDenominators.size();
    const std::vector<double> F(integrals.begin(), integrals.begin() + n);
    const std::vector<double> G(integrals.begin() + 3, integrals.begin() + 3 + c.exchangeDenominators.size());
    std::vector<Level> levels;
    for (std::size_t row = 0; row < c.direct.size(); ++row) {
      double direct = 0, exchange = 0;
      for (std::size_t k = 0; k < n; ++k) direct += c.direct[row][k] * F[k] / c.directDenominators[k];
      for (std::size_t k = 0; k < G.size(); ++k)
        exchange += c.exchange[row][k] * G[k] / c.exchangeDenominators[k];
      const int L = static_cast<int>(row) + c.lB - c.lA;
      levels.push_back({direct + exchange, 2 * L + 1});
      levels.push_back({direct - exchange, 3 * (2 * L + 1)});
    }
    const Sector sector({4 * c.lA + 2, 4 * c.lB + 2}, {1, 1});
    ExpectLevels(Eigenvalues(Matrix(TwoShells(c.lA, c.lB, F, G), sector), sector.size()), levels,
                 10 * Tolerance);
  }
}

// One operator of all parts, on all pairs of electrons: it commutes with each component of spin and orbital
// momentum of the three shells together.
TEST(Coulomb, IsInvariantUnderRotationsOfSpinAndSpace) {
  using enum VectorComponent;
  const ShellIndices s = Shell(0), p = Shell(1, 2), d = Shell(2, 8);
  const std::uint32_t NF = 18;
  const Sector pairs({18}, {2});
  const std::size_t n = pairs.size();
  const OperatorType parts[] = {
      CreateOperatorCoulombSingleShell(NF, d, {1.3, 9.786, 6.078}),
      CreateOperatorCoulombTwoShellsConstantOccupation(NF, p, d, {1.1, 6.176}, {4.626, 2.632}),
      CreateOperatorCoulombFourShells(NF, s, d, p, p, {2.7}),  // two p electrons scatter into s and d
      CreateOperatorCoulombFourShells(NF, p, d, d, p, {0.9, 1.9})};
  for (const OperatorType& part : parts) {
    const Dense U = Matrix(part, pairs);
    EXPECT_GT(Largest(U), 0.1);
    for (auto create : {CreateOperatorS, CreateOperatorL})
      for (auto c : {x, y, z}) {
        Dense V(n * n);
        for (const auto& shell : {s, p, d}) V = Sum(V, Matrix(create(c, NF, shell), pairs));
        EXPECT_LT(Largest(Commutator(U, V, n)), 20 * Tolerance);
      }
  }
}

}  // namespace
}  // namespace fermix::test
