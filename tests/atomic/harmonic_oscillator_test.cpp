#include "atomic/harmonic_oscillator.h"

#include <cmath>
#include <numbers>
#include <numeric>

#include "atomic/sector.h"

namespace fermix::test {
namespace {

struct Model {
  const char* name;
  double a;
  int nmax, functions;
  OperatorType (*single)(double, int);
  OperatorType (*contact)(double, int);
  double h;  // distance of grid points, 0 for waves
};
Model Wave(double a, int nmax) {
  return {"standing waves ",
          a,
          nmax,
          nmax,
          CreateOperatorHarmonicOscillatorOnStandingWaves,
          CreateOperatorHarmonicOscillatorOnStandingWavesPointInteraction,
          0};
}
Model Grid(double a, int nmax) {
  return {"grid ",
          a,
          nmax,
          2 * nmax - 1,
          CreateOperatorHarmonicOscillatorOnGrid,
          CreateOperatorHarmonicOscillatorOnGridInteraction,
          a / nmax};
}

// Element (i, j) of the spatial functions, after a check that both spins have the same and none mix.
Dense Spatial(const OperatorType& O, int functions) {
  Dense m(functions * functions), other(functions * functions);
  for (const Term& t : ToTerms(O)) {
    const int i = t.factors[0] - 1, j = -t.factors[1] - 1;
    EXPECT_EQ(i % 2, j % 2);
    (i % 2 ? other : m)[(i / 2) * functions + j / 2] += t.value;
  }
  EXPECT_EQ(Distance(m, other), 0);
  return m;
}

CompactMatrixType RealMatrix(const Dense& rows, std::uint32_t n) {
  CompactMatrixType M = InitCompactMatrix(n, n, false);
  auto& data = std::get<std::vector<double>>(M.Data);
  for (std::size_t i = 0; i < rows.size(); ++i) data[i] = rows[i].real();
  return M;
}

// In a box wide enough, whose errors are exponentials of the width, and on a grid, whose errors beyond the
// second order are of the fourth.
TEST(HarmonicOscillator, LowestLevels) {
  const struct {
    Model model;
    double tolerance;
  } cases[] = {{Wave(24, 90), 1e-12}, {Grid(7, 80), 1e-4}};
  for (const auto& [model, tolerance] : cases) {
    const OperatorType H = model.single(model.a, model.nmax);
    EXPECT_EQ(H.layout.NFermion, static_cast<std::uint32_t>(2 * model.functions)) << model.name;
    EXPECT_EQ(H.Name, "Harmonic Oscillator Kin+Pot");
    const auto values = Eigenvalues(Spatial(H, model.functions), model.functions);
    for (int n = 0; n < 4; ++n) {
      // Second differences lack h^2 <p^4> / 24 of the kinetic energy.
      const double differences = model.h * model.h / 32 * (2 * n * n + 2 * n + 1);
      EXPECT_NEAR(values[n], n + 0.5 - differences, tolerance) << model.name << n;
    }
  }
}

// Values of the spatial functions of a model, or of linear combinations of them, on points of one weight by
// which sums over products of four functions are exact.
struct Sampled {
  double weight;
  std::vector<std::vector<double>> functions;

  explicit Sampled(const Model& model)
      : functions(model.functions, std::vector<double>(model.functions * 4)) {
    const int points = model.functions * 4;
    weight = model.h > 0 ? model.h : model.a / points;
    for (int i = 0; i < model.functions; ++i)
      for (int p = 0; p < points; ++p) {
        const double wave = std::sin((i + 1) * std::numbers::pi * (p + 0.5) / points);
        functions[i][p] = model.h > 0 ? (i == p) / std::sqrt(model.h) : std::sqrt(2 / model.a) * wave;
      }
  }
  Sampled Combined(const Dense& rows) const {
    Sampled result = *this;
    const std::size_t n = functions.size();
    for (std::size_t r = 0; r < n; ++r)
      for (std::size_t p = 0; p < functions[0].size(); ++p) {
        result.functions[r][p] = 0;
        for (std::size_t i = 0; i < n; ++i)
          result.functions[r][p] += rows[r * n + i].real() * functions[i][p];
      }
    return result;
  }
};

// The integral of four functions between pairs of different spin, 0 between all others.
void ExpectContact(const OperatorType& V, const Sampled& sampled) {
  const Sector sector({2 * static_cast<int>(sampled.functions.size())}, {2});
  std::vector<std::vector<double>> pairs;  // products of the two functions
  for (std::size_t state : sector.states) {
    const int low = std::countr_zero(state), high = static_cast<int>(std::bit_width(state)) - 1;
    const double sign = low % 2 == high % 2 ? 0 : low % 2 == 0 ? 1 : -1;  // whose creator stands first
    std::vector<double>& pair = pairs.emplace_back(sampled.functions[low / 2]);
    for (std::size_t p = 0; p < pair.size(); ++p) pair[p] *= sign * sampled.functions[high / 2][p];
  }
  Dense expected;
  for (const auto& bra : pairs)
    for (const auto& ket : pairs)
      expected.push_back(sampled.weight * std::inner_product(bra.begin(), bra.end(), ket.begin(), 0.0));
  EXPECT_LT(Distance(Matrix(V, sector), expected), 1e-13 * Largest(expected));
}

// Any matrix defines a basis; given for both spins it is the same.
TEST(HarmonicOscillator, ContactIsTheIntegralOfFourFunctions) {
  for (const Model& model : {Wave(3, 5), Grid(2, 1), Grid(3, 3)}) {
    SCOPED_TRACE(testing::Message() << model.name << model.nmax);
    const OperatorType V = model.contact(model.a, model.nmax);
    const Sampled sampled(model);
    ExpectContact(V, sampled);

    const int n = model.functions;
    Dense rows(n * n), withSpin(4 * n * n);
    for (int i = 0; i < n; ++i)
      for (int j = 0; j < n; ++j) {
        rows[i * n + j] = std::cos(3 * i + 2 * j * j + 1);
        for (int s : {0, 1}) withSpin[(2 * i + s) * 2 * n + 2 * j + s] = rows[i * n + j];
      }
    const auto size = static_cast<std::uint32_t>(n);
    const OperatorType rotated = CreateOperatorOnBasis(V, RealMatrix(rows, size));
    EXPECT_EQ(rotated.Name, V.Name);
    ExpectContact(rotated, sampled.Combined(rows));
    ExpectContact(CreateOperatorOnBasis(V, RealMatrix(withSpin, 2 * size)), sampled.Combined(rows));
  }
}

}  // namespace
}  // namespace fermix::test
