// Speed of states among each other: sums, inner products and truncation, on one numbering and for states that
// share nothing.
//
// Counter ns_element: time for each element of the state that is read.
#include <benchmark/benchmark.h>

#include <random>

#include "core/operator_rows.h"
#include "core/wave_function.h"
#include "host/base/allocator.h"
#include "solvers/panel_kernels.h"

namespace fermix {
namespace {

const bool configured = (ConfigureAllocator(), true);  // as the program does

constexpr KeyLayout TwentySixOrbitals{26, 0};

// Half of 2 elements determinants, in random order and with random values in -1 .. 1: two of these states
// have about half of their determinants in common.
WaveFunctionType RandomState(std::uint32_t elements, bool complex, std::uint32_t seed) {
  std::mt19937 random(seed);
  std::uniform_real_distribution<double> value(-1, 1);
  WaveFunctionType psi(TwentySixOrbitals, complex);
  while (ElementCount(psi) < elements) {
    const KeyWord key = KeyWord{random() % (2 * elements) * 0x9e3779b1u % (1u << 26)} << 38;
    if (complex) {
      ComplexWaveFunctionAddElement(psi, &key, {value(random), value(random)});
    } else {
      RealWaveFunctionAddElement(psi, &key, value(random));
    }
  }
  return psi;
}

void Report(benchmark::State& state) {
  using benchmark::Counter;
  state.counters["ns_element"] =
      Counter(double(state.range(0)) * 1e-9, Counter::kIsIterationInvariantRate | Counter::kInvert);
}

std::uint32_t Elements(const benchmark::State& state) { return static_cast<std::uint32_t>(state.range(0)); }

// Runs step(a, b) on two states of one basis.
template <class Step>
void OnOneNumbering(benchmark::State& state, Step&& step) {
  WaveFunctionType a = RandomState(Elements(state), state.range(1), 1), b = a;
  for (auto _ : state) step(a, b);
  Report(state);
}

// Runs step(a, b) on two states with bases of their own; a is new each time.
template <class Step>
void OnUnrelatedStates(benchmark::State& state, Step&& step) {
  const WaveFunctionType first = RandomState(Elements(state), state.range(1), 1),
                         b = RandomState(Elements(state), state.range(1), 2);
  for (auto _ : state) {
    state.PauseTiming();
    WaveFunctionType a = first;
    OwnBasis(a);
    state.ResumeTiming();
    step(a, b);
    state.PauseTiming();
    a = WaveFunctionType();
    state.ResumeTiming();
  }
  Report(state);
}

void SameBasisUnion(benchmark::State& state) {
  OnOneNumbering(state, [](auto& a, auto& b) { WaveFunctionAddMultipliedUnionBasis(a, b, 1e-3); });
}
void SameBasisConserve(benchmark::State& state) {
  OnOneNumbering(state, [](auto& a, auto& b) { WaveFunctionAddMultipliedConserveBasis(a, b, 1e-3); });
}
void SameBasisDot(benchmark::State& state) {
  OnOneNumbering(state, [](auto& a, auto& b) { benchmark::DoNotOptimize(WaveFunctionDotProduct(a, b)); });
}
void Scale(benchmark::State& state) {
  OnOneNumbering(state, [](auto& a, auto&) { WaveFunctionMultiply(a, -1, 0); });
}
void Norm(benchmark::State& state) {
  OnOneNumbering(state, [](auto& a, auto&) { benchmark::DoNotOptimize(WaveFunctionCalculateNorm(a)); });
}
void Normalize(benchmark::State& state) {
  OnOneNumbering(state, [](auto& a, auto&) { WaveFunctionNormalize(a); });
}

void UnrelatedUnion(benchmark::State& state) {
  OnUnrelatedStates(state, [](auto& a, auto& b) { WaveFunctionAddUnionBasis(a, b); });
}
void UnrelatedConserve(benchmark::State& state) {
  OnUnrelatedStates(state, [](auto& a, auto& b) { WaveFunctionAddConserveBasis(a, b); });
}
void UnrelatedDot(benchmark::State& state) {
  OnUnrelatedStates(state, [](auto& a, auto& b) { benchmark::DoNotOptimize(WaveFunctionDotProduct(a, b)); });
}
void Copy(benchmark::State& state) {
  OnUnrelatedStates(state, [](auto& a, auto& b) { a = WaveFunctionCopy(b); });
}

// Elements, whether complex, how many percent are dropped.
void Truncate(benchmark::State& state) {
  OnUnrelatedStates(state,
                    [&](auto& a, auto&) { WaveFunctionTruncateBasis(a, 0.01 * double(state.range(2))); });
}
void TruncateShared(benchmark::State& state) {
  const WaveFunctionType first = RandomState(Elements(state), state.range(1), 1);
  for (auto _ : state) {
    WaveFunctionType a = first;
    WaveFunctionTruncateBasis(a, 0.01 * double(state.range(2)));
  }
  Report(state);
}
// Four states on one basis.
void TruncateList(benchmark::State& state) {
  const WaveFunctionType first = RandomState(Elements(state), state.range(1), 1);
  for (auto _ : state) {
    state.PauseTiming();
    WaveFunctionType a = first;
    OwnBasis(a);
    std::vector<WaveFunctionType> list(4, a);
    a = WaveFunctionType();
    state.ResumeTiming();
    BlockWaveFunctionTruncateBasis(list, 0.01 * double(state.range(2)));
    state.PauseTiming();
    list.clear();
    state.ResumeTiming();
  }
  Report(state);
}

// Elements, whether complex.
void Sizes(benchmark::internal::Benchmark* b) {
  for (const int complex : {0, 1}) b->Args({100000, complex})->Args({2000000, complex});
  b->Unit(benchmark::kMillisecond);
}
void TruncateCases(benchmark::internal::Benchmark* b) {
  for (const int elements : {100000, 2000000})
    for (const int percent : {0, 1, 50}) b->Args({elements, 0, percent});
  b->Unit(benchmark::kMillisecond);
}
BENCHMARK(SameBasisUnion)->Apply(Sizes);
BENCHMARK(SameBasisConserve)->Apply(Sizes);
BENCHMARK(SameBasisDot)->Apply(Sizes);
BENCHMARK(Scale)->Apply(Sizes);
BENCHMARK(Norm)->Apply(Sizes);
BENCHMARK(Normalize)->Apply(Sizes);
// States of a solver, side by side on a numbering: the passes of Lanczos. ns_element counts each element.
template <class Pass>
void OnPanels(benchmark::State& state, Pass&& pass) {
  Panel a{8, {}};
  ExtendPanel(a, static_cast<std::size_t>(state.range(0)) / 8);
  std::fill(a.value.begin(), a.value.end(), 1.5);
  Panel b = a, c = a;
  ColumnValues none{}, one;
  one.fill(1);
  for (auto _ : state) pass(a, b, c, none, one);
  using benchmark::Counter;
  state.counters["ns_element"] =
      Counter(double(state.range(0)) * 1e-9, Counter::kIsIterationInvariantRate | Counter::kInvert);
}
void PanelSum(benchmark::State& state) {
  OnPanels(state, [](auto& a, auto& b, auto&, auto& none, auto&) {
    benchmark::DoNotOptimize(PanelSubtractAndSquare(a, none, b));
  });
}
void PanelDot(benchmark::State& state) {
  OnPanels(state, [](auto& a, auto& b, auto& c, auto& none, auto&) {
    benchmark::DoNotOptimize(PanelDotAndSubtract(a, b, none, c));
  });
}
void PanelCut(benchmark::State& state) {
  OnPanels(state, [](auto& a, auto&, auto&, auto& none, auto& one) {
    benchmark::DoNotOptimize(PanelScaleAndTruncate(a, false, one, none));
  });
}
BENCHMARK(PanelSum)->Args({100000})->Args({2000000})->Unit(benchmark::kMillisecond);
BENCHMARK(PanelDot)->Args({100000})->Args({2000000})->Unit(benchmark::kMillisecond);
BENCHMARK(PanelCut)->Args({100000})->Args({2000000})->Unit(benchmark::kMillisecond);
BENCHMARK(UnrelatedUnion)->Apply(Sizes);
BENCHMARK(UnrelatedConserve)->Apply(Sizes);
BENCHMARK(UnrelatedDot)->Apply(Sizes);
BENCHMARK(Copy)->Apply(Sizes);
BENCHMARK(Truncate)->Apply(TruncateCases);
BENCHMARK(TruncateShared)->Apply(TruncateCases);
BENCHMARK(TruncateList)->Apply(TruncateCases);

}  // namespace
}  // namespace fermix
