// Matrix elements against the whole Fock space.
#include "core/expectation.h"

#include <gtest/gtest.h>

#include "fock_space.h"

namespace fermix {
namespace {

using namespace test;

// Bras of both kinds, on the basis of the ket, on an equal one, on others, and on none; more results than a
// batch.
TEST(Expectation, OneWalkServesManyBras) {
  const FockSpace space{7};
  std::mt19937 random(7);
  for (const bool complex : {false, true}) {
    const std::vector<Term> terms = RandomTerms(space, random, 40, 4, complex);
    const Dense v = RandomVector(space, random, complex, 0.8);
    const WaveFunctionType ket = ToState(space, v, complex);
    const std::vector<WaveFunctionType> bras{ket,
                                             ToState(space, v, complex),
                                             ToState(space, RandomVector(space, random, false, 0.5), false),
                                             ToState(space, v, true),
                                             ToState(space, RandomVector(space, random, true), true),
                                             WaveFunctionType(ToLayout(space))};
    std::vector<const WaveFunctionType*> pointers;
    for (const auto& bra : bras) pointers.push_back(&bra);
    const OperatorType O = ToOperator(space, terms);
    const std::vector<Complex16> values = PsiPrimeOperatorPsi(CompileForElements(O, {&ket}), pointers, ket);
    const Dense Ov = space.apply(terms, v);
    ASSERT_EQ(values.size(), bras.size());
    for (std::size_t b = 0; b < bras.size(); ++b)
      EXPECT_LT(std::abs(ToStd(values[b]) - Dot(ToDense(space, bras[b]), Ov)), 1e-10) << b;
  }
}

// Hopping from orbital 0 to three others and back: each way adds 1 to the square, also outside of the basis.
TEST(Expectation, SquareGoesThroughAllowedDeterminants) {
  OperatorType H = InitOperator(4, 0);
  for (std::uint32_t i = 1; i < 4; ++i) {
    OperatorAddLader(H, {Annihilate(0), Create(i)}, 1);
    OperatorAddLader(H, {Annihilate(i), Create(0)}, 1);
  }
  WaveFunctionType psi({4, 0});
  RealWaveFunctionAddElement(psi, StringToDet(4, 0, "1000").data(), 1);
  EXPECT_EQ(PsiHermitianOperatorPsi(H, psi), 0);
  EXPECT_EQ(PsiHermitianOperatorSqrPsi(H, psi), 3);
  DeterminantRestrictionType R;
  R.layout = {4, 0};
  R.Masks = {StringToDet(4, 0, "0110")};
  R.MinOccupation = {0};
  R.MaxOccupation = {0};
  EXPECT_EQ(PsiHermitianOperatorSqrPsi(H, psi, &R), 1);
}

}  // namespace
}  // namespace fermix
