// Error functions of a complex argument, and the line shapes made of them. libcerf does the work: the
// published Faddeeva algorithms at a fixed tolerance of one double epsilon.
#pragma once

#include "host/base/complex16.h"

namespace fermix {

// w(z) = exp(-z^2) erfc(-i z), the Faddeeva function.
Complex16 FaddeevaW(Complex16 z);
// Im w(x) for real x: 2 / sqrt(pi) times Dawson's integral.
double FaddeevaW_Im(double x);
// exp(x^2) erfc(x) for real x.
double erfcx(double x);

// erf and erfc of a complex argument.
Complex16 Cerf(Complex16 z);
Complex16 Cerfc(Complex16 z);

// The profile of a line at w from its centre: the convolution of a Gaussian of full width 1 with a Lorentzian
// of full width L, divided by L.
double Voight(double w, double L);

}  // namespace fermix
