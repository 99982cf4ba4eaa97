#include "solvers/krylov_basis.h"

#include <gtest/gtest.h>

#include "alloc_failure.h"
#include "host/base/verbosity.h"
#include "solvers/model_systems.h"

namespace fermix::test {
namespace {

// State k over masks.
Dense Row(const StateRows& states, std::uint32_t k, const std::vector<Mask>& masks) {
  WaveFunctionType keys;
  keys.basis = states.basis;
  Dense x(masks.size());
  for (std::uint32_t i = 0; i < states.rows.Nj; ++i) {
    const auto at = std::find(masks.begin(), masks.end(), MaskOf(keys, i + 1));
    const Amplitude value = ToStd(CompactMatrixElement(states.rows, k, i));
    if (at != masks.end())
      x[at - masks.begin()] = value;
    else
      EXPECT_EQ(value, 0.0);
  }
  return x;
}

// The states are orthonormal, begin with psi and make a chain of H.
void ExpectKrylovBasis(const KrylovBasis& K, const Dense& H, const Dense& psi,
                       const std::vector<Mask>& masks) {
  const TriDiagonalMatrixType& M = K.chain;
  const std::size_t n = ChainLength(M);
  ASSERT_EQ(K.states.rows.Ni, n);
  std::vector<Dense> v;
  for (std::uint32_t k = 0; k < n; ++k) v.push_back(Row(K.states, k, masks));
  for (std::size_t i = 0; i < psi.size(); ++i) EXPECT_LT(std::abs(psi[i] - M.b[0] * v[0][i]), 1e-12);
  for (std::size_t j = 0; j < n; ++j) {
    const Dense Hv = Multiply(H, v[j]);
    for (std::size_t i = 0; i < n; ++i) {
      EXPECT_LT(std::abs(Dot(v[i], v[j]) - (i == j ? 1.0 : 0.0)), 1e-13) << i << " " << j;
      const double element = i == j ? M.a[i + 1] : i + 1 == j ? M.b[j] : j + 1 == i ? M.b[i] : 0;
      EXPECT_LT(std::abs(Dot(v[i], Hv) - element), 1e-11) << i << " " << j;
    }
  }
}

TEST(KrylovBasis, StatesAreOrthonormalAndMakeTheChain) {
  const struct {
    bool complexOperator, complexState;
  } kinds[] = {{false, false}, {false, true}, {true, false}, {true, true}};
  for (const auto& kind : kinds)
    for (const bool shareRows : {true, false})
      for (const std::uint32_t length : {1u, 2u, 40u}) {
        SCOPED_TRACE(testing::Message() << kind.complexOperator << kind.complexState << shareRows << length);
        const Model model = RandomModel(8, kind.complexOperator, 5);
        const std::vector<Mask> masks = Electrons(4, 8);  // 70
        Dense start(masks.size());
        for (std::size_t i = 0; i < 9; ++i)
          start[7 * i] = {std::cos(double(i)), kind.complexState ? 0.3 * double(i) : 0};
        const KrylovBasis K = LanczosTriDiagonalizeKrylov(MakeOperator(model), nullptr,
                                                          MakeState(8, masks, start, kind.complexState),
                                                          {length, 0, 0, shareRows});
        ASSERT_EQ(ChainLength(K.chain), length);
        ExpectKrylovBasis(K, MatrixOf(model, masks), start, masks);
      }
}

// Both ways give a script the same states, element by element. They project on states that truncation left
// not quite orthogonal, all at once or one after the other, which differs in second order.
TEST(KrylovBasis, StatesOfTheirOwnHaveOneOrderOfElements) {
  for (const bool complex : {false, true})
    for (const double epsilon : {1e-10, 1e-2}) {
      SCOPED_TRACE(testing::Message() << complex << epsilon);
      const OperatorType H = MakeOperator(RandomModel(8, complex, 7));
      const WaveFunctionType psi = MakeState(8, {0b10011, 0b1011, 0b1101}, {1.0, 0.5, -0.2}, false);
      const KrylovStates shared = LanczosKrylovStates(H, nullptr, psi, {12, epsilon, 0, true}),
                         alone = LanczosKrylovStates(H, nullptr, psi, {12, epsilon, 0, false});
      ASSERT_EQ(shared.states.size(), 12u);
      ASSERT_EQ(alone.states.size(), 12u);
      for (std::size_t k = 0; k < 12; ++k) {
        ASSERT_TRUE(QSameBasis(*shared.states[k].basis, *alone.states[k].basis)) << k;
        EXPECT_EQ(QComplex(shared.states[k]), complex);
        for (std::uint32_t i = 1; i <= ElementCount(alone.states[k]); ++i)
          EXPECT_LT(Abs(ElementValue(shared.states[k], i) - ElementValue(alone.states[k], i)),
                    std::max(1e-12, epsilon * epsilon));
      }
    }
}

TEST(KrylovBasis, ASpaceThatClosesEndsTheChain) {
  Model model{2, {}};
  model.Add({C(0), A(0)}, 1.0);
  model.Add({C(1), A(1)}, 3.0);
  model.AddHermitian({C(0), A(1)}, 0.5);
  for (const bool shareRows : {true, false})
    for (const double epsilon : {0.0, 1e-10}) {
      const OperatorType H = MakeOperator(model);
      const LanczosSettings settings{5, epsilon, 0, shareRows};
      const KrylovBasis K =
          LanczosTriDiagonalizeKrylov(H, nullptr, MakeState(2, {1}, {2.0}, false), settings);
      EXPECT_EQ(K.states.rows.Ni, 2u);
      EXPECT_EQ(K.chain.a, (std::vector<double>{0, 1, 3}));
      EXPECT_EQ(K.chain.b, (std::vector<double>{2, 0.5}));
      // A norm of 0, and an empty state.
      for (const auto& psi : {MakeState(2, {1}, {0.0}, true), MakeState(2, {}, {}, false)}) {
        const KrylovBasis none = LanczosTriDiagonalizeKrylov(H, nullptr, psi, settings);
        EXPECT_EQ(none.states.rows.Ni, 0u);
        EXPECT_EQ(ChainLength(none.chain), 0u);
      }
    }
}

TEST(KrylovBasis, WithoutMemoryForRowsItGoesTermByTerm) {
  const Model model = RandomModel(6, false, 6);
  const OperatorType H = MakeOperator(model);
  const std::vector<Mask> masks = Electrons(3, 6);
  const Dense start(masks.size(), 0.5), matrix = MatrixOf(model, masks);
  const WaveFunctionType psi = MakeState(6, masks, start, false);
  testing::internal::CaptureStdout();
  FailEachAllocation(
      0,
      [&](int) {
        ExpectKrylovBasis(LanczosTriDiagonalizeKrylov(H, nullptr, psi, {4}), matrix, start, masks);
      },
      [](int) {});
  testing::internal::GetCapturedStdout();
}

}  // namespace
}  // namespace fermix::test
