#include "atomic/harmonics.h"

#include <gtest/gtest.h>
#include <cfloat>
#include <cmath>
#include <numbers>

namespace fermix {
namespace {

// sqrt((2l+1)/(4 pi) (l-m)!/(l+m)!) |P_l^m|(cos 1.1) for m = 0 .. l, by mpmath with 40 digits from its
// Legendre functions (type 2, their sign (-1)^m taken off).
const std::vector<double> polar[] = {
    {0.22162820431795896, 0.30790692886701987},
    {-0.32777142214582017, -0.08685013801914804, 0.32205085774944764, 0.1604317167386452, -0.2787345742770143,
     -0.30500209664090405, 0.10065849775168705, 0.42973907682286294, 0.4055506347601006, 0.1878098064178174},
    {0.31129714565664174, 0.13567597137669807, -0.3021828555597096, -0.1877044208803558, 0.2606463037541144,
     0.28415071442863993, -0.14195096321936518, -0.3799322170805224, -0.11916057868101242,
     0.30866257492611254, 0.4825080649070355, 0.35445602092110134, 0.1421563189285642}};

constexpr double lastBits = 2 * DBL_EPSILON;

TEST(SphericalHarmonicY, EveryOrderToTheLastBits) {
  const double theta = 1.1, phi = 0.37;
  for (const auto& shell : polar)
    for (int l = static_cast<int>(shell.size()) - 1, m = -l; m <= l; ++m) {
      SCOPED_TRACE(testing::Message() << l << ' ' << m);
      const double sign = m > 0 && m % 2 ? -1 : 1, p = sign * shell[std::abs(m)];
      const long double angle = m * static_cast<long double>(phi);
      const double re = p * std::cos(angle), im = p * std::sin(angle);
      EXPECT_NEAR(ReSphericalHarmonicY(l, m, theta, phi), re, lastBits * std::fabs(re));
      EXPECT_NEAR(ImSphericalHarmonicY(l, m, theta, phi), im, lastBits * std::fabs(im));
    }
}

// The squares of one l add up to (2l + 1) / (4 pi) in each direction.
TEST(TesseralHarmonicZ, IsTheCombinationOfSphericalOnes) {
  const double theta = 2.3, phi = -1.9;
  for (int l = 0; l <= MaxHarmonicL; ++l) {
    EXPECT_EQ(TesseralHarmonicZ(l, 0, theta, phi), ReSphericalHarmonicY(l, 0, theta, phi));
    double sum = 0;
    for (int m = -l; m <= l; ++m) sum += std::pow(TesseralHarmonicZ(l, m, theta, phi), 2);
    EXPECT_NEAR(sum, (2 * l + 1) / (4 * std::numbers::pi), 1e-15 * (l + 1));
    for (int k = 1; k <= l; ++k) {
      const double root = k % 2 ? -std::numbers::sqrt2 : std::numbers::sqrt2;
      EXPECT_NEAR(TesseralHarmonicZ(l, k, theta, phi), root * ReSphericalHarmonicY(l, k, theta, phi),
                  lastBits);
      EXPECT_NEAR(TesseralHarmonicZ(l, -k, theta, phi), root * ImSphericalHarmonicY(l, k, theta, phi),
                  lastBits);
    }
  }
}

struct Direction {
  double x, y, z;
  double theta() const { return std::atan2(std::hypot(x, y), z); }
  double phi() const { return std::atan2(y, x); }
};
constexpr Direction someDirections[] = {{0.48, -0.6, 0.64}, {-2 / 3., 1 / 3., 2 / 3.}};

// Norms of the polynomials: the integrals over the sphere of their squares, of which those of monomials are
// 4 pi (a-1)!! (b-1)!! (c-1)!! / (a+b+c+1)!! for even powers.
TEST(CubicHarmonicK, CartesianPolynomials) {
  const auto root = [](double squareTimesPi) { return std::sqrt(squareTimesPi / std::numbers::pi); };
  for (const Direction& r : someDirections) {
    const double x = r.x, y = r.y, z = r.z;
    const double s = x * x * x * x + y * y * y * y + z * z * z * z;
    const struct {
      int l, i;
      double value;
    } cases[] = {{0, 0, root(1 / 4.)},
                 {1, -1, root(3 / 4.) * x},
                 {1, 0, root(3 / 4.) * y},
                 {1, 1, root(3 / 4.) * z},
                 {2, -2, root(15 / 16.) * (x * x - y * y)},
                 {2, -1, root(5 / 16.) * (3 * z * z - 1)},
                 {2, 0, root(15 / 4.) * y * z},
                 {2, 1, root(15 / 4.) * x * z},
                 {2, 2, root(15 / 4.) * x * y},
                 {3, -3, root(105 / 4.) * x * y * z},
                 {3, -2, root(7 / 16.) * x * (5 * x * x - 3)},
                 {3, -1, root(7 / 16.) * y * (5 * y * y - 3)},
                 {3, 0, root(7 / 16.) * z * (5 * z * z - 3)},
                 {3, 1, root(105 / 16.) * x * (y * y - z * z)},
                 {3, 2, root(105 / 16.) * y * (z * z - x * x)},
                 {3, 3, root(105 / 16.) * z * (x * x - y * y)},
                 {4, -4, root(21 * 25 / 64.) * (s - 0.6)}};
    for (const auto& c : cases) {
      SCOPED_TRACE(testing::Message() << c.l << ' ' << c.i);
      EXPECT_NEAR(CubicHarmonicK(c.l, c.i, r.theta(), r.phi()), c.value, 4 * DBL_EPSILON);
    }
  }
}

// Turning x to y to z to x permutes the members of each threefold representation of the cube, leaves the
// onefold ones, and turns the twofold ones by 120 degrees. The members that are one tesseral function, or the
// cases below, fix the rest.
TEST(CubicHarmonicK, TurnsWithTheCube) {
  constexpr int E = 100;  // member of a twofold representation, whose partner is the next
  const struct {
    int l;
    std::vector<int> turned;
    std::vector<int> sign;  // of sqrt(3)/2 for each E
  } cases[] = {{1, {0, 1, -1}, {}},
               {2, {E, E, 1, 2, 0}, {-1}},
               {3, {-3, -1, 0, -2, 2, 3, 1}, {}},
               {4, {-4, E, E, 0, 1, -1, 3, 4, 2}, {-1}},
               {5, {E, E, -2, -1, -3, 1, 2, 0, 4, 5, 3}, {1}},
               {6, {-6, -5, E, E, -1, 0, -2, 2, 3, 1, 5, 6, 4}, {-1}}};
  for (const auto& c : cases)
    for (const Direction& r : someDirections) {
      const Direction t{r.y, r.z, r.x};
      const auto K = [&](int i) { return CubicHarmonicK(c.l, i, r.theta(), r.phi()); };
      const auto turned = [&](int i) { return CubicHarmonicK(c.l, i, t.theta(), t.phi()); };
      for (int i = -c.l; i <= c.l; ++i) {
        SCOPED_TRACE(testing::Message() << c.l << ' ' << i);
        if (const int j = c.turned[i + c.l]; j != E) {
          EXPECT_NEAR(turned(i), K(j), 1e-14);
          continue;
        }
        const double half = c.sign[0] * std::sqrt(0.75);
        EXPECT_NEAR(turned(i), -K(i) / 2 + half * K(i + 1), 1e-14);
        EXPECT_NEAR(turned(i + 1), -half * K(i) - K(i + 1) / 2, 1e-14);
        ++i;
      }
    }
}

TEST(CubicHarmonicK, SignsOfTheMembersThatRotationsLeaveOpen) {
  constexpr struct {
    int l, i, m;
  } tesseral[] = {{4, -3, 2}, {4, 1, -4}, {4, 4, -2}, {5, -5, -2}, {5, -4, -4}, {5, -1, 0},
                  {5, 2, 4},  {5, 5, 2},  {6, 0, -4}, {6, 3, -2},  {6, 6, -6}};
  for (const auto& c : tesseral)
    EXPECT_EQ(CubicHarmonicK(c.l, c.i, 0.8, 2.6), TesseralHarmonicZ(c.l, c.m, 0.8, 2.6)) << c.l << ' ' << c.i;
  constexpr struct {
    int l, i, m1;
    double weight1;
    int m2;
    double weight2;
  } pairs[] = {{4, -2, 0, -0.6454972243679028, 4, 0.7637626158259734},
               {6, -6, 0, 0.35355339059327379, 4, -0.9354143466934853},
               {6, -5, 2, -0.82915619758885, 6, 0.5590169943749475},
               {6, -3, 0, 0.9354143466934853, 4, 0.35355339059327379}};
  for (const auto& c : pairs) {
    const double expected = c.weight1 * TesseralHarmonicZ(c.l, c.m1, 0.8, 2.6) +
                            c.weight2 * TesseralHarmonicZ(c.l, c.m2, 0.8, 2.6);
    EXPECT_NEAR(CubicHarmonicK(c.l, c.i, 0.8, 2.6), expected, lastBits) << c.l << ' ' << c.i;
  }
}

TEST(Harmonics, AreZeroBeyondTheirRange) {
  EXPECT_EQ(ReSphericalHarmonicY(13, 0, 1, 1), 0);
  EXPECT_EQ(TesseralHarmonicZ(2, -2147483647 - 1, 1, 1), 0);
  EXPECT_EQ(CubicHarmonicK(2, 3, 1, 1), 0);
}

}  // namespace
}  // namespace fermix
