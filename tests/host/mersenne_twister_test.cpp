#include "host/mersenne_twister.h"

#include <gtest/gtest.h>

namespace fermix {
namespace {

// First outputs of the authors' reference program for the keys 0x123, 0x234, 0x345, 0x456
// (mt19937ar.out, 2002). Only the low 32 bits of a key count.
const std::vector<std::uint64_t> keys = {0x1'0000'0123, 0x234, 0x345, 0x456};
constexpr std::uint32_t reference[] = {1067595299u, 955945823u,  477289528u, 4107218783u, 4228976476u,
                                       3344332714u, 3355579695u, 227628506u, 810200273u,  2591290167u};

TEST(MersenneTwister, KeepsItsPositionWhenSeeded) {
  MersenneTwister twister;
  EXPECT_EQ(twister.Draw(), 3499211612u);  // the first number of the default seed, 5489
  twister.SeedByArray(keys);
  for (int i = 1; i < 624; ++i) twister.Draw();  // the mixed words themselves come first
  for (const std::uint32_t expected : reference) EXPECT_EQ(twister.Draw(), expected);
}

}  // namespace
}  // namespace fermix
