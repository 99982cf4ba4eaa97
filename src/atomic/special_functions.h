// Radial special functions: spherical Bessel functions and associated Laguerre polynomials.
#pragma once

namespace fermix {

// j_n(x). Below x = (n + 4) / 2 by the power series, whose terms from order n + k = 32 on are left out as
// scripts rely on: it is good to an ulp up to n = 14, loses digits towards the border above, and is 0 for
// n >= 32. From there on the value of the finite sum over sines, cosines and powers of 1/x, to the last bits;
// not-a-number for n > 10^6 and x < n^2.
double SphericalBesselJ(double x, unsigned int n);

// L_n^l(x) = sum over k = 0 .. n of (-1)^k (n+l)! x^k / ((n-k)! (l+k)! k!); 0 for negative n. A negative l
// prints a line for each factorial of a negative number, which counts as 0, so that the value is not finite.
double LaguerrePolynomial(int n, int l, double x);

}  // namespace fermix
