#include "atomic/symmetric_potential.h"

#include <array>
#include <cmath>

#include "atomic/basis_change.h"
#include "atomic/harmonics.h"
#include "atomic/sector.h"
#include "printed.h"

namespace fermix::test {
namespace {

using Point = std::array<double, 3>;
using Rotation = std::array<Point, 3>;  // rows

Point Turned(const Rotation& R, const Point& r) {
  Point p{};
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) p[i] += R[i][j] * r[j];
  return p;
}

const double h = std::sqrt(3) / 2, t = std::sqrt(2);
// Where x, y, z go, written out.
const Rotation C2x = {{{1, 0, 0}, {0, -1, 0}, {0, 0, -1}}}, C2y = {{{-1, 0, 0}, {0, 1, 0}, {0, 0, -1}}},
               C2z = {{{-1, 0, 0}, {0, -1, 0}, {0, 0, 1}}}, C4z = {{{0, -1, 0}, {1, 0, 0}, {0, 0, 1}}},
               C4x = {{{1, 0, 0}, {0, 0, -1}, {0, 1, 0}}}, S4z = {{{0, 1, 0}, {-1, 0, 0}, {0, 0, -1}}},
               C3z = {{{-0.5, -h, 0}, {h, -0.5, 0}, {0, 0, 1}}}, C3xyz = {{{0, 0, 1}, {1, 0, 0}, {0, 1, 0}}},
               mirrorX = {{{-1, 0, 0}, {0, 1, 0}, {0, 0, 1}}}, mirrorZ = {{{1, 0, 0}, {0, 1, 0}, {0, 0, -1}}},
               inversion = {{{-1, 0, 0}, {0, -1, 0}, {0, 0, -1}}};

std::complex<double> Value(const HarmonicsExpansion& V, const Point& r) {
  const double theta = std::acos(r[2] / std::hypot(r[0], r[1], r[2])), phi = std::atan2(r[1], r[0]);
  std::complex<double> sum = 0;
  for (const auto& term : V) {
    const auto norm = HarmonicNorm::renormalised;
    sum += ToStd(term.value) * std::complex<double>(ReSphericalHarmonicY(term.l, term.m, theta, phi, norm),
                                                    ImSphericalHarmonicY(term.l, term.m, theta, phi, norm));
  }
  return sum;
}

const Point points[] = {{0.3, -0.5, 0.7}, {-0.8, -0.1, 0.2}, {0.2, 0.9, -0.4}};

void ExpectInvariant(const HarmonicsExpansion& V, const Rotation& R, double tolerance = 1e-13) {
  for (const Point& r : points) EXPECT_LT(std::abs(Value(V, r) - Value(V, Turned(R, r))), tolerance);
}

HarmonicsExpansion Potential(const char* sym, int l, const std::vector<double>& E) {
  std::vector<UnitPotential> potentials;
  EXPECT_EQ(PotentialsOfSymmetry(sym, l, potentials), 0);
  EXPECT_EQ(potentials.size(), E.size());
  return potentials.size() == E.size() ? PotentialExpandedOnC(potentials, E) : HarmonicsExpansion{};
}

// On Y(l, m), and on the new functions that are the rows of U.
Dense OnShell(const HarmonicsExpansion& V, int l) {
  OrbitalList shell{{}, l};
  for (int i = 0; i <= 2 * l; ++i) shell.orbitals.push_back(static_cast<std::uint16_t>(i));
  return Matrix(CreateOperatorCF(2 * l + 1, {{shell, shell}}, V), Sector({2 * l + 1}, {1}));
}
Dense OnRows(const HarmonicsExpansion& V, int l, const CompactMatrixType& U) {
  const std::size_t n = 2 * l + 1;
  Dense u(n * n), adjoint;
  for (std::uint32_t i = 0; i < n; ++i)
    for (std::uint32_t j = 0; j < n; ++j) u[i * n + j] = std::conj(ToStd(CompactMatrixElement(U, i, j)));
  return Multiply(Multiply(u, OnShell(V, l), n), Adjoint(u, n), n);
}

// Where the energies stand on the functions of a shell, after the character tables. A digit is a row of
// YToKMatrix, or of YToZMatrix (m = -3 .. 3 are 0 .. 6) in groups with an axis of 6 or 3 and D3h. Two rows
// with a bar between them stand for the element between these.
struct ShellCase {
  int l;
  std::vector<const char*> energies;
  std::size_t terms;
};
struct GroupCase {
  const char* sym;
  std::vector<Rotation> generators;
  ShellMatrix functions;
  std::vector<ShellCase> shells;
};

const ShellCase cubicS = {0, {"0"}, 1}, cubicP = {1, {"012"}, 1}, cubicD = {2, {"01", "234"}, 4};
const ShellCase hexagonalP = {1, {"02", "1"}, 2}, hexagonalD = {2, {"2", "04", "13"}, 3};
const ShellCase tetragonalP = {1, {"2", "01"}, 2}, tetragonalD = {2, {"1", "0", "4", "23"}, 5};
const std::vector<ShellCase> tetrahedral = {cubicS, cubicP, cubicD, {3, {"0", "123", "456", "1|4"}, 11}};

const GroupCase groups[] = {
    {"Oh", {C4z, C4x, inversion}, YToKMatrix, {cubicS, cubicP, cubicD, {3, {"0", "123", "456"}, 7}}},
    {"Td", {S4z, C3xyz}, YToKMatrix, {cubicS, cubicP, cubicD, {3, {"0", "456", "123"}, 7}}},
    {"T", {C2z, C3xyz}, YToKMatrix, tetrahedral},
    {"Th", {C2z, C3xyz, inversion}, YToKMatrix, tetrahedral},
    {"C4v",
     {C4z, mirrorX},
     YToKMatrix,
     {cubicS, tetragonalP, tetragonalD, {3, {"3", "6", "0", "12", "45", "1|4"}, 8}}},
    {"D4h",
     {C4z, C2x, inversion},
     YToKMatrix,
     {cubicS, tetragonalP, tetragonalD, {3, {"3", "0", "6", "12", "45", "1|4"}, 8}}},
    {"D2h",
     {C2x, C2z, inversion},
     YToKMatrix,
     {cubicS,
      {1, {"2", "1", "0"}, 4},
      {2, {"0", "1", "0|1", "4", "3", "2"}, 9},
      {3, {"0", "3", "6", "3|6", "2", "5", "2|5", "1", "4", "1|4"}, 16}}},
    {"D3hx", {C3z, C2x, mirrorZ}, YToZMatrix, {hexagonalP, hexagonalD, {3, {"6", "0", "24", "3", "15"}, 6}}},
    {"D3hy", {C3z, C2y, mirrorZ}, YToZMatrix, {hexagonalP, hexagonalD, {3, {"0", "6", "24", "3", "15"}, 6}}},
    {"D3d",
     {C3z, C2x, inversion},
     YToKMatrix,
     {cubicS, {1, {"2", "01"}, 2}, {2, {"1", "04", "23", "0|2"}, 5}}},
};

// Energies without relation to each other.
std::vector<double> Energies(std::size_t count) {
  std::vector<double> E;
  for (std::size_t i = 0; i < count; ++i) E.push_back(std::sin(3.0 + 5 * static_cast<double>(i)));
  return E;
}

TEST(SymmetricPotential, EnergiesStandWhereTheCharacterTableSays) {
  for (const auto& group : groups)
    for (const auto& shell : group.shells) {
      SCOPED_TRACE(std::string(group.sym) + ", l = " + std::to_string(shell.l));
      const std::size_t n = 2 * shell.l + 1;
      const auto E = Energies(shell.energies.size());
      const auto V = Potential(group.sym, shell.l, E);
      EXPECT_EQ(V.size(), shell.terms);
      for (const auto& R : group.generators) ExpectInvariant(V, R);

      const Dense m = OnRows(V, shell.l, group.functions(4 * shell.l + 2, false));
      double squares = 0;  // of the elements named
      for (std::size_t e = 0; e < E.size(); ++e) {
        const std::string rows = shell.energies[e];
        const bool between = rows.size() == 3 && rows[1] == '|';
        if (between) {
          EXPECT_LT(std::abs(m[(rows[0] - '0') * n + (rows[2] - '0')] - E[e]), 1e-14);
          // It stands in the matrix once for each partner of both sets, and as often below the diagonal.
          squares += 2 * E[e] * E[e] * static_cast<double>(std::string(shell.energies[e - 1]).size());
          continue;
        }
        for (char row : rows) EXPECT_LT(std::abs(m[(row - '0') * (n + 1)] - E[e]), 1e-14) << row;
        squares += E[e] * E[e] * static_cast<double>(rows.size());
      }
      double all = 0;
      for (const auto& z : m) all += std::norm(z);
      EXPECT_NEAR(all, squares, 1e-13);  // nothing else stands there
    }
}

// With the same energies for all functions of a representation of the cube, a potential has the full symmetry
// of the cube; otherwise that of the trigonal group. The axes are those that the message about settings
// names.
TEST(SymmetricPotential, TrigonalSettingsHaveTheirAxes) {
  const auto turn = [](Point n, int fold) {  // (r.n) n + cos (r - (r.n) n) + sin n x r
    const double length = std::hypot(n[0], n[1], n[2]), angle = 2 * M_PI / fold;
    for (double& x : n) x /= length;
    const double c = std::cos(angle), s = std::sin(angle);
    const Rotation cross = {{{0, -n[2], n[1]}, {n[2], 0, -n[0]}, {-n[1], n[0], 0}}};
    Rotation R;
    for (int i = 0; i < 3; ++i)
      for (int j = 0; j < 3; ++j) R[i][j] = (i == j ? c : 0) + (1 - c) * n[i] * n[j] + s * cross[i][j];
    return R;
  };
  const struct {
    const char* sym;
    Point c3, c2, c4;
  } settings[] = {{"D3dA", {0, 0, 1}, {1, -1, 0}, {1, 1, 1}}, {"D3dB", {0, 0, 1}, {1, 0, 0}, {0, t, -1}},
                  {"D3dC", {0, 0, 1}, {1, 0, 0}, {0, t, 1}},  {"D3dD", {0, 0, 1}, {0, 1, 0}, {t, 0, -1}},
                  {"D3dE", {0, 0, 1}, {0, 1, 0}, {t, 0, 1}},  {"D3dF", {1, 1, 1}, {1, -1, 0}, {1, 0, 0}}};
  const double a2u = 0.3, t1u = -1.1, t2u = 0.7, eg = 0.9, t2g = -0.4;
  for (const auto& s : settings) {
    SCOPED_TRACE(s.sym);
    const auto cubicField = Potential(s.sym, 2, {t2g, eg, t2g, 0});
    const auto cubicFieldF = Potential(s.sym, 3, {t2u, a2u, t1u, 0, t1u, t2u, 0});
    ExpectInvariant(cubicField, turn(s.c4, 4));
    ExpectInvariant(cubicFieldF, turn(s.c4, 4));
    ExpectLevels(Eigenvalues(OnShell(cubicField, 2), 5), {{eg, 2}, {t2g, 3}}, 1e-14);
    ExpectLevels(Eigenvalues(OnShell(cubicFieldF, 3), 7), {{a2u, 1}, {t1u, 3}, {t2u, 3}}, 1e-14);

    // a1, e, e with an element between; a1, a2, a2 with one, e, e with one.
    const auto d = Energies(4), f = Energies(7);
    const auto field = Potential(s.sym, 2, d), fieldF = Potential(s.sym, 3, f);
    for (const auto& V : {field, fieldF}) {
      ExpectInvariant(V, turn(s.c3, 3));
      ExpectInvariant(V, turn(s.c2, 2));
      EXPECT_GT(std::abs(Value(V, points[0]) - Value(V, Turned(turn(s.c4, 4), points[0]))), 0.01);
    }
    const auto pair = [](double a, double b, double between) {
      return Eigenvalues({a, between, between, b}, 2);
    };
    const auto e = pair(d[1], d[2], d[3]), ofA2 = pair(f[1], f[2], f[3]), ofE = pair(f[4], f[5], f[6]);
    ExpectLevels(Eigenvalues(OnShell(field, 2), 5), {{d[0], 1}, {e[0], 2}, {e[1], 2}}, 1e-14);
    ExpectLevels(Eigenvalues(OnShell(fieldF, 3), 7),
                 {{f[0], 1}, {ofA2[0], 1}, {ofA2[1], 1}, {ofE[0], 2}, {ofE[1], 2}}, 1e-14);

    // The turned settings are the last one seen from other axes: those of the cube.
    if (s.c3[0] != 0) continue;
    Rotation cube;
    const double sign = s.c4[2] > 0 ? 1 / std::sqrt(3) : -1 / std::sqrt(3);
    cube[0] = {sign * s.c4[0], sign * s.c4[1], sign * s.c4[2]};
    cube[1] = Turned(C3z, cube[0]);
    cube[2] = Turned(C3z, cube[1]);
    for (const Point& r : points) {
      EXPECT_LT(std::abs(Value(field, r) - Value(Potential("D3dF", 2, d), Turned(cube, r))), 1e-13);
      EXPECT_LT(std::abs(Value(fieldF, r) - Value(Potential("D3dF", 3, f), Turned(cube, r))), 1e-13);
    }
  }
}

// Lea, Leask and Wolf's and Griffith's coefficients of a cubic field, and their order.
TEST(SymmetricPotential, CoefficientsOfKnownFields) {
  const auto expect = [](const char* sym, int l, const std::vector<double>& E,
                         const HarmonicsExpansion& expected) {
    SCOPED_TRACE(std::string(sym) + ", l = " + std::to_string(l));
    const auto V = Potential(sym, l, E);
    ASSERT_EQ(V.size(), expected.size());
    double largest = 0;
    for (const auto& term : expected) largest = std::max(largest, std::fabs(term.value.re));
    for (std::size_t i = 0; i < V.size(); ++i) {
      EXPECT_EQ(V[i].l, expected[i].l) << i;
      EXPECT_EQ(V[i].m, expected[i].m) << i;
      EXPECT_NEAR(V[i].value.re, expected[i].value.re, 5e-15 * largest) << i;
      EXPECT_EQ(V[i].value.im, 0) << i;
    }
  };
  for (const char* sym : {"C1", "Ci", "R3"}) expect(sym, 5, {-0.75}, {{0, 0, -0.75}});
  const double e = 0.6, t2 = -0.4, d = e - t2;
  const double root = std::sqrt(5 / 14.0);
  expect("Oh", 2, {e, t2 + 1}, {{0, 0, 0.6}, {4, 0, 0}, {4, -4, 0}, {4, 4, 0}});
  expect("Oh", 2, {d, 0},
         {{0, 0, 0.4}, {4, 0, 2.1}, {4, -4, 1.2549900398011133}, {4, 4, 1.2549900398011133}});
  // Levels of a tetragonal d shell in Dq, Ds and Dt (Ballhausen): V = 21 Dq (cubic) - 7 Ds C(2,0) - 21 Dt
  // C(4,0).
  const double Dq = 0.1, Ds = 0.05, Dt = -0.02, side = 21 * root * Dq;
  expect("C4v", 2,
         {6 * Dq - 2 * Ds - 6 * Dt, 6 * Dq + 2 * Ds - Dt, -4 * Dq + 2 * Ds - Dt, -4 * Dq - Ds + 4 * Dt},
         {{0, 0, 0}, {2, 0, -7 * Ds}, {4, 0, 21 * (Dq - Dt)}, {4, -4, side}, {4, 4, side}});
}

TEST(SymmetricPotential, SaysWhatItDoesNotHave) {
  const struct {
    const char* sym;
    int l;
    const char* line;
  } cases[] = {
      {"D6h", 2, "Potential for D6h not yet implemented\n"},
      {"oh", 2, "Potential for point group oh not implemented\n"},
      {"Oh", 4, "Potential for point group Oh and angular momentum 4 not implemented\n"},
      {"D3h", 3,
       "Potential for point group D3h and angular momentum 3 depends on settings, use D3hx or D3hy for C2//x "
       "or C2//y\n"}};
  for (const auto& c : cases) {
    std::vector<UnitPotential> potentials;
    EXPECT_EQ(Printed([&] { EXPECT_EQ(PotentialsOfSymmetry(c.sym, c.l, potentials), 1); }), c.line);
  }
}

}  // namespace
}  // namespace fermix::test
