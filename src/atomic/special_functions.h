// Radial special functions: spherical Bessel functions and associated Laguerre polynomials.
#pragma once

namespace fermix {

// j_n(x). Below x = (n + 4) / 2 by the power series, whose terms from order n + k = 32 on are left out as
// scripts rely on: there it loses accuracy with growing n, and is 0 for n >= 32. Above, by the finite sum
// over sines, cosines and powers of 1/x, accurate to an ulp for small n; not-a-number where its terms
// overflow.
double SphericalBesselJ(double x, unsigned int n);

// L_n^l(x) = sum over k = 0 .. n of (-1)^k (n+l over n-k) x^k / k!, also for negative l; 0 for negative n.
double LaguerrePolynomial(int n, int l, double x);

}  // namespace fermix
