#include "atomic/error_functions.h"

#include <cerf.h>

namespace fermix {

namespace {

// libcerf is a C library: its numbers are C's complex ones, which C++ compilers know as an extension.
using CComplex = double _Complex;

CComplex ToC(Complex16 z) {
  CComplex c;
  __real__ c = z.re;
  __imag__ c = z.im;
  return c;
}

Complex16 FromC(CComplex c) { return {__real__ c, __imag__ c}; }

}  // namespace

Complex16 FaddeevaW(Complex16 z) { return FromC(::w_of_z(ToC(z))); }
double FaddeevaW_Im(double x) { return ::im_w_of_x(x); }
double erfcx(double x) { return ::erfcx(x); }
Complex16 Cerf(Complex16 z) { return FromC(::cerf(ToC(z))); }
Complex16 Cerfc(Complex16 z) { return FromC(::cerfc(ToC(z))); }

double Voight(double w, double L) {
  constexpr double width = 0.6005612043932249;  // 1 / (2 sqrt(ln 2)): sqrt(2) sigma of full width 1
  constexpr double area = 1.0644670194312262;   // sqrt(pi) width
  return FaddeevaW({w / width, L / (2 * width)}).re / (L * area);
}

}  // namespace fermix
