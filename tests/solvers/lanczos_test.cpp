#include "solvers/lanczos.h"

#include <gtest/gtest.h>

#include "host/base/verbosity.h"
#include "solvers/model_systems.h"

namespace fermix::test {
namespace {

// <v_1|T^k|v_1> of the chain, times the weight b[0]^2: what <psi|H^k|psi> has to be for k < 2 N.
double ChainMoment(const TriDiagonalMatrixType& M, int k) {
  const std::size_t N = M.b.size();
  std::vector<double> x(N + 2), y(N + 2);
  x[1] = 1;
  for (; k > 0; --k) {
    for (std::size_t i = 1; i <= N; ++i)
      y[i] = M.a[i] * x[i] + (i > 1 ? M.b[i - 1] * x[i - 1] : 0) + (i < N ? M.b[i] * x[i + 1] : 0);
    x = y;
  }
  return x[1] * M.b[0] * M.b[0];
}

double ExactMoment(const Dense& H, Dense x, int k) {
  const Dense psi = x;
  for (; k > 0; --k) x = Multiply(H, x);
  return Dot(psi, x).real();
}

TriDiagonalMatrixType Chain(std::size_t N) {
  TriDiagonalMatrixType M;
  M.a.assign(N + 1, -7.0);  // must be overwritten
  M.b.assign(N, -7.0);
  return M;
}

TEST(Lanczos, ChainHasTheMomentsOfTheOperatorInAllForms) {
  const struct {
    const char* form;
    bool complexOperator, complexState, mixed;
  } cases[] = {{"RR", false, false, false},
               {"RC", false, true, false},
               {"CC", true, false, false},  // the state is made complex
               {"CC", true, true, false},
               {"MC", true, true, true}};
  GlobalVerbosity = 1;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.form);
    Model model = RandomModel(8, c.complexOperator, 3);
    if (c.mixed) model.Add({}, 0.25);  // a real constant next to complex tables
    const std::vector<Mask> masks = Electrons(4, 8);
    Dense start(masks.size());
    for (std::size_t i = 0; i < 20; ++i)
      start[3 * i] = {std::cos(double(i)), c.complexState ? 0.3 * double(i) : 0};
    WaveFunctionType psi = MakeState(8, masks, start, c.complexState);
    TriDiagonalMatrixType M = Chain(6);
    EXPECT_EQ(Printed([&] { LanczosTriDiagonalize(MakeOperator(model), psi, 0, M, 0.1); }),
              std::string("Start of LanczosTriDiagonalize") + c.form + "\n");
    EXPECT_EQ(M.a[0], 0);
    const Dense H = MatrixOf(model, masks);
    double scale = ExactMoment(H, start, 0);
    for (int k = 0; k < 12; ++k) {
      EXPECT_NEAR(ChainMoment(M, k) / scale, ExactMoment(H, start, k) / scale, 1e-10) << "moment " << k;
      scale *= 8;  // about the largest eigenvalue
    }
  }
  GlobalVerbosity = 0;
}

TEST(Lanczos, RestrictionsProjectTheStartAndAllThatFollows) {
  const Model model = RandomModel(8, false, 4);
  const Mask half = 0x0f;
  const DeterminantRestrictionType R = Restrict(8, {{half, 2, 3}});
  std::vector<Mask> all = Electrons(4, 8), inside;
  for (const Mask m : all)
    if (std::popcount(m & half) == 2 || std::popcount(m & half) == 3) inside.push_back(m);
  Dense start(all.size(), 0.5), startInside(inside.size(), 0.5);
  const WaveFunctionType psi = MakeState(8, all, start, false),
                         psiInside = MakeState(8, inside, startInside, false);
  const Dense H = MatrixOf(model, inside);
  OperatorType restricted = MakeOperator(model);
  restricted.Restrictions = R;

  TriDiagonalMatrixType own = Chain(5), given = Chain(5);
  LanczosTriDiagonalize(restricted, psi, 0, own, 0.1);
  LanczosTriDiagonalizeRestricted(MakeOperator(model), psiInside, R, 0, given, 0.1);
  for (int k = 0; k < 10; ++k) {
    const double exact = ExactMoment(H, startInside, k);
    EXPECT_NEAR(ChainMoment(own, k), exact, 1e-10 * std::fabs(exact) + 1e-10);
    EXPECT_NEAR(ChainMoment(given, k), exact, 1e-10 * std::fabs(exact) + 1e-10);
  }
}

TEST(Lanczos, ChainThatClosesGoesOnWithZeros) {
  // One electron on two levels: the space has two dimensions.
  Model model{2, {}};
  model.Add({C(0), A(0)}, 1.0);
  model.Add({C(1), A(1)}, 3.0);
  model.AddHermitian({C(0), A(1)}, 0.5);
  const WaveFunctionType psi = MakeState(2, {1}, {2.0}, false);
  TriDiagonalMatrixType M = Chain(5);
  EXPECT_EQ(LanczosTriDiagonalize(MakeOperator(model), psi, 1e-12, M, 0.1), 2u);
  const std::vector<double> a = {0, 1, 3, 0, 0, 0}, b = {2, 0.5, 0, 0, 0};
  for (std::size_t k = 0; k < a.size(); ++k) EXPECT_NEAR(M.a[k], a[k], 1e-12) << k;
  for (std::size_t k = 0; k < b.size(); ++k) EXPECT_NEAR(M.b[k], b[k], 1e-12) << k;
}

TEST(Lanczos, ShortChainsAndEmptyStarts) {
  const Model model = RandomModel(4, true, 9);
  const OperatorType H = MakeOperator(model);
  TriDiagonalMatrixType none = Chain(0), one = Chain(1), zero = Chain(4);
  const WaveFunctionType psi = MakeState(4, {3}, {Amplitude(0, 2)}, true);
  EXPECT_EQ(LanczosTriDiagonalize(H, psi, 0, none, 0.1), 0u);
  EXPECT_EQ(LanczosTriDiagonalize(H, psi, 0, one, 0.1), 1u);
  EXPECT_DOUBLE_EQ(one.b[0], 2);
  EXPECT_NEAR(one.a[1], MatrixOf(model, {3})[0].real(), 1e-14);
  EXPECT_EQ(LanczosTriDiagonalize(H, MakeState(4, {3}, {0.0}, true), 1e-10, zero, 0.0), 0u);
  EXPECT_EQ(zero.a, std::vector<double>(5));
  EXPECT_EQ(zero.b, std::vector<double>(4));
}

TEST(Lanczos, ProgressLinesNameTheCoefficients) {
  GlobalVerbosity = 256;
  Model model{2, {}};
  model.Add({C(0), A(0)}, 1.0);
  model.AddHermitian({C(0), A(1)}, 0.5);
  TriDiagonalMatrixType M = Chain(2);
  const WaveFunctionType psi = MakeState(2, {1}, {1.0}, false);
  EXPECT_EQ(Printed([&] { LanczosTriDiagonalize(MakeOperator(model), psi, 1e-10, M, 0.5); }),
            "BasisSetSize:            1            1\n"
            "BasisSetSize:            2            1 | M.a[  1] M.b[  0]:  1.00000E+00  1.00000E+00 | Err:  "
            "1.00000E+00\n"
            "BasisSetSize:            1              | M.a[  2] M.b[  1]:  0.00000E+00  5.00000E-01 | Err:  "
            "2.00000E-01\n\n");
  GlobalVerbosity = 0;
}

}  // namespace
}  // namespace fermix::test
