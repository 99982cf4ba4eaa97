#include "solvers/basis_growth.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <set>

#include "solvers/model_systems.h"

namespace fermix::test {
namespace {

std::vector<Mask> MasksOf(const WaveFunctionType& psi) {
  std::vector<Mask> masks;
  for (std::uint32_t i = 1; i <= ElementCount(psi); ++i) masks.push_back(MaskOf(psi, i));
  return masks;
}

TEST(ExtendBasisCompleteness, StartsEmptyThenFullThenDownToTheLastOrbital) {
  for (const bool complex : {false, true}) {
    WaveFunctionType psi({3, 1}, complex);
    ASSERT_EQ(ExtendBasisCompletenessSmallSystems({}, psi), 0);
    EXPECT_EQ(MasksOf(psi), (std::vector<Mask>{0b000, 0b111, 0b011, 0b101, 0b001, 0b110, 0b010, 0b100}));
    for (std::uint32_t i = 1; i <= ElementCount(psi); ++i) {
      EXPECT_EQ(KeyByte(ElementKey(psi, i), 1), 0) << "modes stay empty";
      EXPECT_TRUE(ElementValue(psi, i) == Complex16(1, complex ? 1 : 0));
    }
  }
}

TEST(ExtendBasisCompleteness, KeepsWhatTheRestrictionsAllow) {
  // 2 electrons on orbitals 0-3, at most 1 on 4 and 5: 6 * (1 + 2).
  WaveFunctionType psi({6, 0}), none({0, 0}), large({31, 0});
  ASSERT_EQ(ExtendBasisCompletenessSmallSystems(Restrict(6, {{0x0f, 2, 2}, {0x30, 0, 1}}), psi), 0);
  EXPECT_EQ(ElementCount(psi), 18u);
  ASSERT_EQ(ExtendBasisCompletenessSmallSystems({}, none), 0);
  EXPECT_EQ(ElementCount(none), 1u);
  EXPECT_EQ(Printed([&] { EXPECT_EQ(ExtendBasisCompletenessSmallSystems(FixedCount(31, 0), large), 1); }),
            "Error in ExtendBasisCompletenessSmallSystems max number of Fermions is 30\n");
}

TEST(ExtendBasisUsingRestrictions, HopsWithinEachRestriction) {
  // Orbitals 0-2 hold one electron, 3-5 two: a hop moves either within its group.
  const DeterminantRestrictionType R = Restrict(6, {{0x07, 1, 1}, {0x38, 2, 2}});
  for (const bool complex : {false, true}) {
    WaveFunctionType psi = MakeState(6, {0b011001}, complex);
    ASSERT_EQ(ExtendBasisUsingRestrictions(R, psi), 0);
    EXPECT_EQ(QComplex(psi), complex);
    const std::vector<Mask> masks = MasksOf(psi);
    EXPECT_EQ(std::set<Mask>(masks.begin(), masks.end()),
              (std::set<Mask>{0b011001, 0b011010, 0b011100, 0b101001, 0b110001}));
    EXPECT_EQ(masks[0], Mask{0b011001}) << "what was there comes first";
  }
}

TEST(CreateStartingFunctions, GivesOrthonormalStatesInsideTheRestrictions) {
  const struct {
    std::uint32_t orbitals, electrons, states, expectedStates;
    bool complex;
  } cases[] = {{6, 3, 4, 4, false},
               {3, 1, 5, 3, true},  // more states than determinants: the rest is zero
               {30, 2, 6, 6, false},
               {30, 1, 40, 30, true}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.orbitals);
    const OperatorType H = MakeOperator(RandomModel(c.orbitals, c.complex, 2));
    const DeterminantRestrictionType R = FixedCount(c.orbitals, c.electrons);
    std::srand(1);
    std::vector<WaveFunctionType> psi;
    ASSERT_EQ(CreateStartingFunctions(H, c.states, R, psi, 10), 0);
    ASSERT_EQ(psi.size(), c.states);
    for (const Mask m : MasksOf(psi[0])) EXPECT_EQ(std::popcount(m), int(c.electrons));
    for (std::uint32_t i = 0; i < c.states; ++i) {
      EXPECT_EQ(psi[i].basis, psi[0].basis);
      EXPECT_EQ(QComplex(psi[i]), c.complex);
      for (std::uint32_t j = 0; j <= i; ++j) {
        const Complex16 overlap = WaveFunctionDotProductSameBasis(psi[j], psi[i]);
        EXPECT_NEAR(overlap.re, i == j && i < c.expectedStates, 1e-10) << i << " " << j;
        EXPECT_NEAR(overlap.im, 0, 1e-10);
      }
    }
  }
}

// Bounds that overlap: orbital after orbital, a full first half leaves too few electrons to the second one.
TEST(CreateStartingFunctions, MeetsAnyRestrictionsThatCanBeMet) {
  const OperatorType H = MakeOperator(FreeChain(40, 1));
  const Mask all = (Mask{1} << 40) - 1, low = 0xfffff, middle = 0x3ffffc00;
  std::srand(1);
  for (const std::uint32_t least : {0u, 8u, 10u, 11u, 21u}) {
    SCOPED_TRACE(least);
    const DeterminantRestrictionType R =
        Restrict(40, {{all, 10, 10}, {low, 0, 9}, {middle, 0, 2}, {all ^ low, least, 20}});
    std::vector<WaveFunctionType> psi;
    const std::string text =
        Printed([&] { EXPECT_EQ(CreateStartingFunctions(H, 1, R, psi, 10), least > 10); });
    EXPECT_EQ(text, least > 10 ? "Cannot fullfill all restrictions in CreateStartingFunctions\n" : "");
    EXPECT_EQ(psi.empty(), least > 10);
    for (std::uint32_t i = 1; least <= 10 && i <= ElementCount(psi[0]); ++i)
      EXPECT_TRUE(QFulfillsRestrictions(R, ElementKey(psi[0], i)));
  }
}

// H conserves the number of electrons on each of ten pairs of orbitals: no random start reaches all sectors.
TEST(CreateStartingFunctions, TakesASmallSpaceWhole) {
  Model pairs{26, {}};
  for (std::uint32_t i = 0; i < 10; ++i) pairs.AddHermitian({C(i), A(i + 10)}, 1.0);
  std::vector<WaveFunctionType> psi;
  ASSERT_EQ(CreateStartingFunctions(MakeOperator(pairs), 1,
                                    Restrict(26, {{0x3f00000, 6, 6}, {0x3ffffff, 24, 24}}), psi, 10),
            0);
  EXPECT_EQ(ElementCount(psi[0]), 190u);
}

}  // namespace
}  // namespace fermix::test
