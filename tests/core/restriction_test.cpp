// Occupation bounds against all completions of a determinant.
#include "core/restriction.h"

#include <gtest/gtest.h>

#include <random>

namespace fermix::test {
namespace {

TEST(Restriction, CountsOrbitalsAndQuanta) {
  const struct {
    KeyLayout layout;
    const char *mask, *key;
    std::uint32_t count;
  } cases[] = {{{8, 0}, "11110000", "10101010", 2},
               {{4, 2}, "1100 FF 00", "1011 07 09", 8},
               {{4, 2}, "0000 01 FF", "1111 07 09", 10},  // a mask byte filters bits of the count
               {{4, 1}, "1111 00", "0000 FF", 0}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.mask);
    const Key key = StringToDet(c.layout.NFermion, c.layout.NBoson, c.key);
    DeterminantRestrictionType R{
        c.layout, {0}, {0}, {StringToDet(c.layout.NFermion, c.layout.NBoson, c.mask)}};
    EXPECT_EQ(RestrictionCount(R, 0, key.data()), c.count);
    for (std::uint32_t min : {0u, 2u, 8u, 9u})
      for (std::uint32_t max : {0u, 2u, 9u, 10u}) {
        R.MinOccupation = {min}, R.MaxOccupation = {max};
        EXPECT_EQ(QFulfillsRestrictions(R, key.data()), min <= c.count && c.count <= max);
      }
  }
}

// An orbital must be taken when no completion without it reaches the minimum of some restriction that counts
// it, and can't be when every completion with it exceeds a maximum.
TEST(Restriction, MustAndCanNotOccupyLookAtAllCompletions) {
  std::mt19937 random(9);
  constexpr std::uint32_t NF = 70, first = 63;  // orbitals to settle lie on both sides of a word's end
  for (int trial = 0; trial < 400; ++trial) {
    DeterminantRestrictionType R{{NF, 0}, {}, {}, {}};
    Key key(2);
    for (std::uint32_t i = 50; i < first; ++i)
      if (random() % 2) key[i / 64] |= OrbitalBit(i);
    for (int r = 0; r < 2; ++r) {
      Key mask(2);
      for (std::uint32_t i = 50; i < NF; ++i)
        if (random() % 2) mask[i / 64] |= OrbitalBit(i);
      R.Masks.push_back(mask);
      R.MinOccupation.push_back(random() % 12);
      R.MaxOccupation.push_back(random() % 12);
    }
    bool must = false, canNot = false;
    for (std::uint32_t r = 0; r < 2; ++r) {
      if (!QOccupied(R.Masks[r].data(), first)) continue;
      std::uint32_t most = 0, least = 1000;  // without it, and with it
      for (unsigned rest = 0; rest < 1u << (NF - first - 1); ++rest) {
        Key completed = key;
        for (std::uint32_t i = first + 1; i < NF; ++i)
          if (rest >> (i - first - 1) & 1) completed[i / 64] |= OrbitalBit(i);
        most = std::max(most, RestrictionCount(R, r, completed.data()));
        completed[first / 64] |= OrbitalBit(first);
        least = std::min(least, RestrictionCount(R, r, completed.data()));
      }
      must |= most < R.MinOccupation[r];
      canNot |= least > R.MaxOccupation[r];
    }
    EXPECT_EQ(QMustOccupy(first, NF, key.data(), R), must);
    EXPECT_EQ(QCanNotOccupy(first, NF, key.data(), R), canNot);
  }
}

}  // namespace
}  // namespace fermix::test
