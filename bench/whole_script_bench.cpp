// A whole script, from the start of the program to its end, as a user sees it.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <string>

static void WholeScript(benchmark::State& state, const char* script) {
  const std::string command =
      std::string("cd \"${TMPDIR:-/tmp}\" && \"" FERMIX_PROGRAM "\" \"" FERMIX_SOURCE_DIR "/") + script +
      "\" > /dev/null";
  for (auto _ : state)
    if (std::system(command.c_str()) != 0) state.SkipWithError("the script failed");
}
BENCHMARK_CAPTURE(WholeScript, nickel_xas, "examples/nickel_xas.lua")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(WholeScript, hubbard_ring, "examples/hubbard_ring.lua")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
