#include "host/base/complex16.h"

#include <complex>

namespace fermix {

Complex16 Exp(Complex16 z) {
  const std::complex<double> w = std::exp(std::complex<double>(z.re, z.im));
  return {w.real(), w.imag()};
}

Complex16 Cpow(Complex16 a, Complex16 b) {
  const double t = std::atan2(a.im, a.re), s = a.re * a.re + a.im * a.im;
  const double angle = std::log(s) * (b.im / 2) + b.re * t;
  const double magnitude = std::pow(s, b.re / 2) * std::exp(-b.im * t);
  return {magnitude * std::cos(angle), magnitude * std::sin(angle)};
}

Complex16 Cpowd(Complex16 a, double x) {
  const double t = std::atan2(a.im, a.re), s = a.re * a.re + a.im * a.im;
  const double magnitude = std::pow(s, x / 2);
  return {magnitude * std::cos(t * x), magnitude * std::sin(t * x)};
}

}  // namespace fermix
