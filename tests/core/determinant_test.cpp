// Keys, ladder operators on keys, hash, text forms and the predicates of normal order.
#include "core/determinant.h"

#include <cmath>
#include <random>

#include "printed.h"

namespace fermix::test {
namespace {

TEST(OperatorLader, CountsTheElectronsItPasses) {
  const struct {
    std::uint32_t NF, NB;
    const char* before;
    std::vector<LadderIndex> lader;
    double amplitude;
    const char* after;
  } cases[] = {{4, 0, "1001", {Annihilate(3), Create(1)}, 1, "1100"},  // element 0 acts first
               {4, 0, "1001", {Create(1), Annihilate(3)}, -1, "1100"},
               {4, 0, "1001", {Create(0)}, 0, ""},
               {10, 0, "1001000010", {Create(9)}, -1, "1001000011"},
               {4, 2, "0110FE03", {Create(4)}, std::sqrt(255.0), "0110FF03"},
               {4, 2, "0110FF03", {Create(4)}, 0, ""},
               {4, 2, "0110FF03", {Annihilate(5)}, std::sqrt(3.0), "0110FF02"},
               {4, 2, "01100F01", {Annihilate(5), Create(0)}, 1, "11100F00"},  // quanta have no sign
               {0, 1, "04", {Create(0), Create(0)}, std::sqrt(30.0), "06"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.before);
    Key key = StringToDet(c.NF, c.NB, c.before);
    EXPECT_NEAR(OperatorLader(key.data(), c.lader.data(), static_cast<std::uint32_t>(c.lader.size()), c.NF),
                c.amplitude, 1e-14);
    if (c.amplitude == 0) continue;
    EXPECT_EQ(key, StringToDet(c.NF, c.NB, c.after));
  }
}

// {c_i, c+_j} = delta_ij and {c+_i, c+_j} = 0 on keys of several words.
TEST(OperatorLader, Anticommutes) {
  std::mt19937 random(3);
  constexpr std::uint32_t NF = 150;
  for (int trial = 0; trial < 2000; ++trial) {
    Key key(KeyWords({NF, 0}));
    for (std::uint32_t i = 0; i < NF; ++i)
      if (random() % 2) key[i / 64] |= OrbitalBit(i);
    const std::uint32_t i = random() % NF, j = trial % 4 ? random() % NF : i;
    for (const LadderIndex first : {Annihilate(i), Create(i)}) {
      const LadderIndex forth[] = {first, Create(j)}, back[] = {Create(j), first};
      Key a = key, b = key;
      const double amplitudeA = OperatorLader(a.data(), forth, 2, NF),
                   amplitudeB = OperatorLader(b.data(), back, 2, NF);
      EXPECT_EQ(amplitudeA + amplitudeB, i == j && !QCreation(first) ? 1 : 0);
      if (i == j) continue;
      EXPECT_EQ(amplitudeA != 0, QOccupied(key.data(), i) != QCreation(first) && !QOccupied(key.data(), j));
      EXPECT_TRUE(amplitudeA == 0 || a == b);
    }
  }
}

TEST(Hash, IsLookup3) {
  // The value that the self-test of the published lookup3.c prints, and of the first 1 to 30 characters,
  // folded by 31, what another implementation gives.
  const std::string text = "Four score and seven years ago";
  EXPECT_EQ(hash(text.data(), 30, 31), 0x17770551u);
  EXPECT_EQ(hash(text.data(), 30, 9), 0x151u);
  EXPECT_EQ(hash(text.data(), 30, 32), 0u);
  std::uint32_t folded = 0;
  Key key(4);
  for (std::uint32_t length = 0; length <= 30; ++length) {
    if (length) SetKeyByte(key.data(), length - 1, static_cast<std::uint8_t>(text[length - 1]));
    folded = 31 * folded + DeterminantHash(key.data(), length, 31);
  }
  EXPECT_EQ(folded, 0x468a5393u);
}

TEST(StringToDet, ReadsAndReports) {
  const std::string many =
      "Error in String to Determinant, more elements in determinant then Fermions + Bosons\n";
  const struct {
    std::uint32_t NF, NB;
    const char* text;
    const char* hex;
    std::string said;
  } cases[] = {{9, 0, " 00000 0011", "0180", ""},
               {4, 2, "1001 0A 0b", "900A0B", ""},
               {4, 0, "1x01", "90",
                "Error in StringToDet, expected \"1\", \"0\" or \" \" on position 1 of the string, got x\n"},
               {4, 0, "10", "00",
                "Error in StringToDet, length of string(2) different from NFermion(4)+2*NBoson(0)\nError in "
                "String to Determinant, less elements in determinant then Fermions\n"},
               {2, 1, "110A0", "0000", many}};
  for (const auto& c : cases) {
    Key key;
    EXPECT_EQ(Printed([&] { key = StringToDet(c.NF, c.NB, c.text); }), c.said);
    EXPECT_EQ(DetToHex({c.NF, c.NB}, key.data()), c.hex);
  }
  const Key modes = StringToDet(4, 2, "1001 0A 0B");
  EXPECT_EQ(DetToString(4, 2, modes.data()), "100100 0B");  // the last mode only, behind the padding
}

// The names spell the order from left to right: fermion creators, fermion annihilators, boson creators (or
// annihilators), the other bosons; indices descend in each group. In a pair, a stands left of b.
TEST(NormalOrder, PredicatesDecideAsTheirNamesSpell) {
  const LadderIndex order[2][8] = {// orbitals 0, 1 and modes 2, 3
                                   {Create(1), Create(0), Annihilate(1), Annihilate(0), Create(3), Create(2),
                                    Annihilate(3), Annihilate(2)},
                                   {Create(1), Create(0), Annihilate(1), Annihilate(0), Annihilate(3),
                                    Annihilate(2), Create(3), Create(2)}};
  // What each pair does that stands the wrong way round, and each with itself.
  const char* const actions[8] = {"6", "36", "226", "2236", "11110", "111110", "1111440", "11114410"};
  for (const bool annihilatorsLeft : {false, true})
    for (int a = 0; a < 8; ++a)
      for (int b = 0; b < 8; ++b) {
        const OrderPredicate predicate = annihilatorsLeft ? QDetNotOrderedFcFaBaBc : QDetNotOrderedFcFaBcBa;
        int expected = b <= a ? actions[a][b] - '0' : 0;
        if (expected == 4 && annihilatorsLeft) expected = 5;
        EXPECT_EQ(static_cast<int>(predicate(order[annihilatorsLeft][a], order[annihilatorsLeft][b], 2)),
                  expected)
            << a << b;
      }
}

}  // namespace
}  // namespace fermix::test
