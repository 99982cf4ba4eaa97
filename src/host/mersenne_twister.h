// The Mersenne twister of the scripts' mt_random functions: MT19937, 32 bits a draw.
//
// Source: M. Matsumoto and T. Nishimura, ACM Trans. Model. Comput. Simul. 8 (1998) 3, with their
// initialisation by array of 2002.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

namespace fermix {

class MersenneTwister {
 public:
  // A uniform number of 32 bits. A generator that was never seeded takes the seed 5489 first.
  std::uint32_t Draw();

  // Mixes the low 32 bits of each key into a new state. The position stays: after one draw from a fresh
  // generator the next 623 draws are the mixed words themselves, and the first regeneration follows then.
  void SeedByArray(const std::vector<std::uint64_t>& keys);

 private:
  static constexpr int N = 624, M = 397, unseeded = N + 1;

  void Fill(std::uint32_t seed);
  void Regenerate();

  std::array<std::uint32_t, N> state_{};
  int position_ = unseeded;
};

// The one generator of the process.
extern MersenneTwister GlobalMersenneTwister;

}  // namespace fermix
