// Making Coulomb operators: one f shell, d and f shells together, and the same in states of good j.
#include <benchmark/benchmark.h>

#include <numeric>

#include "atomic/coulomb.h"

namespace fermix {
namespace {

CoulombShell Shell(int l, int first) {
  ShellIndices shell;
  for (int i = 0; i <= 2 * l; ++i)
    for (Spin s : {Spin::dn, Spin::up})
      shell.list[static_cast<int>(s)].push_back(static_cast<std::uint16_t>(first + 2 * i + (s == Spin::up)));
  return shell;
}

CoulombShell RelativisticShell(int kappa, int first) {
  std::vector<std::uint16_t> states(2 * std::abs(kappa));
  std::iota(states.begin(), states.end(), static_cast<std::uint16_t>(first));
  return CoulombShell(kappa, states);
}

void FShell(benchmark::State& state) {
  for (auto _ : state)
    benchmark::DoNotOptimize(CreateOperatorCoulombSingleShell(14, Shell(3, 0), {8, 9, 6, 4}));
}
BENCHMARK(FShell)->Unit(benchmark::kMillisecond);

void DAndFShells(benchmark::State& state) {
  for (auto _ : state)
    benchmark::DoNotOptimize(CreateOperatorCoulombTwoShellsConstantOccupation(24, Shell(2, 0), Shell(3, 10),
                                                                              {8, 9, 6}, {7, 5, 4}));
}
BENCHMARK(DAndFShells)->Unit(benchmark::kMillisecond);

void RelativisticDAndFShells(benchmark::State& state) {
  for (auto _ : state)
    benchmark::DoNotOptimize(CreateOperatorCoulombTwoShellsConstantOccupation(
        14, RelativisticShell(-3, 0), RelativisticShell(-4, 6), {8, 9, 6}, {7, 5, 4}));
}
BENCHMARK(RelativisticDAndFShells)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace fermix
