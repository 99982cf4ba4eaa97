#include "atomic/harmonic_oscillator.h"

#include <cmath>
#include <numbers>

#include "atomic/sector.h"

namespace fermix::test {
namespace {

struct Model {
  const char* name;
  double a;  // box or half grid wide enough for the lowest levels
  int nmax, functions;
  OperatorType (*single)(double, int);
  OperatorType (*contact)(double, int);
  double h;          // distance of grid points
  double tolerance;  // the box errs by exponentials of the width, the grid by the fourth power of h
};
const Model models[] = {{"standing waves", 14, 28, 28, CreateOperatorHarmonicOscillatorOnStandingWaves,
                         CreateOperatorHarmonicOscillatorOnStandingWavesPointInteraction, 0, 1e-7},
                        {"grid", 7, 40, 79, CreateOperatorHarmonicOscillatorOnGrid,
                         CreateOperatorHarmonicOscillatorOnGridInteraction, 0.175, 1e-3}};

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

TEST(HarmonicOscillator, LowestLevels) {
  for (const Model& model : models) {
    const OperatorType H = model.single(model.a, model.nmax);
    EXPECT_EQ(H.layout.NFermion, static_cast<std::uint32_t>(2 * model.functions)) << model.name;
    EXPECT_EQ(H.Name, "Harmonic Oscillator Kin+Pot");
    const auto values = Eigenvalues(Spatial(H, model.functions), model.functions);
    for (int n = 0; n < 4; ++n) {
      // Second differences lack h^2 <p^4> / 24 of the kinetic energy.
      const double differences = model.h * model.h / 32 * (2 * n * n + 2 * n + 1);
      EXPECT_NEAR(values[n], n + 0.5 - differences, model.tolerance) << model.name << n;
    }
  }
}

// First-order repulsion in the lowest level: the integral of its density squared is 1 / sqrt(2 pi).
TEST(HarmonicOscillator, ContactInTheLowestLevel) {
  for (const Model& model : models) {
    Dense vectors;
    Eigenvalues(Spatial(model.single(model.a, model.nmax), model.functions), model.functions, &vectors);
    Amplitude repulsion = 0;
    for (const Term& t : ToTerms(model.contact(model.a, model.nmax))) {
      Amplitude product = t.value;
      int up = 0;
      for (int f : t.factors) product *= vectors[(std::abs(f) - 1) / 2], up += (std::abs(f) - 1) % 2;
      EXPECT_EQ(up, 2);
      // In the pair state c+(up) c+(dn) c(dn) c(up) counts 1; a stored order with one swap counts -1.
      const bool swapped = (t.factors[0] % 2 == 0) == (-t.factors[2] % 2 == 0);
      repulsion += swapped ? -product : product;
    }
    EXPECT_NEAR(repulsion.real(), 1 / std::sqrt(2 * std::numbers::pi), model.tolerance) << model.name;
  }
}

// In the basis of its own eigenfunctions the oscillator is diagonal; a basis given for both spins is the
// same.
TEST(HarmonicOscillator, OnTheBasisOfItsEigenfunctions) {
  const Model small[] = {{"standing waves", 9, 6, 6, models[0].single, models[0].contact, 0, 1e-12},
                         {"grid", 3, 3, 5, models[1].single, models[1].contact, 1, 1e-12}};
  for (const Model& model : small) {
    const int n = model.functions;
    const OperatorType H = model.single(model.a, model.nmax), U = model.contact(model.a, model.nmax);
    Dense vectors;
    const auto values = Eigenvalues(Spatial(H, n), n, &vectors);
    const CompactMatrixType M = RealMatrix(vectors, n);
    const OperatorType rotated = CreateOperatorOnBasis(H, M);
    EXPECT_EQ(rotated.Name, H.Name);
    const Dense levels = Spatial(rotated, n);
    for (int i = 0; i < n; ++i)
      for (int j = 0; j < n; ++j)
        EXPECT_NEAR(levels[i * n + j].real(), i == j ? values[i] : 0, model.tolerance) << model.name;

    Dense withSpin(4 * n * n);
    for (int i = 0; i < 2 * n; ++i)
      for (int j = i % 2; j < 2 * n; j += 2) withSpin[i * 2 * n + j] = vectors[i / 2 * n + j / 2];
    // The spectrum of two particles does not change, whichever way the basis is given.
    const Sector pair({2 * n}, {2});
    const auto expected = Eigenvalues(Matrix(U, pair), pair.size());
    for (const OperatorType& V :
         {CreateOperatorOnBasis(U, M), CreateOperatorOnBasis(U, RealMatrix(withSpin, 2 * n))}) {
      const auto found = Eigenvalues(Matrix(V, pair), pair.size());
      for (std::size_t i = 0; i < found.size(); ++i) EXPECT_NEAR(found[i], expected[i], 1e-12) << model.name;
    }
  }
}

TEST(HarmonicOscillator, SmallestModels) {
  const double pi2 = std::numbers::pi * std::numbers::pi;
  const OperatorType wave = CreateOperatorHarmonicOscillatorOnStandingWaves(2, 1);
  EXPECT_NEAR(Spatial(wave, 1)[0].real(), pi2 / 8 + (1 - 6 / pi2) / 6, 1e-14);
  // The fourth power of the first sine: (2 / a)^2 a 3 / 8.
  const OperatorType contact = CreateOperatorHarmonicOscillatorOnStandingWavesPointInteraction(2, 1);
  EXPECT_EQ(contact.Name, "Harmonic Oscillator Point-Contact");
  EXPECT_NEAR(Matrix(contact, Sector({2}, {2}))[0].real(), 0.75, 1e-15);
  const OperatorType point = CreateOperatorHarmonicOscillatorOnGridInteraction(2, 1);
  EXPECT_EQ(point.Name, "Harmonic Oscillator Point Contact Interaction");
  EXPECT_NEAR(Matrix(point, Sector({2}, {2}))[0].real(), 0.5, 1e-15);
}

}  // namespace
}  // namespace fermix::test
