// Operators on states, in all forms, against dense vectors on the whole Fock space and against the
// step-by-step route of the ladder operators.
#include "core/operator_on_state.h"

#include <gtest/gtest.h>

#include <cmath>

#include "core/block_wave_function.h"
#include "core/expectation.h"
#include "core/fock_space.h"

namespace fermix::test {
namespace {

constexpr double Tolerance = 1e-13;  // sums of some hundred terms of magnitude one

struct Kinds {
  bool complexOperator, complexState;
};
constexpr Kinds AllKinds[] = {{false, false}, {false, true}, {true, false}, {true, true}};

TEST(OperatorPsi, EqualsTheDenseProductForAllKinds) {
  std::mt19937 random(5);
  const FockSpace space{8};
  for (const Kinds kinds : AllKinds)
    for (const double filling : {0.02, 0.5, 1.0}) {  // few and many determinants: without and with look-up
      const auto terms = RandomTerms(space, random, 150, 5, kinds.complexOperator);
      const Dense v = RandomVector(space, random, kinds.complexState, filling),
                  expected = space.apply(terms, v);
      const OperatorType O = ToOperator(space, terms);
      const WaveFunctionType psi = ToState(space, v, kinds.complexState);
      const WaveFunctionType Opsi = OperatorPsi(O, psi);
      EXPECT_EQ(QComplex(Opsi), kinds.complexOperator || kinds.complexState);
      EXPECT_LT(Distance(ToDense(space, Opsi), expected), Tolerance);

      WaveFunctionType inside = psi;  // projected on the determinants of psi
      OperatorPsiConserveBasisPreAllocated(O, psi, inside);
      Dense projected = expected;
      for (std::size_t n = 0; n < v.size(); ++n)
        if (v[n] == 0.0) projected[n] = 0;
      EXPECT_LT(Distance(ToDense(space, inside), projected), Tolerance);

      const Amplitude value = ToStd(PsiOperatorPsi(O, psi)), reference = Dot(v, expected);
      EXPECT_LT(std::abs(value - reference), 10 * Tolerance);
      const Dense bra = RandomVector(space, random, true, 0.5);
      EXPECT_LT(std::abs(ToStd(PsiPrimeOperatorPsi(O, ToState(space, bra, true), psi)) - Dot(bra, expected)),
                10 * Tolerance);
    }
}

// What each term of O makes of each determinant of psi, element by element, length by length, term by term.
WaveFunctionType TermByTerm(const OperatorType& O, const WaveFunctionType& psi) {
  const KeyLayout layout = Layout(psi);
  WaveFunctionType sum(layout);
  for (std::uint32_t e = 1; e <= ElementCount(psi); ++e)
    ForEachTerm(O, [&](const LadderIndex* lader, std::uint32_t length, auto value) {
      Key key(ElementKey(psi, e), ElementKey(psi, e) + KeyWords(layout));
      const double amplitude = OperatorLader(key.data(), lader, length, layout.NFermion);
      if (amplitude != 0)
        RealWaveFunctionAddElement(sum, key.data(), amplitude * Re(value) * ElementValue(psi, e).re);
    });
  return sum;
}

// Element order and sums as they are promised, to the last bit. Terms that lead a determinant back to itself
// stand between the others.
void CompareTermByTerm(std::uint32_t seed) {
  std::mt19937 random(seed);
  const FockSpace space{9};
  std::vector<Term> terms = RandomTerms(space, random, 200, 4, false);
  for (std::size_t n = 0; n < 60; ++n) {
    const int i = static_cast<int>(random() % 9) + 1, j = static_cast<int>(random() % 9) + 1;
    const Term diagonal{n % 2 ? std::vector<int>{i, -i} : std::vector<int>{i, j, -j, -i}, 0.1 * (n + 1.0)};
    if (i != j) terms.insert(terms.begin() + 3 * n, diagonal);
  }
  const OperatorType O = ToOperator(space, terms);
  const WaveFunctionType psi = ToState(space, RandomVector(space, random, false, 0.15), false),
                         expected = TermByTerm(O, psi), Opsi = OperatorPsi(O, psi);
  ASSERT_EQ(ElementCount(Opsi), ElementCount(expected));
  for (std::uint32_t e = 1; e <= ElementCount(Opsi); ++e) {
    ASSERT_EQ(*ElementKey(Opsi, e), *ElementKey(expected, e));
    EXPECT_EQ(ElementValue(Opsi, e).re, ElementValue(expected, e).re);
  }
}
TEST(OperatorPsi, ResultsStandInTheOrderInWhichTheyArise) {
  for (std::uint32_t seed = 0; seed < 20; ++seed) CompareTermByTerm(seed);
}

// Bosons, and keys of several words, against one ladder after the other.
TEST(OperatorPsi, WideKeysAndBosonsFollowTheLadderOperators) {
  std::mt19937 random(2);
  for (const KeyLayout layout : {KeyLayout{100, 0}, KeyLayout{200, 0}, KeyLayout{0, 3}, KeyLayout{61, 9}}) {
    SCOPED_TRACE(layout.NFermion);
    const std::uint32_t all = layout.NFermion + layout.NBoson;
    OperatorType O = InitOperator(layout.NFermion, layout.NBoson);
    for (std::uint32_t length = 1; length <= 4; ++length) InitOperatorFixedLength(O, length, 6);
    for (int t = 0; t < 300; ++t) {
      std::vector<LadderIndex> lader;
      for (std::uint32_t k = 1 + random() % 4; k > 0; --k) {
        const std::uint32_t i = random() % all;
        lader.push_back(random() % 2 ? Create(i) : Annihilate(i));
      }
      OperatorAddLader(O, lader, {RandomAmplitude(random, false).real(), 0});
    }
    WaveFunctionType psi(layout);
    for (int e = 0; e < 100; ++e) {
      Key key(KeyWords(layout));
      for (std::uint32_t i = 0; i < layout.NFermion; ++i)
        if (random() % 2) key[i / 64] |= OrbitalBit(i);
      for (std::uint32_t k = 0; k < layout.NBoson; ++k)
        SetKeyByte(key.data(), NFermionBytes(layout.NFermion) + k,
                   std::uint8_t(random() % 3 ? random() % 4 : 255));
      RealWaveFunctionAddElement(psi, key.data(), RandomAmplitude(random, false).real());
    }
    WaveFunctionType expected = TermByTerm(O, psi);
    const WaveFunctionType Opsi = OperatorPsi(O, psi);
    EXPECT_TRUE(QSameBasis(*Opsi.basis, *expected.basis));
    WaveFunctionAddMultipliedUnionBasis(expected, Opsi, -1);
    EXPECT_LT(WaveFunctionCalculateNorm(expected), 1e-12 * WaveFunctionCalculateNorm(Opsi));
  }
}

TEST(OperatorPsi, RestrictionsDropDeterminantsOfTheResult) {
  std::mt19937 random(13);
  for (const std::uint32_t modes : {0u, 2u}) {
    const KeyLayout layout{8, modes};
    DeterminantRestrictionType R{layout, {1, 0}, {2, 3}, {}};
    for (const char* mask : {"11110000", "00111100"})
      R.Masks.push_back(StringToDet(8, modes, std::string(mask) + (modes ? "FF00" : "")));
    OperatorType O = InitOperator(8, modes);
    for (int t = 0; t < 80; ++t) {
      const LadderIndex a = Annihilate(random() % (8 + modes)), b = Create(random() % (8 + modes));
      OperatorAddLader(O, {a, b}, RandomAmplitude(random, false).real());
    }
    WaveFunctionType psi(layout);
    for (int e = 0; e < 200; ++e) {
      Key key = {KeyWord{random() & 0xff} << 56};
      for (std::uint32_t k = 0; k < modes; ++k) SetKeyByte(key.data(), 1 + k, random() % 3);
      RealWaveFunctionAddElement(psi, key.data(), 1);
    }
    WaveFunctionType expected = OperatorPsi(O, psi);
    WaveFunctionRestrict(expected, R);
    O.Restrictions = R;
    const WaveFunctionType Opsi = OperatorPsi(O, psi);
    EXPECT_GT(ElementCount(Opsi), 0u);
    EXPECT_TRUE(QSameBasis(*Opsi.basis, *expected.basis));
    WaveFunctionAddMultipliedUnionBasis(expected, Opsi, -1);
    EXPECT_LT(WaveFunctionCalculateNorm(expected), Tolerance);
  }
}

TEST(OperatorPsi, BlocksOfStatesAndSingleDeterminants) {
  std::mt19937 random(31);
  const FockSpace space{7};
  for (const Kinds kinds : AllKinds) {
    const auto terms = RandomTerms(space, random, 60, 4, kinds.complexOperator);
    const OperatorType O = ToOperator(space, terms);
    std::vector<Dense> vectors;
    std::vector<WaveFunctionType> states;
    for (int k = 0; k < 3; ++k) {
      vectors.push_back(RandomVector(space, random, kinds.complexState));
      states.push_back(ToState(space, vectors[k], kinds.complexState));
    }
    WaveFunctionArrayToSameBasis(states);
    const auto block = BlockWaveFunctionToStates(BlockOperatorPsi(O, BlockWaveFunctionFromStates(states)));
    const auto serial = BlockOperatorPsiSerial(O, states);
    for (int k = 0; k < 3; ++k) {
      EXPECT_LT(Distance(ToDense(space, block[k]), space.apply(terms, vectors[k])), Tolerance);
      EXPECT_LT(Distance(ToDense(space, serial[k]), space.apply(terms, vectors[k])), Tolerance);
    }
    const CompactMatrixType S =
        BlockWaveFunctionDotProduct(BlockWaveFunctionFromStates(states), BlockWaveFunctionFromStates(block));
    EXPECT_LT(
        std::abs(ToStd(CompactMatrixElement(S, 1, 2)) - Dot(vectors[1], space.apply(terms, vectors[2]))),
        10 * Tolerance);

    WaveFunctionType column = states[0], single({7, 0});
    const int status =
        OperatorDeterminantPreAllocated(CompileOperator(O, nullptr, 1), ElementKey(states[0], 5), column);
    EXPECT_EQ(status, kinds.complexOperator && !kinds.complexState);
    if (status) continue;
    RealWaveFunctionAddElement(single, ElementKey(states[0], 5), 1);
    EXPECT_LT(Distance(ToDense(space, column), space.apply(terms, ToDense(space, single))), Tolerance);
  }
}

TEST(BlockWaveFunction, GrowsWithoutChangingStatesOnItsBasis) {
  const Key first = {OrbitalBit(0)}, second = {OrbitalBit(1)};
  WaveFunctionType psi({2, 0});
  RealWaveFunctionAddElement(psi, first.data(), 3);
  BlockWaveFunctionType block = BlockWaveFunctionFromStates({psi, psi});
  const double values[] = {5, 7};
  RealBlockWaveFunctionAddElement(block, second.data(), values);
  EXPECT_EQ(ElementCount(psi), 1u);
  const std::vector<WaveFunctionType> grown = BlockWaveFunctionToStates(block);
  EXPECT_EQ(ElementCount(grown[1]), 2u);
  EXPECT_EQ(ElementValue(grown[1], 1).re, 3);
  EXPECT_EQ(ElementValue(grown[1], 2).re, 7);
}

}  // namespace
}  // namespace fermix::test
