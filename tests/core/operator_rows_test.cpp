// Products through remembered rows against products term by term.
#include "core/operator_rows.h"

#include <gtest/gtest.h>

#include "alloc_failure.h"
#include "core/fock_space.h"
#include "core/operator_on_state.h"
#include "core/panel.h"

namespace fermix::test {
namespace {

constexpr double Tolerance = 1e-13;

// Same determinants under the same numbers, and close values.
void ExpectSameState(const WaveFunctionType& a, const WaveFunctionType& b) {
  ASSERT_TRUE(QSameBasis(*a.basis, *b.basis));
  for (std::uint32_t i = 1; i <= ElementCount(a); ++i)
    EXPECT_LT(Abs(ElementValue(a, i) - ElementValue(b, i)), Tolerance);
}

// Three products one upon the other, twice: rows are made in the first round, and remembered in the second
// unless the limit forbids it.
template <class C, class X>
void CompareWithDirectProducts(std::size_t limit, bool restricted) {
  constexpr bool complexOperator = IsComplex<C>, complexState = IsComplex<X>;
  using T = decltype(C{} * X{});
  std::mt19937 random(77);
  const FockSpace space{10};
  OperatorType O = ToOperator(space, RandomTerms(space, random, 25, 4, complexOperator));
  for (std::uint32_t i = 0; i < 10; ++i) OperatorAddLader(O, {Annihilate(i), Create(i)}, {0.1 * i, 0});
  if (restricted) O.Restrictions = {{10, 0}, {1}, {3}, {StringToDet(10, 0, "1111100000")}};
  const WaveFunctionType psi = ToState(space, RandomVector(space, random, complexState, 0.05), complexState);
  OperatorRows<C> rows(O, nullptr, std::make_shared<DeterminantBasis>(Layout(psi)), limit);
  NumberedSums<T> sums;
  NumberedSums<decltype(C{} * T{})> furtherSums;
  for (int round = 0; round < 2; ++round) {
    const auto first = OperatorRowsMultiply(rows, NumberState<X>(*rows.numbering, psi), sums);
    const auto second = OperatorRowsMultiply(rows, first, furtherSums);
    const WaveFunctionType Opsi = OperatorPsi(O, psi), OOpsi = OperatorPsi(O, Opsi);
    ExpectSameState(StateOfNumbers(*rows.numbering, first), Opsi);
    ExpectSameState(StateOfNumbers(*rows.numbering, second), OOpsi);
    EXPECT_GT(ElementCount(OOpsi), 50u);
  }
  EXPECT_EQ(rows.rows > 0, limit > 0);
}

TEST(OperatorRows, GiveWhatTermsOneByOneGive) {
  for (const std::size_t limit : {std::size_t{1} << 30, std::size_t{2000}, std::size_t{0}})
    for (const bool restricted : {false, true}) {
      CompareWithDirectProducts<double, Complex16>(limit, restricted);
      CompareWithDirectProducts<Complex16, double>(limit, restricted);
    }
}

// Products of panels, with all rows remembered, with those up to a limit, and with some forgotten on the way.
TEST(OperatorRows, GiveOneProductOfPanelsWhateverIsRemembered) {
  std::mt19937 random(5);
  const FockSpace space{10};
  const OperatorType O = ToOperator(space, RandomTerms(space, random, 30, 4, false));
  const WaveFunctionType psi = ToState(space, RandomVector(space, random, false, 0.01), false);
  std::vector<LargeVector<double>> products;
  for (const std::size_t limit : {SIZE_MAX, std::size_t{2000}, std::size_t{0}}) {
    OperatorRows<double> rows(O, nullptr, std::make_shared<DeterminantBasis>(Layout(psi)), limit);
    Panel x{2, {}}, y;
    for (const std::uint32_t number : NumberState<double>(*rows.numbering, psi).number) {
      ExtendPanel(x, number + 1);
      x.value[2 * number] = number;
      x.value[2 * number + 1] = 1;
    }
    for (int k = 0; k < 3; ++k) {
      OperatorRowsMultiplyPanel(rows, x, y);
      EXPECT_EQ(Numbers(x), rows.numbering->N + 1);
      std::swap(x, y);
      if (limit == 2000) ForgetRows(rows);
    }
    EXPECT_EQ(rows.rows > 0, limit == SIZE_MAX);
    products.push_back(x.value);
  }
  ASSERT_GT(products[0].size(), 400u);
  for (const auto& product : products) {
    ASSERT_EQ(product.size(), products[0].size());
    for (std::size_t i = 0; i < product.size(); ++i) EXPECT_NEAR(product[i], products[0][i], 1e-9);
  }
}

// Where memory runs out, a product fails or does without remembered rows; the next one is right in any case.
TEST(OperatorRows, StandAnyFailureOfMemory) {
  std::mt19937 random(3);
  const FockSpace space{8};
  const OperatorType O = ToOperator(space, RandomTerms(space, random, 40, 4, false));
  const WaveFunctionType psi = ToState(space, RandomVector(space, random, false, 0.3), false),
                         expected = OperatorPsi(O, psi);
  bool failed = true;
  for (std::size_t n = 0; failed; ++n) {
    OperatorRows<double> rows(O, nullptr, std::make_shared<DeterminantBasis>(Layout(psi)), 1 << 20);
    const auto x = NumberState<double>(*rows.numbering, psi);
    NumberedSums<double> sums;
    {
      FailingAllocation failure(n);
      try {
        OperatorRowsMultiply(rows, x, sums);
      } catch (const std::bad_alloc&) {
      }
    }
    failed = QAllocationFailed();
    ExpectSameState(StateOfNumbers(*rows.numbering, OperatorRowsMultiply(rows, x, sums)), expected);
  }
}

}  // namespace
}  // namespace fermix::test
