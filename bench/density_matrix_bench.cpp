// Speed of density matrices: all elements in one walk, against a pass over the state for each element, with
// compiled operators and by ladder steps.
//
// Arguments: orbitals, electrons, determinants (0: all of them). Counters: ns_element, time for each element
// of the matrix and determinant; ns_product, for each determinant and each element it contributes to.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <numeric>
#include <random>

#include "core/density_matrix.h"
#include "core/expectation.h"
#include "core/operator.h"
#include "cycles.h"

namespace fermix {
namespace {

using benchmark::Counter;

// All determinants in a random order, or some random ones.
WaveFunctionType State(const benchmark::State& state) {
  const auto orbitals = static_cast<std::uint32_t>(state.range(0)),
             electrons = static_cast<std::uint32_t>(state.range(1));
  std::mt19937 random(1);
  std::uniform_real_distribution<double> value(-1, 1);
  std::vector<KeyWord> keys;
  if (state.range(2) == 0) {
    for (KeyWord k = (KeyWord{1} << electrons) - 1; k < KeyWord{1} << orbitals;) {
      keys.push_back(k << (64 - orbitals));
      const KeyWord low = k & -k, next = k + low;  // the next larger number with as many bits
      k = next | ((k ^ next) / low >> 2);
    }
  } else {
    std::vector<std::uint32_t> order(orbitals);
    std::iota(order.begin(), order.end(), 0);
    for (std::int64_t n = 0; n < state.range(2); ++n) {
      std::shuffle(order.begin(), order.end(), random);
      KeyWord key = 0;
      for (std::uint32_t i = 0; i < electrons; ++i) key |= OrbitalBit(order[i]);
      keys.push_back(key);
    }
  }
  std::shuffle(keys.begin(), keys.end(), random);
  WaveFunctionType psi({orbitals, 0});
  for (const KeyWord key : keys) RealWaveFunctionAddElement(psi, &key, value(random));
  return psi;
}

void Report(benchmark::State& state, const WaveFunctionType& psi, const CycleRate& rate, int particles) {
  const double N = double(state.range(0)), n = double(state.range(1)), determinants = ElementCount(psi);
  const bool one = particles == 1;
  const double elements = one ? N * N : N * N * N * N;
  const double products = one ? n * (N - n + 1) : n * (n - 1) * (N - n + 2) * (N - n + 1);
  const auto inverse = Counter::kIsIterationInvariantRate | Counter::kInvert;
  state.counters["determinants"] = determinants;
  state.counters["ns_element"] = Counter(elements * determinants * 1e-9, inverse);
  state.counters["ns_product"] = Counter(products * determinants * 1e-9, inverse);
  state.counters["cycles_product"] = Counter(products * determinants / rate.perSecond(), inverse);
}

template <int particles>
void OneWalk(benchmark::State& state) {
  const WaveFunctionType psi = State(state);
  DensityRequest request{particles, AllOrbitals(Layout(psi))};
  const CycleRate rate =
      Timed(state, [&] { benchmark::DoNotOptimize(CalculateDensityMatrix(request, psi)); });
  Report(state, psi, rate, particles);
}

template <class Element>
void ElementByElement(benchmark::State& state, Element&& element) {
  const WaveFunctionType psi = State(state);
  const auto N = Layout(psi).NFermion;
  const CycleRate rate = Timed(state, [&] {
    for (std::uint32_t i = 0; i < N; ++i)
      for (std::uint32_t j = 0; j < N; ++j) benchmark::DoNotOptimize(element(psi, i, j));
  });
  Report(state, psi, rate, 1);
}

void OperatorByOperator(benchmark::State& state) {
  ElementByElement(state, [](const WaveFunctionType& psi, std::uint32_t i, std::uint32_t j) {
    OperatorType O = InitOperator(Layout(psi).NFermion, 0);
    OperatorAddLader(O, {Annihilate(j), Create(i)}, 1);
    return PsiOperatorPsi(O, psi).re;
  });
}

void LadderSteps(benchmark::State& state) {
  ElementByElement(state, [](const WaveFunctionType& psi, std::uint32_t i, std::uint32_t j) {
    const LadderIndex lader[] = {Annihilate(j), Create(i)};
    const auto& x = std::get<BlockedArray<double>>(psi.values);
    double sum = 0;
    for (std::uint32_t e = 1; e <= ElementCount(psi); ++e) {
      KeyWord key = *ElementKey(psi, e);
      const double amplitude = OperatorLader(&key, lader, 2, Layout(psi).NFermion);
      if (amplitude == 0) continue;
      if (const std::uint32_t found = BasisFind(*psi.basis, &key)) sum += amplitude * x[e] * x[found];
    }
    return sum;
  });
}

void Cases(benchmark::internal::Benchmark* b) {
  b->Args({16, 8, 0})->Args({20, 10, 0})->Args({28, 14, 100000})->Unit(benchmark::kMillisecond);
}
BENCHMARK(OneWalk<1>)->Name("DensityOneWalk")->Apply(Cases);
BENCHMARK(OperatorByOperator)->Name("DensityOperatorByOperator")->Apply(Cases);
BENCHMARK(LadderSteps)->Name("DensityLadderSteps")->Apply(Cases);
BENCHMARK(OneWalk<2>)
    ->Name("DensityTwoParticleOneWalk")
    ->Args({16, 8, 0})
    ->Args({28, 14, 10000})
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace fermix
