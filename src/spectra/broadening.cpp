// How the convolution runs: four points of the source at a time, whose kernels all spectra of the call read.
// A kernel depends on the distance alone and costs far more than what one spectrum does with it. Each result
// is summed in the order of the source, whatever stands beside it.
#include "spectra/broadening.h"

#include <algorithm>
#include <cassert>
#include <cmath>

#include "host/base/vector_clones.h"

namespace fermix {

namespace {

// The kernels: values at d = 0 .. count - 1 cells from the source, each the mean of the seven positions
// d + m / 7, m = -3 .. 3; and the number of cells beyond which all values are 0.

struct Gaussian {
  // exp(-746) underflows, and sqrt(2 * 746) < 39.
  static double Reach(double FWHM, double dE) { return std::fabs(39 * (FWHM / 2.3548200450309493) / dE) + 1; }

  // exp(-a (d + m / 7)^2) is the product of exp(-a d^2), exp(-a m^2 / 49) and exp(-2 a d / 7) to the power m.
  static void Values(double FWHM, double dE, double* values, std::size_t count) {
    const double s = FWHM / 2.3548200450309493;  // standard deviation
    const double a = dE / s * (dE / s) / 2;
    double weight[4];
    for (int m = 0; m <= 3; ++m) weight[m] = dE / (2.5066282746310002 * s) / 7 * std::exp(-a * (m * m) / 49);
    for (std::size_t i = 0; i < count; ++i) {
      const double d = static_cast<double>(i);
      const double centre = std::exp(-a * d * d);
      if (centre == 0) return std::fill(values + i, values + count, 0.0);  // and no position counts
      const double down = std::exp(-2 * a * d / 7), up = 1 / down;
      values[i] = centre * (weight[0] + weight[1] * (down + up) + weight[2] * (down * down + up * up) +
                            weight[3] * (down * down * down + up * up * up));
    }
  }
};

FERMIX_VECTOR_CLONES void LorentzianValues(double FWHM, double dE, double* values, std::size_t count) {
  const int cells = static_cast<int>(count);  // of a type that vectors convert
  for (int i = 0; i < cells; ++i) {
    double sum = 0;
    for (int m = -3; m <= 3; ++m) {
      const double x = (i + m / 7.0) * dE;
      sum += 1 / (4 * x * x + FWHM * FWHM);
    }
    values[i] = sum * (2 * dE * FWHM / 21.991148575128552);  // 7 pi
  }
}

struct Lorentzian {
  static double Reach(double, double) { return HUGE_VAL; }
  static void Values(double FWHM, double dE, double* values, std::size_t count) {
    LorentzianValues(FWHM, dE, values, count);
  }
};

// The kernel of one width on both sides of its source.
class KernelTable {
 public:
  // Fills distances of up to cells, unless they stand there already.
  template <class Kernel>
  void Cover(double FWHM, double dE, std::ptrdiff_t cells) {
    if (FWHM == width && cells <= covered) return;
    values.resize(2 * cells + 1);
    double* middle = values.data() + cells;
    Kernel::Values(FWHM, dE, middle, cells + 1);
    std::reverse_copy(middle + 1, middle + cells + 1, middle - cells);
    width = FWHM;
    covered = cells;
  }

  const double* At(std::ptrdiff_t distance) const { return values.data() + covered + distance; }

 private:
  std::vector<double> values;
  double width = std::nan("");
  std::ptrdiff_t covered = -1;
};

// out += a x[0] + b x[1] + c x[2] + d x[3], added one after the other.
FERMIX_VECTOR_CLONES void AddFour(double* __restrict out, const double* a, const double* b, const double* c,
                                  const double* d, const double* x, std::size_t n) {
  const double x0 = x[0], x1 = x[1], x2 = x[2], x3 = x[3];
  for (std::size_t i = 0; i < n; ++i) out[i] = (((out[i] + a[i] * x0) + b[i] * x1) + c[i] * x2) + d[i] * x3;
}

template <class Kernel, class WidthAt>
void Convolve(std::span<SpectraType> S, WidthAt&& widthAt) {
  const std::ptrdiff_t NE = GridIntervals(S[0]);
  const double dE = S[0].dE;
  std::vector<std::vector<double>> out(2 * S.size(), std::vector<double>(NE + 1));
  KernelTable tables[4];
  for (std::ptrdiff_t k = 0; k <= NE; k += 4) {
    const std::ptrdiff_t present = std::min<std::ptrdiff_t>(4, NE + 1 - k);
    double widest = 0;
    for (int r = 0; r < present; ++r) widest = std::max(widest, widthAt(k + r));
    const double cells = Kernel::Reach(widest, dE);
    const std::ptrdiff_t reach =
        cells < static_cast<double>(NE) ? std::min(NE, static_cast<std::ptrdiff_t>(cells) + 4) : NE;
    const std::ptrdiff_t first = std::max<std::ptrdiff_t>(0, k - reach), last = std::min(NE, k + reach);
    const double* kernel[4];
    for (int r = 0; r < 4; ++r) {
      const std::ptrdiff_t source = std::min(k + r, NE);  // those past the end count with a value of 0
      tables[r].Cover<Kernel>(widthAt(source), dE, std::min(NE, reach + 3));
      kernel[r] = tables[r].At(first - source);
    }
    for (std::size_t row = 0; row < out.size(); ++row) {
      const std::vector<double>& source = row % 2 == 0 ? S[row / 2].Re : S[row / 2].Im;
      double x[4] = {};
      std::copy_n(source.begin() + k, present, x);
      AddFour(out[row].data() + first, kernel[0], kernel[1], kernel[2], kernel[3], x, last - first + 1);
    }
  }
  for (std::size_t j = 0; j < S.size(); ++j) {
    S[j].Re = std::move(out[2 * j]);
    S[j].Im = std::move(out[2 * j + 1]);
  }
}

// Spectra at a time: enough to make the kernels cheap, few enough for little scratch.
constexpr std::size_t Together = 64;

template <class Kernel, class WidthAt>
void ConvolveInParts(std::span<SpectraType> S, WidthAt&& widthAt) {
  for (std::size_t first = 0; first < S.size(); first += Together)
    Convolve<Kernel>(S.subspan(first, std::min(Together, S.size() - first)), widthAt);
}

template <class Kernel>
void BroadenUniform(std::span<SpectraType> S, double FWHM) {
  // A kernel that is narrower than the grid; a width of 0 has none on a grid of one point either.
  if (S.empty() || S[0].dE > 2 * FWHM || FWHM == 0) return;
  ConvolveInParts<Kernel>(S, [FWHM](std::ptrdiff_t) { return FWHM; });
}

template <class Kernel>
void BroadenVariable(std::span<SpectraType> S, const std::vector<double>& FWHM) {
  if (S.empty()) return;
  assert(FWHM.size() == S[0].Re.size());
  ConvolveInParts<Kernel>(S, [&](std::ptrdiff_t k) { return std::max(S[0].dE / 2, FWHM[k]); });
}

}  // namespace

void BroadenG(std::span<SpectraType> S, double FWHM) { BroadenUniform<Gaussian>(S, FWHM); }
void BroadenL(std::span<SpectraType> S, double FWHM) { BroadenUniform<Lorentzian>(S, FWHM); }
void BroadenGvar(std::span<SpectraType> S, const std::vector<double>& FWHM) {
  BroadenVariable<Gaussian>(S, FWHM);
}
void BroadenLvar(std::span<SpectraType> S, const std::vector<double>& FWHM) {
  BroadenVariable<Lorentzian>(S, FWHM);
}

}  // namespace fermix
