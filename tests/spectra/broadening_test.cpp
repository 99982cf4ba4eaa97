#include "spectra/broadening.h"

#include <cmath>
#include <functional>
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
  void (*uniform)(SpectraType&, double);
  void (*variable)(SpectraType&, const std::vector<double>&);
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

void ExpectEqual(const SpectraType& got, const SpectraType& expected) {
  ASSERT_EQ(got.Re.size(), expected.Re.size());
  for (std::size_t i = 0; i < got.Re.size(); ++i)
    EXPECT_NEAR(Abs(Complex16(got.Re[i] - expected.Re[i], got.Im[i] - expected.Im[i])), 0, 1e-13) << i;
}

// Widths below half a cell count as half a cell where each source has its own.
TEST(Broadening, AgreesWithTheDirectDoubleSum) {
  std::vector<double> width(61), floored;
  for (int k = 0; k <= 60; ++k) width[k] = k < 20 ? -1 : k < 40 ? 0.2 : 0.02 * k;
  for (const double w : width) floored.push_back(std::max(0.05, w));
  for (const Shape& shape : Shapes) {
    SCOPED_TRACE(shape.name);
    for (const double FWHM : {0.06, 0.3, 100.0}) {  // from half a cell to far beyond the grid
      SpectraType S = RandomSpectrum(60, 0.1);
      const SpectraType expected = Direct(S, shape, std::vector<double>(61, FWHM));
      shape.uniform(S, FWHM);
      ExpectEqual(S, expected);
    }
    SpectraType S = RandomSpectrum(60, 0.1);
    const SpectraType expected = Direct(S, shape, floored);
    shape.variable(S, width);
    ExpectEqual(S, expected);
  }
}

TEST(Broadening, KeepsTheAreaInsideTheGrid) {
  for (const double FWHM : {0.1, 0.35, 2.0}) {
    SpectraType S = RandomSpectrum(400, 0.1);
    std::fill(S.Im.begin(), S.Im.end(), 0);
    S.Im[200] = -1;
    SpectraType L = S;
    BroadenG(S, FWHM);
    EXPECT_NEAR(std::accumulate(S.Im.begin(), S.Im.end(), 0.0), -1, 2e-4) << FWHM;
    BroadenL(L, FWHM);  // the tails beyond 20 on both sides hold 2 / pi atan(FWHM / 40)
    const double lost = 2 / std::numbers::pi * std::atan(FWHM / 40.1);
    EXPECT_NEAR(std::accumulate(L.Im.begin(), L.Im.end(), 0.0), lost - 1, 0.01) << FWHM;
  }
}

TEST(Broadening, TooNarrowKernelsChangeNothing) {
  const SpectraType original = RandomSpectrum(20, 0.1);
  for (const Shape& shape : Shapes)
    for (const double FWHM : {0.0, 0.049, -3.0}) {
      SpectraType S = original;
      shape.uniform(S, FWHM);
      EXPECT_EQ(S.Re, original.Re);
      EXPECT_EQ(S.Im, original.Im);
    }
}

TEST(Broadening, OddGridsDoNoHarm) {
  for (const Shape& shape : Shapes)
    for (const double dE : {0.0, -0.1, std::nan("")})
      for (const double FWHM : {0.0, 1.0, std::nan(""), HUGE_VAL}) {
        SpectraType S = RandomSpectrum(5, dE), single;
        shape.uniform(S, FWHM);
        shape.uniform(single, FWHM);
        shape.variable(S, std::vector<double>(6, FWHM));
      }
}

}  // namespace
}  // namespace fermix
