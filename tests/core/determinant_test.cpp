// Keys, ladder operators on keys, hash, text forms and the predicates of normal order.
#include "core/determinant.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace fermix::test {
namespace {

TEST(KeyLayout, BytesAndWords) {
  const struct {
    std::uint32_t NF, NB, bytes, words;
  } cases[] = {{0, 0, 0, 1},  {8, 0, 1, 1},  {9, 0, 2, 1},  {0, 3, 3, 1},
               {60, 1, 9, 2}, {64, 0, 8, 1}, {65, 7, 16, 2}};
  for (const auto& c : cases) {
    EXPECT_EQ(NWord({c.NF, c.NB}), c.bytes) << c.NF << " " << c.NB;
    EXPECT_EQ(KeyWords({c.NF, c.NB}), c.words) << c.NF << " " << c.NB;
  }
  Key key(2);
  key[0] |= OrbitalBit(8), key[1] |= OrbitalBit(64);
  EXPECT_EQ(KeyByte(key.data(), 1), 0x80);  // orbital 8 is the first bit of byte 1
  EXPECT_EQ(KeyByte(key.data(), 8), 0x80);
  SetKeyByte(key.data(), 1, 0x17);
  EXPECT_EQ(key[0], 0x0017000000000000u);
}

TEST(OperatorLader, CountsTheElectronsItPasses) {
  const struct {
    std::uint32_t NF, NB;
    const char* before;
    std::vector<LadderIndex> lader;
    double amplitude;
    const char* after;
  } cases[] = {{4, 0, "1001", {}, 1, "1001"},
               {4, 0, "1001", {Annihilate(3)}, -1, "1000"},
               {4, 0, "1001", {Annihilate(0)}, 1, "0001"},
               {4, 0, "1001", {Annihilate(3), Create(1)}, 1, "1100"},  // element 0 acts first
               {4, 0, "1001", {Create(1), Annihilate(3)}, -1, "1100"},
               {4, 0, "1001", {Create(0)}, 0, ""},
               {4, 0, "1001", {Annihilate(1), Create(3)}, 0, ""},
               {10, 0, "1001000010", {Create(9)}, -1, "1001000011"},
               {4, 2, "0110FE03", {Create(4)}, std::sqrt(255.0), "0110FF03"},
               {4, 2, "0110FF03", {Create(4)}, 0, ""},
               {4, 2, "0110FF03", {Annihilate(5)}, std::sqrt(3.0), "0110FF02"},
               {4, 2, "0110FF00", {Annihilate(5)}, 0, ""},
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
  // What the self-test of the published lookup3.c prints, and the values of another implementation that also
  // gives it: of the empty text and the first 1 to 30 characters, folded by 31.
  const std::string text = "Four score and seven years ago";
  EXPECT_EQ(hash("", 0, 31), 0xdeadbeefu & 0x7fffffffu);
  EXPECT_EQ(hash(text.data(), 30, 31), 0x17770551u);
  EXPECT_EQ(hash(text.data(), 30, 9), 0x151u);
  EXPECT_EQ(hash(text.data(), 30, 0), 0u);
  EXPECT_EQ(hash(text.data(), 30, 32), 0u);
  std::uint32_t folded = 0;
  Key key(4);
  for (std::uint32_t length = 0; length <= 30; ++length) {
    if (length) SetKeyByte(key.data(), length - 1, static_cast<std::uint8_t>(text[length - 1]));
    folded = 31 * folded + hash(text.data(), length, 31);
    EXPECT_EQ(DeterminantHash(key.data(), length, 31), hash(text.data(), length, 31));
  }
  EXPECT_EQ(folded, 0x468a5393u);
}

TEST(StringToDet, ReadsAndReports) {
  const char* const few = "Error in String to Determinant, less elements in determinant then Fermions\n";
  const char* const many =
      "Error in String to Determinant, more elements in determinant then Fermions + Bosons\n";
  const struct {
    std::uint32_t NF, NB;
    const char* text;
    std::vector<std::uint8_t> bytes;
    std::string said;
  } cases[] = {
      {4, 0, "10 01", {0x90}, ""},
      {4, 0, " 1001  ", {0x90}, ""},
      {9, 0, "000000011", {0x01, 0x80}, ""},
      {4, 2, "1001 0A 0b", {0x90, 0x0A, 0x0B}, ""},
      {0, 2, "FF10", {0xFF, 0x10}, ""},
      {0, 0, "", {}, ""},
      {4,
       0,
       "1x01",
       {0x90},
       "Error in StringToDet, expected \"1\", \"0\" or \" \" on position 1 of the string, got x\n"},
      {4, 0, "1001 1", {0}, many},
      {4,
       0,
       "10",
       {0},
       std::string("Error in StringToDet, length of string(2) different from NFermion(4)+2*NBoson(0)\n") +
           few},
      {2,
       2,
       "11 0A",
       {0, 0, 0},
       std::string("Error in StringToDet, length of string(5) different from NFermion(2)+2*NBoson(2)\n") +
           many},
      {2, 1, "110A0", {0, 0}, many}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    testing::internal::CaptureStdout();
    const Key key = StringToDet(c.NF, c.NB, c.text);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), c.said);
    ASSERT_EQ(NWord({c.NF, c.NB}), c.bytes.size());
    for (std::uint32_t b = 0; b < c.bytes.size(); ++b) EXPECT_EQ(KeyByte(key.data(), b), c.bytes[b]) << b;
  }
}

TEST(DetToString, ShowsTheLastModeOnlyAndPadding) {
  const struct {
    std::uint32_t NF, NB;
    const char *in, *out, *hex;
  } cases[] = {{4, 0, "1001", "1001", "90"},
               {9, 0, "100000001", "100000001", "8080"},
               {4, 2, "1001 0A 0B", "100100 0B", "900A0B"},
               {7, 3, "1111111 01 02 FF", "11111110 FF", "FE0102FF"},
               {0, 1, "1F", " 1F", "1F"}};
  for (const auto& c : cases) {
    const Key key = StringToDet(c.NF, c.NB, c.in);
    EXPECT_EQ(DetToString(c.NF, c.NB, key.data()), c.out);
    EXPECT_EQ(DetToHex({c.NF, c.NB}, key.data()), c.hex);
  }
}

// The names spell the order from left to right: fermion creators, fermion annihilators, boson creators (or
// annihilators), the other bosons; indices descend in each group. In a pair, a stands left of b.
TEST(NormalOrder, PredicatesDecideAsTheirNamesSpell) {
  constexpr std::uint32_t NF = 2;
  std::vector<LadderIndex> all;
  for (std::uint32_t i = 0; i < 4; ++i) all.push_back(Create(i)), all.push_back(Annihilate(i));
  for (const bool annihilatorsLeft : {false, true}) {
    const OrderPredicate order = annihilatorsLeft ? QDetNotOrderedFcFaBaBc : QDetNotOrderedFcFaBcBa;
    const auto place = [&](LadderIndex l) {  // from the left
      const bool boson = LadderOrbital(l) >= NF,
                 second = boson && annihilatorsLeft ? QCreation(l) : !QCreation(l);
      return 100 * boson + 10 * second - static_cast<int>(LadderOrbital(l));
    };
    for (const LadderIndex a : all)
      for (const LadderIndex b : all) {
        const bool bosons = LadderOrbital(a) >= NF && LadderOrbital(b) >= NF,
                   fermions = LadderOrbital(a) < NF && LadderOrbital(b) < NF,
                   sameKind = QCreation(a) == QCreation(b);
        int expected = 0;
        if (a == b && fermions) expected = 6;
        if (place(a) > place(b))
          expected = fermions ? (sameKind ? 3 : 2) : !bosons || sameKind ? 1 : annihilatorsLeft ? 5 : 4;
        EXPECT_EQ(static_cast<int>(order(a, b, NF)), expected) << std::hex << a << " " << b;
      }
  }
}

}  // namespace
}  // namespace fermix::test
