// What the machine's clock really gives. Shared and throttled machines change it by a factor of three within
// minutes; a figure in cycles stays, so that it can be compared between machines and days.
#pragma once

#include <benchmark/benchmark.h>
#include <time.h>

#include <cstdint>

namespace fermix {

// Of this thread.
inline double ProcessorSeconds() {
  timespec now;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

struct CycleRate {
  double seconds = 0, cycles = 0;

  // Runs a chain of dependent multiplications and additions: 3 + 1 cycles each on the usual processors.
  void sample() {
    constexpr int steps = 20000;
    const double start = ProcessorSeconds();
    std::uint64_t x = 1;
    for (int i = 0; i < steps; ++i) {
      x = x * 6364136223846793005u + 1442695040888963407u;
      benchmark::DoNotOptimize(x);
    }
    seconds += ProcessorSeconds() - start;
    cycles += 4.0 * steps;
  }
  double perSecond() const { return cycles / seconds; }
};

// Times f once for each iteration, and the clock beside it, untimed.
template <class F>
CycleRate Timed(benchmark::State& state, F&& f) {
  CycleRate rate;
  for (auto _ : state) {
    state.PauseTiming();
    rate.sample();
    state.ResumeTiming();
    f();
  }
  return rate;
}

}  // namespace fermix
