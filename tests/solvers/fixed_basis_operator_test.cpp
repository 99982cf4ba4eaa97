#include "solvers/fixed_basis_operator.h"

#include <gtest/gtest.h>

#include "solvers/model_systems.h"

namespace fermix::testing {
namespace {

template <class T>
class FixedBasis : public ::testing::Test {};
using Kinds = ::testing::Types<double, Complex16>;
TYPED_TEST_SUITE(FixedBasis, Kinds);

// Every third determinant of a sector: H leaves the basis.
std::vector<Mask> PartOfSector() {
  std::vector<Mask> masks;
  for (const Mask m : Sector(9, 4))
    if (m % 3 != 1) masks.push_back(m);
  return masks;
}

TYPED_TEST(FixedBasis, RowsAndDirectRouteGiveTheProjectedMatrix) {
  using T = TypeParam;
  const Model model = RandomModel(9, IsComplex<T>, 5);
  const std::vector<Mask> masks = PartOfSector();
  const WaveFunctionType psi = MakeState(9, masks, std::vector<Amplitude>(masks.size(), 1.0), IsComplex<T>);
  const DenseMatrix H = Dense(model, masks);
  const double shift = -0.75;
  for (const bool rows : {true, false}) {
    SCOPED_TRACE(rows);
    const auto fixed = MakeFixedBasisOperator<T>(MakeOperator(model), psi, rows);
    EXPECT_EQ(fixed.QRows, rows);
    std::vector<T> x(masks.size()), y(masks.size());
    std::vector<Amplitude> expected(masks.size());
    for (std::size_t i = 0; i < x.size(); ++i) {
      expected[i] = {std::sin(double(i)), IsComplex<T> ? std::cos(3.0 * double(i)) : 0.0};
      x[i] = ToKind<T>({expected[i].real(), expected[i].imag()});
    }
    const std::vector<Amplitude> in = expected;
    expected = Multiply(H, in);
    FixedBasisOperatorMultiply(fixed, shift, x.data(), y.data());
    for (std::size_t i = 0; i < x.size(); ++i) {
      EXPECT_NEAR(expected[i].real() + shift * in[i].real(), Re(y[i]), 1e-12);
      EXPECT_NEAR(expected[i].imag() + shift * in[i].imag(), Im(y[i]), 1e-12);
    }
    // Four vectors at once: x, 2 x, 3 x and 4 x.
    std::vector<T> fourX, fourY(4 * x.size());
    for (const T& value : x)
      for (const double scale : {1.0, 2.0, 3.0, 4.0}) fourX.push_back(value * scale);
    FixedBasisOperatorMultiplyFour(fixed, shift, fourX.data(), fourY.data());
    for (std::size_t k = 0; k < fourY.size(); ++k)
      EXPECT_LT(Abs(fourY[k] - y[k / 4] * (1.0 + double(k % 4))), 1e-12);
  }
}

TEST(FixedBasisOperator, MergesTermsThatLeadToOneDeterminant) {
  const Model model = Hubbard(4, 1.0, 8.0, true);
  const std::vector<Mask> masks = Sector(8, 4);
  const WaveFunctionType psi = MakeState(8, masks, std::vector<Amplitude>(masks.size(), 1.0), false);
  const DenseMatrix H = Dense(model, masks);
  std::size_t entries = masks.size();  // the diagonal is stored whole
  for (std::size_t i = 0; i < H.size(); ++i)
    for (std::size_t j = 0; j < H.size(); ++j) entries += i != j && H[i][j] != 0.0;
  EXPECT_EQ(EntryCount(MakeFixedBasisOperator<double>(MakeOperator(model), psi)), entries);
}

}  // namespace
}  // namespace fermix::testing
