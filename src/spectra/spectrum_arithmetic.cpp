#include "spectra/spectrum_arithmetic.h"

#include <cassert>
#include <cmath>

namespace fermix {

namespace {

// Replaces each point by f(point).
template <class F>
void Map(SpectraType& S, F&& f) {
  for (std::size_t i = 0; i < S.Re.size(); ++i) {
    const Complex16 z = f(Complex16(S.Re[i], S.Im[i]));
    S.Re[i] = z.re;
    S.Im[i] = z.im;
  }
}

// f(point of A, point of B) on a new record.
template <class F>
SpectraType Combine(const SpectraType& A, const SpectraType& B, F&& f) {
  assert(A.Re.size() == B.Re.size());
  SpectraType result = SpectrumAllocate(A);
  for (std::size_t i = 0; i < A.Re.size(); ++i) {
    const Complex16 z = f(Complex16(A.Re[i], A.Im[i]), Complex16(B.Re[i], B.Im[i]));
    result.Re[i] = z.re;
    result.Im[i] = z.im;
  }
  return result;
}

}  // namespace

void SpectraAddConstant(SpectraType& S, Complex16 z) {
  Map(S, [z](Complex16 point) { return point + z; });
}

void SpectraDivideConstant(SpectraType& S, Complex16 z) {
  Map(S, [z](Complex16 point) { return z / point; });
}

void SpectraPower(SpectraType& S, Complex16 z) {
  Map(S, [z](Complex16 point) -> Complex16 {
    const double r = NormSqr(point);
    if (r == 0) return std::pow(r, z.re / 2);  // it has neither phase nor logarithm
    const double t = std::atan2(point.im, point.re);
    const double magnitude = std::pow(r, z.re / 2) * std::exp(-z.im * t);
    const double phase = z.re * t + z.im * std::log(r) / 2;
    return {magnitude * std::cos(phase), magnitude * std::sin(phase)};
  });
}

SpectraType SpectraProduct(const SpectraType& A, const SpectraType& B) {
  return Combine(A, B, [](Complex16 a, Complex16 b) { return a * b; });
}

SpectraType SpectraQuotient(const SpectraType& A, const SpectraType& B) {
  return Combine(A, B, [](Complex16 a, Complex16 b) { return a / b; });
}

void SpectraShift(SpectraType& S, double shift) {
  for (double* energy : {&S.Emin, &S.Emax, &S.EminPole, &S.EmaxPole, &S.TailIm}) *energy += shift;
  for (double& a : S.FirstA) a += shift;
}

void SpectraMultiplyByEnergy(SpectraType& S) {
  for (std::size_t i = 0; i < S.Re.size(); ++i) {
    const double E = S.Emin + static_cast<double>(i) * S.dE;
    S.Re[i] *= E;
    S.Im[i] *= E;
  }
}

}  // namespace fermix
