#include "atomic/tensor_operators.h"

#include "atomic/angular_momentum.h"
#include "atomic/sector.h"
#include "atomic/shell_operators.h"

namespace fermix::test {
namespace {

constexpr double Tolerance = 1e-13;

// <l1 m1| component of the unit vector |l2 m2>: x = (C(1,-1) - C(1,1)) / sqrt 2, y = i (C(1,-1) + C(1,1)) /
// sqrt 2.
Amplitude UnitVector(int component, int l1, int m1, int l2, int m2) {
  const double c = SlaterCoefficientC(1, l1, m1, l2, m2);
  if (component == 2) return m1 == m2 ? c : 0;
  if (std::abs(m1 - m2) != 1) return 0;
  const double sign = m1 - m2 == 1 ? -1 : 1;
  return component == 0 ? Amplitude(sign * c / std::sqrt(2)) : Amplitude(0, c / std::sqrt(2));
}

// <l m| r_a r_b |l m'> through all shells that r reaches.
Dense Product(int a, int b, int l) {
  const int n = 2 * l + 1;
  Dense rr(n * n);
  for (int m1 = -l; m1 <= l; ++m1)
    for (int m2 = -l; m2 <= l; ++m2)
      for (int k : {l - 1, l + 1})
        for (int m = -k; m <= k; ++m)
          rr[(m1 + l) * n + m2 + l] += UnitVector(a, l, m1, k, m) * UnitVector(b, k, m, l, m2);
  return rr;
}

// The orbital matrix o on a shell with spin, for one electron: state 2 i + 1 is up, 2 i down.
Dense WithSpin(const Dense& o, int n, const Dense& spin) {
  Dense m(4 * n * n);
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j)
      for (int s = 0; s < 2; ++s)
        for (int t = 0; t < 2; ++t) m[(2 * i + s) * 2 * n + 2 * j + t] = o[i * n + j] * spin[2 * s + t];
  return m;
}

const Dense identity = {1, 0, 0, 1};
const Dense pauliHalf[3] = {
    {0, 0.5, 0.5, 0}, {0, Amplitude(0, 0.5), Amplitude(0, -0.5), 0}, {-0.5, 0, 0, 0.5}};

TEST(Quadrupole, IsTheTensorOfTheUnitVector) {
  using enum QuadrupoleComponent;
  const struct {
    QuadrupoleComponent component;
    const char* name;
    int a, b;
    double factor;  // of r_a r_b
  } cases[] = {{xx, "Qxx", 0, 0, 3},  {yy, "Qyy", 1, 1, 3},  {zz, "Qzz", 2, 2, 3},
               {xy, "Qxy", 0, 1, -3}, {xz, "Qxz", 0, 2, -3}, {yz, "Qyz", 1, 2, 3}};
  for (int l = 1; l <= 3; ++l)
    for (const auto& c : cases) {
      const int n = 2 * l + 1;
      Dense expected = Scaled(Product(c.a, c.b, l), c.factor);
      for (int i = 0; i < n; ++i) expected[i * n + i] -= c.a == c.b ? 1 : 0;
      const OperatorType Q = CreateOperatorQ(c.component, static_cast<std::uint32_t>(2 * n), Shell(l));
      EXPECT_EQ(Q.Name, c.name);
      EXPECT_LT(Distance(Matrix(Q, Sector({2 * n}, {1})), WithSpin(expected, n, identity)), Tolerance)
          << c.name << " l = " << l;
    }
}

// T_a = s_a - 3 sum_b r_a r_b s_b
Dense MagneticDipole(int a, int l) {
  const int n = 2 * l + 1;
  Dense unit(n * n);
  for (int i = 0; i < n; ++i) unit[i * n + i] = 1;
  Dense T = WithSpin(unit, n, pauliHalf[a]);
  for (int b = 0; b < 3; ++b) T = Sum(T, WithSpin(Product(a, b, l), n, pauliHalf[b]), -3);
  return T;
}

TEST(MagneticDipole, IsTheTensorOfTheUnitVectorAndTheSpin) {
  using enum VectorComponent;
  for (int l = 1; l <= 3; ++l) {
    const auto NF = static_cast<std::uint32_t>(4 * l + 2);
    const Sector sector({4 * l + 2}, {1});
    const auto T = [&](VectorComponent c) { return Matrix(CreateOperatorT(c, NF, Shell(l)), sector); };
    const Dense Tx = MagneticDipole(0, l), Ty = MagneticDipole(1, l), Tz = MagneticDipole(2, l);
    EXPECT_LT(Distance(T(x), Tx), Tolerance) << l;
    EXPECT_LT(Distance(T(y), Ty), Tolerance) << l;
    EXPECT_LT(Distance(T(z), Tz), Tolerance) << l;
    EXPECT_LT(Distance(T(plus), Sum(Tx, Ty, Amplitude(0, 1))), Tolerance) << l;
    EXPECT_LT(Distance(T(min), Sum(Tx, Ty, Amplitude(0, -1))), Tolerance) << l;
  }
}

}  // namespace
}  // namespace fermix::test
