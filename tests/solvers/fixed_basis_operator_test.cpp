#include "solvers/fixed_basis_operator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>

#include "core/operator_on_state.h"
#include "solvers/model_systems.h"

namespace fermix::test {
namespace {

template <class T>
class FixedBasis : public ::testing::Test {};
using Kinds = ::testing::Types<double, Complex16>;
TYPED_TEST_SUITE(FixedBasis, Kinds);

TYPED_TEST(FixedBasis, RowsAndDirectRouteGiveTheProjectedMatrix) {
  using T = TypeParam;
  const Model model = RandomModel(9, IsComplex<T>, 5);
  std::vector<Mask> masks;  // a part of the sector: H leaves the basis
  for (const Mask m : Electrons(4, 9))
    if (m % 3 != 1) masks.push_back(m);
  const double shift = -0.75;
  Dense in(masks.size());
  for (std::size_t i = 0; i < in.size(); ++i)
    in[i] = {std::sin(double(i)), IsComplex<T> ? std::cos(3.0 * double(i)) : 0.0};
  const WaveFunctionType state = MakeState(9, masks, in, IsComplex<T>);
  const Dense expected = Multiply(MatrixOf(model, masks), in);
  for (const bool rows : {true, false}) {
    const auto fixed = MakeFixedBasisOperator<T>(MakeOperator(model), state, rows);
    EXPECT_EQ(fixed.QRows, rows);
    const WorkVector<T> x = VectorOfState(fixed, state);
    WorkVector<T> y(x.size());
    FixedBasisOperatorMultiply(fixed, shift, x.data(), y.data());
    WaveFunctionType product = WaveFunctionInitCopyBasis(state);
    SetStateToVector(fixed, y, product);
    for (std::size_t i = 0; i < x.size(); ++i) {
      const Complex16 z = ElementValue(product, static_cast<std::uint32_t>(i + 1));
      EXPECT_LT(std::abs(expected[i] + shift * in[i] - Amplitude(z.re, z.im)), 1e-12) << rows;
    }
  }
}

TEST(FixedBasisOperator, MergesTermsThatLeadToOneDeterminant) {
  const Model model = Hubbard(4, 1.0, 8.0, true);
  const std::vector<Mask> masks = Electrons(4, 8);
  const Dense H = MatrixOf(model, masks);
  std::size_t entries = masks.size();  // the diagonal is stored whole
  for (std::size_t k = 0; k < H.size(); ++k) entries += k / masks.size() != k % masks.size() && H[k] != 0.0;
  EXPECT_EQ(EntryCount(MakeFixedBasisOperator<double>(MakeOperator(model), MakeState(8, masks))), entries);
}

// Rows that were made on another order of the basis, before some determinants were truncated, give what the
// terms give: the same determinants in the same order.
TYPED_TEST(FixedBasis, ClosedRowsGiveTheGrowingProduct) {
  using T = TypeParam;
  OperatorType H = MakeOperator(RandomModel(8, IsComplex<T>, 7));
  OperatorAddConstant(H, 0.0);
  std::vector<Mask> masks = Electrons(3, 8);
  auto rows = MakeClosedOperator<T>(H, MakeState(8, masks, IsComplex<T>), {});
  ASSERT_TRUE(rows.has_value());
  EXPECT_EQ(rows->leaving, Leaving::Nowhere);
  std::rotate(masks.begin(), masks.begin() + 20, masks.end());
  masks.resize(5);
  Dense x(masks.size());
  for (std::size_t i = 0; i < x.size(); ++i) x[i] = {1 + std::sin(double(i)), IsComplex<T> ? 0.5 : 0};
  const WaveFunctionType first = MakeState(8, masks, x, IsComplex<T>);
  WaveFunctionType second = first;
  WaveFunctionMultiply(second, -0.25, 0);
  ASSERT_TRUE(MoveToBasis(*rows, first));
  const auto product = ClosedProduct(*rows, {first, second}),
             expected = BlockOperatorPsiSerial(H, {first, second});
  for (const std::size_t k : {0u, 1u}) {
    ASSERT_TRUE(QSameBasis(*product[k].basis, *expected[k].basis));
    for (std::uint32_t i = 1; i <= ElementCount(product[k]); ++i)
      EXPECT_LT(Abs(ElementValue(product[k], i) - ElementValue(expected[k], i)), 1e-13);
  }
  masks.push_back(Electrons(4, 8)[0]);
  EXPECT_FALSE(MoveToBasis(*rows, MakeState(8, masks, IsComplex<T>)));
}

TEST(FixedBasisOperator, ClosedIsJudgedUnderRestrictions) {
  const OperatorType H = MakeOperator(RandomModel(8, false, 7));
  std::vector<Mask> masks;  // three electrons, at most one of them in the first four orbitals
  const Mask low = Electrons(4, 4)[0];
  for (const Mask m : Electrons(3, 8))
    if (std::popcount(m & low) <= 1) masks.push_back(m);
  const WaveFunctionType state = MakeState(8, masks);
  EXPECT_FALSE(MakeClosedOperator<double>(H, state, {}).has_value());
  const auto rows = MakeClosedOperator<double>(H, state, Restrict(8, {{low, 0, 1}}));
  ASSERT_TRUE(rows.has_value());
  EXPECT_EQ(rows->leaving, Leaving::ToForbidden);
}

}  // namespace
}  // namespace fermix::test
