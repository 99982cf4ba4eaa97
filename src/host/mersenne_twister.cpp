#include "host/mersenne_twister.h"

#include <algorithm>

namespace fermix {

MersenneTwister GlobalMersenneTwister;

void MersenneTwister::Fill(std::uint32_t seed) {
  state_[0] = seed;
  for (std::uint32_t i = 1; i < N; ++i) state_[i] = 1812433253u * (state_[i - 1] ^ (state_[i - 1] >> 30)) + i;
}

void MersenneTwister::SeedByArray(const std::vector<std::uint64_t>& keys) {
  Fill(19650218u);
  if (keys.empty()) return;
  int i = 1;
  const auto previous = [&] { return state_[i - 1] ^ (state_[i - 1] >> 30); };
  const auto advance = [&] {
    if (++i < N) return;
    state_[0] = state_[N - 1];
    i = 1;
  };
  const std::size_t rounds = std::max<std::size_t>(N, keys.size());
  for (std::size_t k = 0; k < rounds; ++k, advance()) {
    const std::size_t j = k % keys.size();
    state_[i] = (state_[i] ^ (previous() * 1664525u)) + static_cast<std::uint32_t>(keys[j] + j);
  }
  for (int k = 1; k < N; ++k, advance())
    state_[i] = (state_[i] ^ (previous() * 1566083941u)) - static_cast<std::uint32_t>(i);
  state_[0] = 0x80000000u;  // assures a state that is not all zero
}

void MersenneTwister::Regenerate() {
  for (int k = 0; k < N; ++k) {
    const std::uint32_t y = (state_[k] & 0x80000000u) | (state_[(k + 1) % N] & 0x7fffffffu);
    state_[k] = state_[(k + M) % N] ^ (y >> 1) ^ (y & 1 ? 0x9908b0dfu : 0u);
  }
  position_ = 0;
}

std::uint32_t MersenneTwister::Draw() {
  if (position_ == unseeded) Fill(5489u);
  if (position_ >= N) Regenerate();
  std::uint32_t y = state_[position_++];
  y ^= y >> 11;
  y ^= (y << 7) & 0x9d2c5680u;
  y ^= (y << 15) & 0xefc60000u;
  return y ^ (y >> 18);
}

}  // namespace fermix
