#include "atomic/shell_operators.h"

#include "atomic/sector.h"

namespace fermix::test {
namespace {

constexpr double Tolerance = 1e-12;

using Family = OperatorType (*)(VectorComponent, std::uint32_t, const ShellIndices&);
constexpr struct {
  const char* name;
  Family create;
} families[] = {{"S", CreateOperatorS}, {"L", CreateOperatorL}, {"J", CreateOperatorJ}};

constexpr VectorComponent components[] = {VectorComponent::x,    VectorComponent::y,   VectorComponent::z,
                                          VectorComponent::plus, VectorComponent::min, VectorComponent::sqr};

// The six components on l^n.
struct Components {
  std::size_t n;
  Dense x, y, z, plus, min, sqr;

  Components(Family create, int l, const Sector& sector) : n(sector.size()) {
    Dense* const all[] = {&x, &y, &z, &plus, &min, &sqr};
    const auto NF = static_cast<std::uint32_t>(4 * l + 2);
    for (int i = 0; i < 6; ++i) *all[i] = Matrix(create(components[i], NF, Shell(l)), sector);
  }
};

TEST(AngularMomentum, CommutatorsAndSquares) {
  const Amplitude i(0, 1);
  for (const auto& family : families)
    for (int l = 0; l <= 3; ++l)
      for (int electrons = 1; electrons <= 2; ++electrons) {
        SCOPED_TRACE(testing::Message() << family.name << ", l = " << l << ", " << electrons << " electrons");
        const Components V(family.create, l, Sector({4 * l + 2}, {electrons}));
        EXPECT_LT(Distance(Commutator(V.x, V.y, V.n), Scaled(V.z, i)), Tolerance);
        EXPECT_LT(Distance(Commutator(V.y, V.z, V.n), Scaled(V.x, i)), Tolerance);
        EXPECT_LT(Distance(Commutator(V.z, V.x, V.n), Scaled(V.y, i)), Tolerance);
        EXPECT_LT(Distance(V.plus, Sum(V.x, V.y, i)), Tolerance);
        EXPECT_LT(Distance(V.min, Adjoint(V.plus, V.n)), Tolerance);
        const Dense squares =
            Sum(Sum(Multiply(V.x, V.x, V.n), Multiply(V.y, V.y, V.n)), Multiply(V.z, V.z, V.n));
        EXPECT_LT(Distance(V.sqr, squares), Tolerance);
      }
}

TEST(AngularMomentum, OneElectronHasItsQuantumNumbers) {
  for (int l = 0; l <= 3; ++l) {
    const int all = 4 * l + 2;
    const Sector sector({all}, {1});
    const Dense s = Components(CreateOperatorS, l, sector).sqr,
                o = Components(CreateOperatorL, l, sector).sqr,
                j = Components(CreateOperatorJ, l, sector).sqr,
                ldots = Matrix(CreateOperatorldots(static_cast<std::uint32_t>(all), Shell(l)), sector);
    ExpectLevels(Eigenvalues(s, sector.size()), {{0.75, all}}, Tolerance);
    ExpectLevels(Eigenvalues(o, sector.size()), {{l * (l + 1.0), all}}, Tolerance);
    ExpectLevels(Eigenvalues(j, sector.size()),
                 {{(l - 0.5) * (l + 0.5), 2 * l}, {(l + 0.5) * (l + 1.5), 2 * l + 2}}, Tolerance);
    EXPECT_LT(Distance(Scaled(ldots, 2), Sum(Sum(j, s, -1), o, -1)), Tolerance) << l;
  }
}

TEST(ShellOperators, UpIsPlusAndComponentsAreRealWhereTheyCanBe) {
  const Dense Sz = Matrix(CreateOperatorS(VectorComponent::z, 2, {{{1}, {0}}}), Sector({2}, {1}));
  EXPECT_EQ(Sz, (Dense{-0.5, 0, 0, 0.5}));
  EXPECT_EQ(TermCount(CreateOperatorS(VectorComponent::x, 10, Shell(2)).l[2]), 10u);
}

}  // namespace
}  // namespace fermix::test
