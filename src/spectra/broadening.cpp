#include "spectra/broadening.h"

#include <algorithm>
#include <cassert>
#include <cmath>

namespace fermix {

namespace {

// Sums f over the seven positions of the cell at distance d from the source, in units of energy.
template <class F>
double SumOverCell(double d, double dE, F&& f) {
  double sum = 0;
  for (int m = -3; m <= 3; ++m) sum += f((d + m / 7.0) * dE);
  return sum;
}

struct Gaussian {
  double s, dE;  // standard deviation
  Gaussian(double FWHM, double cell) : s(FWHM / 2.3548200450309493), dE(cell) {}
  double operator()(double d) const {
    const double sum = SumOverCell(d, dE, [this](double x) { return std::exp(-x * x / (2 * s * s)); });
    return sum * (dE / (2.5066282746310002 * s) / 7);
  }
  // Beyond this many cells the exponential is exactly 0: exp(-746) underflows, sqrt(2 * 746) < 39.
  double reach() const { return std::fabs(39 * s / dE) + 1; }
};

struct Lorentzian {
  double w, dE;  // full width
  Lorentzian(double FWHM, double cell) : w(FWHM), dE(cell) {}
  double operator()(double d) const {
    const double sum = SumOverCell(d, dE, [this](double x) { return 1 / (4 * x * x + w * w); });
    return sum * (2 * dE * w / 21.991148575128552);  // 7 pi
  }
  double reach() const { return HUGE_VAL; }
};

// Convolves S, point k of the source with the kernel of width widthAt(k). A kernel depends on the distance
// alone: it is tabulated once, and again only where the width changes.
template <class Kernel, class WidthAt>
void Convolve(SpectraType& S, WidthAt&& widthAt) {
  const std::ptrdiff_t NE = GridIntervals(S);
  std::vector<double> Re(NE + 1), Im(NE + 1), table(2 * NE + 1);
  std::ptrdiff_t reach = 0;
  for (std::ptrdiff_t k = 0; k <= NE; ++k) {
    if (k == 0 || widthAt(k) != widthAt(k - 1)) {
      const Kernel kernel(widthAt(k), S.dE);
      const double cells = kernel.reach();
      reach = cells < static_cast<double>(NE) ? static_cast<std::ptrdiff_t>(cells) + 1 : NE;
      reach = std::clamp<std::ptrdiff_t>(reach, 0, NE);
      for (std::ptrdiff_t d = -reach; d <= reach; ++d) table[NE + d] = kernel(static_cast<double>(d));
    }
    const double* value = &table[NE] - k;  // value[i] belongs to the distance i - k
    const std::ptrdiff_t first = std::max<std::ptrdiff_t>(0, k - reach), last = std::min(NE, k + reach);
    for (std::ptrdiff_t i = first; i <= last; ++i) {
      Re[i] += value[i] * S.Re[k];
      Im[i] += value[i] * S.Im[k];
    }
  }
  S.Re = std::move(Re);
  S.Im = std::move(Im);
}

template <class Kernel>
void BroadenUniform(SpectraType& S, double FWHM) {
  if (S.dE > 2 * FWHM) return;  // the kernel would be narrower than the grid
  Convolve<Kernel>(S, [FWHM](std::ptrdiff_t) { return FWHM; });
}

template <class Kernel>
void BroadenVariable(SpectraType& S, const std::vector<double>& FWHM) {
  assert(FWHM.size() == S.Re.size());
  Convolve<Kernel>(S, [&](std::ptrdiff_t k) { return std::max(S.dE / 2, FWHM[k]); });
}

}  // namespace

void BroadenG(SpectraType& S, double FWHM) { BroadenUniform<Gaussian>(S, FWHM); }
void BroadenL(SpectraType& S, double FWHM) { BroadenUniform<Lorentzian>(S, FWHM); }
void BroadenGvar(SpectraType& S, const std::vector<double>& FWHM) { BroadenVariable<Gaussian>(S, FWHM); }
void BroadenLvar(SpectraType& S, const std::vector<double>& FWHM) { BroadenVariable<Lorentzian>(S, FWHM); }

}  // namespace fermix
