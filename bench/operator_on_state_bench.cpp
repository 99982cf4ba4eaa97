// Speed of an operator on a state: the Coulomb operator of a d and of an f shell, coupled to bath orbitals by
// hopping, on a basis that grows and on a fixed one.
//
// Counters: ns_pair, time for each pair of determinant and term; ns_survivor, time for each term that
// survives; cycles_survivor, the same in clock cycles that the machine really gave, which a shared machine
// changes by the minute; new, determinants of the result; survivors, results for each determinant;
// bytes_besides, memory of the result for each determinant beyond key and value.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <numeric>
#include <random>

#include "atomic/coulomb.h"
#include "core/operator_on_state.h"
#include "core/panel.h"
#include "core/surviving_terms.h"
#include "cycles.h"
#include "host/base/allocator.h"
#include "solvers/fixed_basis_operator.h"

namespace fermix {
namespace {

const bool configured = (ConfigureAllocator(), true);  // as the program does

// An atomic shell (l) on the first orbitals, and hopping between each orbital of the bath and one of the
// shell.
OperatorType ImpurityOperator(int l, std::uint32_t orbitals) {
  ShellIndices shell;
  const std::uint32_t size = 2 * (2 * l + 1);
  for (std::uint32_t i = 0; i < size; i += 2) {
    shell.list[static_cast<int>(Spin::dn)].push_back(static_cast<std::uint16_t>(i));
    shell.list[static_cast<int>(Spin::up)].push_back(static_cast<std::uint16_t>(i + 1));
  }
  OperatorType H = CreateOperatorCoulombSingleShell(
      orbitals, shell, l == 2 ? std::vector<double>{8, 9, 6} : std::vector<double>{8, 9, 6, 4});
  for (std::uint32_t i = size; i < orbitals; ++i) {
    const std::uint32_t j = (i - size) % size;
    OperatorAddLader(H, {Annihilate(i), Create(j)}, 0.3);
    OperatorAddLader(H, {Annihilate(j), Create(i)}, 0.3);
    OperatorAddLader(H, {Annihilate(i), Create(i)}, 0.1 * i);
  }
  return H;
}

// Random determinants, by default with half of the orbitals filled.
WaveFunctionType RandomState(std::uint32_t orbitals, std::uint32_t determinants,
                             std::uint32_t electrons = 0) {
  if (electrons == 0) electrons = orbitals / 2;
  std::mt19937 random(1);
  std::vector<std::uint32_t> order(orbitals);
  std::iota(order.begin(), order.end(), 0);
  WaveFunctionType psi({orbitals, 0});
  while (ElementCount(psi) < determinants) {
    std::shuffle(order.begin(), order.end(), random);
    Key key(KeyWords(Layout(psi)));
    for (std::uint32_t i = 0; i < electrons; ++i) key[order[i] / 64] |= OrbitalBit(order[i]);
    RealWaveFunctionAddElement(psi, key.data(), 1);
  }
  return psi;
}

double CountSurvivors(const CompiledOperator& H, const WaveFunctionType& psi) {
  double survivors = 0;
  SurvivingTerms results(H, *psi.basis);
  for (std::uint32_t i = 1; i <= ElementCount(psi); ++i) {
    FindSurvivingTerms(H, ElementKey(psi, i), true, results);
    survivors += results.count + results.furtherCount;
    results.clear();
  }
  return survivors;
}

void Report(benchmark::State& state, const CompiledOperator& H, const WaveFunctionType& psi,
            const CycleRate& rate, double result) {
  using benchmark::Counter;
  const double survivors = CountSurvivors(H, psi), pairs = double(H.terms) * ElementCount(psi);
  const auto inverse = Counter::kIsIterationInvariantRate | Counter::kInvert;
  state.counters["ns_survivor"] = Counter(survivors * 1e-9, inverse);
  state.counters["cycles_survivor"] = Counter(survivors / rate.perSecond(), inverse);
  state.counters["ns_pair"] = Counter(pairs * 1e-9, inverse);
  state.counters["survivors"] = survivors / ElementCount(psi);
  state.counters["terms"] = H.terms;
  state.counters["new"] = result;
}

// Arguments: l of the shell, orbitals in all, determinants of the state.
void GrowingBasis(benchmark::State& state) {
  const auto orbitals = static_cast<std::uint32_t>(state.range(1));
  const OperatorType H = ImpurityOperator(static_cast<int>(state.range(0)), orbitals);
  const WaveFunctionType psi = RandomState(orbitals, static_cast<std::uint32_t>(state.range(2)));
  double result = 0, bytes = 0;
  const CycleRate rate = Timed(state, [&] {
    const WaveFunctionType Hpsi = OperatorPsi(H, psi);
    result = ElementCount(Hpsi);
    bytes = static_cast<double>(OwnedBytes(Hpsi));
  });
  state.counters["bytes_besides"] = bytes / result - 8.0 * (KeyWords(Layout(psi)) + 1);
  Report(state, CompileOperator(H, nullptr, ElementCount(psi)), psi, rate, result);
}

// The same product by one ladder operator after the other, for comparison: with its results added one by one,
// or only the steps.
void ByLadders(benchmark::State& state, bool add) {
  const auto orbitals = static_cast<std::uint32_t>(state.range(1));
  const OperatorType H = ImpurityOperator(static_cast<int>(state.range(0)), orbitals);
  const WaveFunctionType psi = RandomState(orbitals, static_cast<std::uint32_t>(state.range(2)));
  double result = 0;
  const CycleRate rate = Timed(state, [&] {
    WaveFunctionType Hpsi(Layout(psi));
    Key key(KeyWords(Layout(psi)));
    for (std::uint32_t i = 1; i <= ElementCount(psi); ++i)
      for (std::uint32_t length = 0; length <= MaxLength(H); ++length)
        for (std::uint32_t t = 0; t < TermCount(H.l[length]); ++t) {
          std::copy_n(ElementKey(psi, i), key.size(), key.data());
          const double amplitude =
              OperatorLader(key.data(), H.l[length].o.data() + std::size_t{t} * length, length, orbitals);
          benchmark::DoNotOptimize(key[0]);
          if (amplitude == 0 || !add) continue;
          RealWaveFunctionAddElement(Hpsi, key.data(),
                                     amplitude * TermValue(H.l[length], t).re * ElementValue(psi, i).re);
        }
    result = ElementCount(Hpsi);
  });
  Report(state, CompileOperator(H, nullptr, ElementCount(psi)), psi, rate, result);
}
void LadderSteps(benchmark::State& state) { ByLadders(state, false); }
void LadderProduct(benchmark::State& state) { ByLadders(state, true); }

void FixedBasis(benchmark::State& state) {
  const auto orbitals = static_cast<std::uint32_t>(state.range(1));
  const OperatorType H = ImpurityOperator(static_cast<int>(state.range(0)), orbitals);
  const WaveFunctionType psi = RandomState(orbitals, static_cast<std::uint32_t>(state.range(2)));
  WaveFunctionType Hpsi = OperatorPsi(H, psi);
  const CycleRate rate = Timed(state, [&] { OperatorPsiConserveBasisPreAllocated(H, psi, Hpsi); });
  Report(state, CompileOperator(H, nullptr, ElementCount(psi)), psi, rate, ElementCount(Hpsi));
}

// A half-filled ring with one orbital and two spins a site.
OperatorType HubbardRing(std::uint32_t sites) {
  OperatorType H;
  H.layout = {2 * sites, 0};
  for (std::uint32_t i = 0; i < sites; ++i) {
    for (std::uint32_t spin = 0; spin < 2; ++spin) {
      const std::uint32_t a = 2 * i + spin, b = 2 * ((i + 1) % sites) + spin;
      OperatorAddLader(H, {Annihilate(a), Create(b)}, -1);
      OperatorAddLader(H, {Annihilate(b), Create(a)}, -1);
    }
    OperatorAddLader(H, {Annihilate(2 * i), Create(2 * i), Annihilate(2 * i + 1), Create(2 * i + 1)}, 8);
  }
  return H;
}

// What a solver finds: the determinants that H reaches from some, at least as many as asked for if it reaches
// them.
WaveFunctionType GrownState(const OperatorType& H, WaveFunctionType psi, std::uint32_t determinants) {
  for (std::uint32_t before = 0; before < ElementCount(psi) && ElementCount(psi) < determinants;) {
    before = ElementCount(psi);
    WaveFunctionAddUnionBasis(psi, OperatorPsi(H, psi));
  }
  return psi;
}

// Products through remembered rows into a growing result. ns_survivor: what a term cost when its row was
// made.
void RememberedRows(benchmark::State& state) {
  const auto orbitals = static_cast<std::uint32_t>(state.range(1));
  const int l = static_cast<int>(state.range(0));
  const OperatorType H = l == 0 ? HubbardRing(orbitals / 2) : ImpurityOperator(l, orbitals);
  const auto determinants = static_cast<std::uint32_t>(state.range(2));
  const WaveFunctionType psi =
      GrownState(H, RandomState(orbitals, std::min(determinants, 10u)), determinants / 8);
  NumberedSums<double> sums;
  double result = 0, entries = 0, seconds = 1e300;
  CycleRate rate;
  for (int repeat = 0; repeat < 3; ++repeat) {
    OperatorRows<double> rows(H, nullptr, std::make_shared<DeterminantBasis>(Layout(psi)),
                              std::size_t{1} << 40);
    const NumberedState<double> x = NumberState<double>(*rows.numbering, psi);
    const double start = ProcessorSeconds();
    OperatorRowsMultiply(rows, x, sums);
    seconds = std::min(seconds, ProcessorSeconds() - start);
    if (repeat < 2) continue;
    for (const auto& slab : rows.slabs) entries += static_cast<double>(slab.target.size());
    rate = Timed(state,
                 [&] { result = static_cast<double>(OperatorRowsMultiply(rows, x, sums).number.size()); });
  }
  using benchmark::Counter;
  const CompiledOperator compiled = CompileOperator(H, nullptr, ElementCount(psi));
  state.counters["ns_entry"] = Counter(entries * 1e-9, Counter::kIsIterationInvariantRate | Counter::kInvert);
  state.counters["cycles_entry"] =
      Counter(entries / rate.perSecond(), Counter::kIsIterationInvariantRate | Counter::kInvert);
  state.counters["ns_building"] = seconds * 1e9 / CountSurvivors(compiled, psi);
  state.counters["entries"] = entries / ElementCount(psi);
  state.counters["new"] = result;
}

// Products of vectors side by side with remembered rows: scattered, on a numbering that the operator leaves,
// and gathered, on one that it maps onto itself, for determinants = 0.
void PanelRows(benchmark::State& state, std::uint32_t columns) {
  const auto orbitals = static_cast<std::uint32_t>(state.range(1));
  const auto determinants = static_cast<std::uint32_t>(state.range(2));
  const int l = static_cast<int>(state.range(0));
  const OperatorType H = l == 0 ? HubbardRing(orbitals / 2) : ImpurityOperator(l, orbitals);
  const WaveFunctionType start = RandomState(orbitals, 1),
                         psi = GrownState(H, start, determinants ? determinants : ~0u);
  OperatorRows<double> rows(H, nullptr, std::make_shared<DeterminantBasis>(Layout(psi)), SIZE_MAX);
  const NumberedState<double> numbered = NumberState<double>(*rows.numbering, psi);
  Panel x{columns, {}}, y;
  ExtendPanel(x, rows.numbering->N + std::size_t{1});
  for (const std::uint32_t number : numbered.number)
    std::fill_n(&x.value[std::size_t{number} * columns], columns, 0.5);
  OperatorRowsMultiplyPanel(rows, x, y);
  double entries = 0;
  for (const auto& slab : rows.slabs) entries += static_cast<double>(slab.target.size() * columns);
  const CycleRate rate = Timed(state, [&] { OperatorRowsMultiplyPanel(rows, x, y); });
  using benchmark::Counter;
  const auto inverse = Counter::kIsIterationInvariantRate | Counter::kInvert;
  state.counters["ns_entry"] = Counter(entries * 1e-9, inverse);
  state.counters["cycles_entry"] = Counter(entries / rate.perSecond(), inverse);
  state.counters["entries"] = entries / columns / rows.rows;
  state.counters["determinants"] = rows.numbering->N;
}
void PanelRowsOne(benchmark::State& state) { PanelRows(state, 1); }
void PanelRowsFour(benchmark::State& state) { PanelRows(state, 4); }
void PanelRowsEight(benchmark::State& state) { PanelRows(state, 8); }

// Rows inside a fixed basis. A ring for l = 0.
void FixedRows(benchmark::State& state) {
  const auto orbitals = static_cast<std::uint32_t>(state.range(1));
  const auto determinants = static_cast<std::uint32_t>(state.range(2));
  const int l = static_cast<int>(state.range(0));
  const OperatorType H = l == 0 ? HubbardRing(orbitals / 2) : ImpurityOperator(l, orbitals);
  const WaveFunctionType start = RandomState(orbitals, std::min(determinants, 10u));
  const auto rows = MakeFixedBasisOperator<double>(H, GrownState(H, start, determinants));
  std::vector<double> x(rows.N, 1), y(x.size());
  const CycleRate rate = Timed(state, [&] { FixedBasisOperatorMultiply(rows, 0.5, x.data(), y.data()); });
  using benchmark::Counter;
  const auto inverse = Counter::kIsIterationInvariantRate | Counter::kInvert;
  const double entries = static_cast<double>(EntryCount(rows));
  state.counters["ns_entry"] = Counter(entries * 1e-9, inverse);
  state.counters["cycles_entry"] = Counter(entries / rate.perSecond(), inverse);
  state.counters["entries"] = entries / static_cast<double>(rows.N);
  state.counters["determinants"] = static_cast<double>(rows.N);
}

// Which terms survive, without looking up what they give.
void SurvivorsOnly(benchmark::State& state) {
  const auto orbitals = static_cast<std::uint32_t>(state.range(1));
  const OperatorType H = ImpurityOperator(static_cast<int>(state.range(0)), orbitals);
  const WaveFunctionType psi = RandomState(orbitals, static_cast<std::uint32_t>(state.range(2)));
  const CompiledOperator compiled = CompileOperator(H, nullptr, ElementCount(psi));
  const CycleRate rate = Timed(state, [&] { benchmark::DoNotOptimize(CountSurvivors(compiled, psi)); });
  Report(state, compiled, psi, rate, 0);
}

// Two electrons in 64 orbitals: hardly a term survives, what is left is the cost of a pair.
void HardlyASurvivor(benchmark::State& state) {
  const OperatorType H = ImpurityOperator(3, 64);
  const WaveFunctionType psi = RandomState(64, 2000, 2);
  const CompiledOperator compiled = CompileOperator(H, nullptr, ElementCount(psi));
  const CycleRate rate = Timed(state, [&] { benchmark::DoNotOptimize(CountSurvivors(compiled, psi)); });
  Report(state, compiled, psi, rate, 0);
}

void Cases(benchmark::internal::Benchmark* b) {
  b->Args({2, 10, 250})->Args({3, 14, 3400});  // the shell alone
  b->Args({2, 24, 400000})
      ->Args({2, 26, 100000})
      ->Args({3, 26, 50000})
      ->Args({3, 64, 40000})
      ->Args({3, 100, 30000});  // towards a million determinants
  b->Unit(benchmark::kMillisecond);
}
BENCHMARK(GrowingBasis)->Apply(Cases);
BENCHMARK(LadderSteps)->Apply(Cases);
BENCHMARK(LadderProduct)->Apply(Cases);
BENCHMARK(FixedBasis)->Apply(Cases);
void FixedCases(benchmark::internal::Benchmark* b) {
  b->Args({2, 10, 250})->Args({3, 14, 3400})->Args({0, 24, 800000});
  b->Args({2, 24, 800000})->Args({2, 26, 800000})->Args({3, 26, 800000})->Args({3, 64, 800000});
  b->Unit(benchmark::kMillisecond);
}
BENCHMARK(RememberedRows)->Apply(FixedCases);
void PanelCases(benchmark::internal::Benchmark* b) {
  b->Args({3, 14, 0})->Args({0, 16, 0})->Args({0, 24, 0})->Args({2, 26, 60000})->Args({2, 26, 400000});
  b->Unit(benchmark::kMillisecond);
}
BENCHMARK(PanelRowsOne)->Apply(PanelCases);
BENCHMARK(PanelRowsFour)->Apply(PanelCases);
BENCHMARK(PanelRowsEight)->Apply(PanelCases);
BENCHMARK(FixedRows)->Apply(FixedCases);
BENCHMARK(SurvivorsOnly)->Apply(Cases);
BENCHMARK(HardlyASurvivor);

}  // namespace
}  // namespace fermix
