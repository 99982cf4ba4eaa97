// Speed of operator algebra: the square of the Coulomb operator of a d (l = 2) and of an f shell (l = 3), and
// its rotation by a dense matrix.
//
// Counters: ns_pair, time for each pair of terms of the product; terms, of the operator.
#include <benchmark/benchmark.h>

#include "atomic/coulomb.h"
#include "core/basis_rotation.h"
#include "core/operator_algebra.h"

namespace fermix {
namespace {

OperatorType ShellOperator(int l) {
  ShellIndices shell;
  const std::uint32_t size = 2 * (2 * l + 1);
  for (std::uint32_t i = 0; i < size; i += 2) {
    shell.list[static_cast<int>(Spin::dn)].push_back(static_cast<std::uint16_t>(i));
    shell.list[static_cast<int>(Spin::up)].push_back(static_cast<std::uint16_t>(i + 1));
  }
  return CreateOperatorCoulombSingleShell(
      size, shell, l == 2 ? std::vector<double>{8, 9, 6} : std::vector<double>{8, 9, 6, 4});
}

void Square(benchmark::State& state) {
  const OperatorType O = ShellOperator(static_cast<int>(state.range(0)));
  for (auto _ : state)
    benchmark::DoNotOptimize(OperatorMultiply2NormalOrder(O, O, 'N', 'N', QDetNotOrderedFcFaBcBa));
  double terms = 0;
  for (const OperatorFixedLengthType& t : O.l) terms += TermCount(t);
  state.counters["terms"] = terms;
  state.counters["ns_pair"] = benchmark::Counter(
      1e-9 * terms * terms, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}
BENCHMARK(Square)->Arg(2)->Arg(3);

void Rotation(benchmark::State& state) {
  const OperatorType O = ShellOperator(static_cast<int>(state.range(0)));
  const std::uint32_t n = O.layout.NFermion;
  CompactMatrixType M = InitCompactMatrix(n, n, false);
  for (std::uint32_t k = 0; k < n * n; ++k) std::get<0>(M.Data)[k] = 0.1 + k % 7;
  for (auto _ : state) {
    OperatorType result = InitOperatorCopySettings(O);
    MappedOperatorAddNormalOrder(result, O, M, QDetNotOrderedFcFaBcBa);
    benchmark::DoNotOptimize(result);
  }
}
BENCHMARK(Rotation)->Arg(2)->Arg(3)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace fermix
