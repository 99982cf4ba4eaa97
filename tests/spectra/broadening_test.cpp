#include "spectra/broadening.h"

#include <cmath>
#include <numbers>
#include <numeric>

#include "linalg/random_matrix.h"

namespace fermix {
namespace {

SpectraType RandomSpectrum(std::uint32_t NE, double dE) {
  std::mt19937 random(8);
  SpectraType header;
  header.Emin = -1;
  header.Emax = -1 + NE * dE;
  header.dE = dE;
  SpectraType S = SpectrumAllocate(header, NE);
  for (std::size_t i = 0; i <= NE; ++i) {
    S.Re[i] = RandomElement<double>(random);
    S.Im[i] = RandomElement<double>(random);
  }
  return S;
}

// The kernels as written down: the mean over seven positions of the line shape, times the cell.
double GaussianCell(double d, double dE, double FWHM) {
  const double s = FWHM / std::sqrt(8 * std::log(2.0));
  double sum = 0;
  for (int m = -3; m <= 3; ++m) sum += std::exp(-std::pow((d + m / 7.0) * dE / s, 2) / 2);
  return sum / 7 * dE / (s * std::sqrt(2 * std::numbers::pi));
}

double LorentzianCell(double d, double dE, double FWHM) {
  double sum = 0;
  for (int m = -3; m <= 3; ++m) {
    const double x = (d + m / 7.0) * dE;
    sum += FWHM / 2 / std::numbers::pi / (x * x + FWHM * FWHM / 4);
  }
  return sum / 7 * dE;
}

struct Shape {
  const char* name;
  double (*cell)(double, double, double);
  void (*uniform)(std::span<SpectraType>, double);
  void (*variable)(std::span<SpectraType>, const std::vector<double>&);
};
const Shape Shapes[] = {{"Gaussian", GaussianCell, BroadenG, BroadenGvar},
                        {"Lorentzian", LorentzianCell, BroadenL, BroadenLvar}};

SpectraType Direct(const SpectraType& S, const Shape& shape, const std::vector<double>& width) {
  SpectraType out = SpectrumAllocate(S);
  for (std::size_t i = 0; i < S.Re.size(); ++i)
    for (std::size_t k = 0; k < S.Re.size(); ++k) {
      const double K = shape.cell(static_cast<double>(i) - static_cast<double>(k), S.dE, width[k]);
      out.Re[i] += K * S.Re[k];
      out.Im[i] += K * S.Im[k];
    }
  return out;
}

// 19 spectra, which are 1, 2, 3 ... times one.
std::vector<SpectraType> Multiples(const SpectraType& S) {
  std::vector<SpectraType> multiples(19, S);
  for (int j = 0; j < 19; ++j) SpectraScalarMultiply(multiples[j], j + 1, 0);
  return multiples;
}

void ExpectMultiples(const std::vector<SpectraType>& got, const SpectraType& expected) {
  for (int j = 0; j < 19; ++j) {
    SCOPED_TRACE(j);
    ASSERT_EQ(got[j].Re.size(), expected.Re.size());
    for (std::size_t i = 0; i < expected.Re.size(); ++i) {
      EXPECT_NEAR(got[j].Re[i], (j + 1) * expected.Re[i], (j + 1) * 1e-14) << i;
      EXPECT_NEAR(got[j].Im[i], (j + 1) * expected.Im[i], (j + 1) * 1e-14) << i;
    }
  }
}

// Widths below half a cell count as half a cell where each source has its own.
TEST(Broadening, AgreesWithTheDirectDoubleSum) {
  const SpectraType original = RandomSpectrum(60, 0.1);
  std::vector<double> width(61), floored;
  for (int k = 0; k <= 60; ++k) width[k] = k < 20 ? -1 : k < 41 ? 0.2 : 0.02 * k;
  for (const double w : width) floored.push_back(std::max(0.05, w));
  for (const Shape& shape : Shapes) {
    SCOPED_TRACE(shape.name);
    for (const double FWHM : {0.06, 0.3, 100.0}) {  // from half a cell to far beyond the grid
      std::vector<SpectraType> S = Multiples(original);
      shape.uniform(S, FWHM);
      ExpectMultiples(S, Direct(original, shape, std::vector<double>(61, FWHM)));
    }
    std::vector<SpectraType> S = Multiples(original);
    shape.variable(S, width);
    ExpectMultiples(S, Direct(original, shape, floored));
  }
}

TEST(Broadening, KeepsTheAreaInsideTheGrid) {
  for (const double FWHM : {0.1, 0.35, 2.0}) {
    std::vector<SpectraType> G = {RandomSpectrum(400, 0.1)};
    std::fill(G[0].Im.begin(), G[0].Im.end(), 0);
    G[0].Im[200] = -1;
    std::vector<SpectraType> L = G;
    BroadenG(G, FWHM);
    EXPECT_NEAR(std::accumulate(G[0].Im.begin(), G[0].Im.end(), 0.0), -1, 2e-4) << FWHM;
    BroadenL(L, FWHM);  // the tails beyond 20 on both sides hold 2 / pi atan(FWHM / 40)
    const double lost = 2 / std::numbers::pi * std::atan(FWHM / 40.1);
    EXPECT_NEAR(std::accumulate(L[0].Im.begin(), L[0].Im.end(), 0.0), lost - 1, 0.01) << FWHM;
  }
}

TEST(Broadening, TooNarrowKernelsChangeNothing) {
  const SpectraType grid = RandomSpectrum(20, 0.1), point = RandomSpectrum(0, 0);
  for (const Shape& shape : Shapes)
    for (const auto& [original, FWHM] : {std::pair(grid, 0.0), {grid, 0.049}, {grid, -3.0}, {point, 0.0}}) {
      std::vector<SpectraType> S = {original};
      shape.uniform(S, FWHM);
      EXPECT_EQ(S[0].Re, original.Re);
      EXPECT_EQ(S[0].Im, original.Im);
    }
}

TEST(Broadening, OddGridsDoNoHarm) {
  for (const Shape& shape : Shapes)
    for (const double dE : {0.0, -0.1, std::nan("")})
      for (const double FWHM : {0.0, 1.0, std::nan(""), HUGE_VAL})
        for (const std::uint32_t NE : {0, 1, 5}) {
          std::vector<SpectraType> S = {RandomSpectrum(NE, dE)};
          shape.uniform(S, FWHM);
          shape.variable(S, std::vector<double>(NE + 1, FWHM));
        }
}

}  // namespace
}  // namespace fermix
