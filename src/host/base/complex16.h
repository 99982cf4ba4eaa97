// Complex16: two doubles, the element of all complex arrays; and the helpers with which one text of an
// algorithm serves real and complex values.
//
// Conj, Re, Im, NormSqr and Abs accept both kinds, so that inside a template the type carries the kind.
#pragma once

#include <cmath>
#include <type_traits>
#include <variant>

namespace fermix {

// The system's test for a numerical zero wherever real and complex storage meet: ten times the smallest
// normal double, an absolute threshold.
inline constexpr double NumericalZero = 2.2250738585072014e-307;

struct Complex16 {
  double re = 0, im = 0;
  constexpr Complex16() = default;
  constexpr Complex16(double real, double imag = 0) : re(real), im(imag) {}
  constexpr Complex16& operator+=(Complex16 z) { return re += z.re, im += z.im, *this; }
  constexpr Complex16& operator-=(Complex16 z) { return re -= z.re, im -= z.im, *this; }
  constexpr Complex16& operator*=(Complex16 z) {
    return *this = Complex16(re * z.re - im * z.im, re * z.im + im * z.re);
  }
  constexpr Complex16& operator*=(double x) { return re *= x, im *= x, *this; }
};
static_assert(sizeof(Complex16) == 16);

constexpr Complex16 operator-(Complex16 a) { return {-a.re, -a.im}; }
constexpr Complex16 operator+(Complex16 a, Complex16 b) { return a += b; }
constexpr Complex16 operator-(Complex16 a, Complex16 b) { return a -= b; }
constexpr Complex16 operator*(Complex16 a, Complex16 b) { return a *= b; }
constexpr Complex16 operator*(Complex16 a, double x) { return a *= x; }
constexpr Complex16 operator*(double x, Complex16 a) { return a *= x; }
constexpr Complex16 operator/(Complex16 a, double x) { return {a.re / x, a.im / x}; }
constexpr bool operator==(Complex16 a, Complex16 b) { return a.re == b.re && a.im == b.im; }

// Quotient by Smith's rule, so that the squared magnitude of b neither overflows nor underflows.
// Source: R. L. Smith, Comm. ACM 5 (1962) 435.
inline Complex16 operator/(Complex16 a, Complex16 b) {
  if (std::fabs(b.re) >= std::fabs(b.im)) {
    const double r = b.im / b.re, d = b.re + b.im * r;
    return {(a.re + a.im * r) / d, (a.im - a.re * r) / d};
  }
  const double r = b.re / b.im, d = b.re * r + b.im;
  return {(a.re * r + a.im) / d, (a.im * r - a.re) / d};
}

constexpr double Conj(double x) { return x; }
constexpr Complex16 Conj(Complex16 z) { return {z.re, -z.im}; }
constexpr double Re(double x) { return x; }
constexpr double Re(Complex16 z) { return z.re; }
constexpr double Im(double) { return 0; }
constexpr double Im(Complex16 z) { return z.im; }
constexpr double NormSqr(double x) { return x * x; }
constexpr double NormSqr(Complex16 z) { return z.re * z.re + z.im * z.im; }
inline double Abs(double x) { return std::fabs(x); }
inline double Abs(Complex16 z) { return std::hypot(z.re, z.im); }

Complex16 Exp(Complex16 z);

// a to the power b, and a to the power x. Neither treats a = 0 apart.
Complex16 Cpow(Complex16 a, Complex16 b);
Complex16 Cpowd(Complex16 a, double x);

template <class T>
inline constexpr bool IsComplex = std::is_same_v<T, Complex16>;

// Narrows z to the kind T: the real part, or z itself.
template <class T>
constexpr T ToKind(Complex16 z) {
  if constexpr (IsComplex<T>) {
    return z;
  } else {
    return z.re;
  }
}

}  // namespace fermix
