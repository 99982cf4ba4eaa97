#include "core/determinant_matrix.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "core/fock_space.h"

namespace fermix {
namespace {

TEST(DeterminantMatrix, HoldsTheElementsBetweenDeterminants) {
  const test::FockSpace space{5};
  std::mt19937 random(14);
  const test::Dense someStates = test::RandomVector(space, random, false, 0.6);
  const WaveFunctionType basis = test::ToState(space, someStates, false);
  ASSERT_LT(ElementCount(basis), space.size());  // elements that lead out of it are left out
  std::vector<std::size_t> states;
  for (std::size_t n = 0; n < space.size(); ++n)
    if (someStates[n] != 0.0) states.push_back(n);
  for (const bool complex : {false, true}) {
    // Not Hermitian: rows and columns differ.
    const auto terms = test::RandomTerms(space, random, 60, 4, complex);
    const CompactMatrixType A = OperatorToDeterminantMatrix(test::ToOperator(space, terms), basis);
    EXPECT_EQ(IsComplexMatrix(A), complex);
    ASSERT_EQ(A.Ni, states.size());
    const test::Dense m = space.matrix(terms);
    for (std::uint32_t i = 0; i < A.Ni; ++i)
      for (std::uint32_t j = 0; j < A.Nj; ++j)
        EXPECT_NEAR(
            std::abs(test::ToStd(CompactMatrixElement(A, i, j)) - m[states[i] * space.size() + states[j]]), 0,
            1e-13);
  }
  EXPECT_THROW(static_cast<void>(OperatorToDeterminantMatrix(InitOperator(3, 0), basis)),
               std::invalid_argument);
}

}  // namespace
}  // namespace fermix
