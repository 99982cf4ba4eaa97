#include "solvers/fixed_basis_operator.h"

#include <gtest/gtest.h>

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

}  // namespace
}  // namespace fermix::test
