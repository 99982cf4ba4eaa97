// Matrices in scripts: what a call costs beyond the work of the library, on 2 by 2 matrices, and whether
// large products and eigensystems run at the speed of the BLAS and LAPACK.
//
// Counter of the calls: ns_call, time of one call with its share of the loop, which loop_alone measures.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <lua.hpp>

#include "host/complex_script.h"
#include "host/interpreter.h"
#include "host/script_library/script_library.h"
#include "host/units_script.h"
#include "linalg/blas.h"
#include "linalg/compact_matrix.h"

namespace fermix {
namespace {

lua_State* Interpreter() {
  static lua_State* L = NewInterpreter({luaopen_units, luaopen_Complex, luaopen_ssp, luaconstants});
  return L;
}

// Runs source, a chunk that returns a function of the number of repetitions, and calls that function.
void CallScript(benchmark::State& state, const std::string& source, int repetitions) {
  lua_State* L = Interpreter();
  if (luaL_dostring(L, source.c_str())) return state.SkipWithError(lua_tostring(L, -1));
  for (auto _ : state) {
    lua_pushvalue(L, -1);
    lua_pushinteger(L, repetitions);
    if (lua_pcall(L, 1, 0, 0)) return state.SkipWithError(lua_tostring(L, -1));
  }
  lua_pop(L, 1);
}

const std::string prologue =
    "local a, b, z = Matrix.New({{2, 1}, {1, 3}}), Matrix.New({{1, 2}, {2, 5}}), Matrix.New({{1, I}, {-I, "
    "2}})\n"
    "local t = Matrix.ToTable(a)\n"
    "local Eigensystem, Inverse, Transpose = Eigensystem, Inverse, Matrix.Transpose\n";

void Call(benchmark::State& state, const char* expression) {
  constexpr int repetitions = 10000;
  CallScript(state, prologue + "return function(n) for k = 1, n do local x = " + expression + " end end",
             repetitions);
  state.counters["ns_call"] = benchmark::Counter(
      1e-9 * repetitions, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}
BENCHMARK_CAPTURE(Call, loop_alone, "a");
BENCHMARK_CAPTURE(Call, sum, "a + b");
BENCHMARK_CAPTURE(Call, product, "a * b");
BENCHMARK_CAPTURE(Call, product_of_complex, "z * z");
BENCHMARK_CAPTURE(Call, product_of_tables, "t * t");
BENCHMARK_CAPTURE(Call, scaled, "2 * a");
BENCHMARK_CAPTURE(Call, transposed, "Transpose(a)");
BENCHMARK_CAPTURE(Call, element, "a[1][2]");
BENCHMARK_CAPTURE(Call, inverse, "Inverse(a)");
BENCHMARK_CAPTURE(Call, eigensystem, "Eigensystem(a)");

// The library routine alone on the same 2 by 2 task.
void LibraryInverse(benchmark::State& state) {
  for (auto _ : state) {
    double A[] = {2, 1, 1, 3};
    int pivots[2];
    benchmark::DoNotOptimize(Getrf(2, A, pivots) + Getri(2, A, pivots));
  }
}
BENCHMARK(LibraryInverse);
void LibraryEigensystem(benchmark::State& state) {
  for (auto _ : state) {
    double A[] = {2, 1, 1, 3}, values[2];
    benchmark::DoNotOptimize(EigenQr(2, A, values));
  }
}
BENCHMARK(LibraryEigensystem);

// Large ones: by script, and by the library on plain arrays. Argument: rows.
void ScriptProduct(benchmark::State& state) {
  const std::string n = std::to_string(state.range(0));
  CallScript(state,
             "local a = Matrix.ToUserdata(Matrix.Random({-1, 1}, {" + n + ", " + n +
                 "}))\nreturn function() return a * a end",
             1);
}
void LibraryProduct(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  std::vector<double> a(std::size_t(n) * n, 0.5), c(a.size());
  for (auto _ : state) {
    Gemm('N', 'N', n, n, n, 1.0, a.data(), n, a.data(), n, 0.0, c.data(), n);
    benchmark::DoNotOptimize(c.data());
  }
}
BENCHMARK(ScriptProduct)->Arg(100)->Arg(800)->Unit(benchmark::kMillisecond);
BENCHMARK(LibraryProduct)->Arg(100)->Arg(800)->Unit(benchmark::kMillisecond);

constexpr const char* symmetric =
    "local a = Matrix.ToUserdata(Matrix.Random({-1, 1}, {400, 400}))\na = a + Transpose(a)\n";

void ScriptEigensystem(benchmark::State& state) {
  CallScript(state, std::string(symmetric) + "return function() return Eigensystem(a) end", 1);
}
void LibraryEigensystemOfSize(benchmark::State& state) {
  const int n = 400;
  std::vector<double> a(std::size_t(n) * n), values(n), work;
  for (int i = 0; i < n; ++i)
    for (int j = 0; j <= i; ++j) a[i * n + j] = a[j * n + i] = std::rand() / 1e9;
  for (auto _ : state) {
    work = a;
    benchmark::DoNotOptimize(EigenDivide(n, work.data(), values.data()));
  }
}
BENCHMARK(ScriptEigensystem)->Unit(benchmark::kMillisecond);
BENCHMARK(LibraryEigensystemOfSize)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace fermix
