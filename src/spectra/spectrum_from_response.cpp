// Response functions on an energy grid.
#include <algorithm>
#include <cfloat>
#include <cmath>
#include <numbers>
#include <numeric>

#include "host/base/complex16.h"
#include "host/base/status.h"
#include "host/base/timing.h"
#include "spectra/spectrum.h"

namespace fermix {

namespace {

// The function at each point, E0 above its energy and Gamma / 2 above the axis.
template <class Form>
void FillFromFunction(double E0, const Form& M, SpectraType& S) {
  for (std::size_t i = 0; i < S.Re.size(); ++i) {
    const Complex16 g = ResponseAt(M, {S.Emin + static_cast<double>(i) * S.dE + E0, S.Gamma / 2});
    S.Re[i] = g.re;
    S.Im[i] = g.im;
  }
}

void KeepFirstCoefficients(double E0, const TriDiagonalMatrixType& M, SpectraType& S) {
  const std::size_t N = M.b.size();
  S.TailRe = N > 0 ? -M.b[0] * M.b[0] : 0;
  S.TailIm = M.a[0] - E0;
  for (std::size_t k = 0; k < S.FirstA.size(); ++k) {
    S.FirstA[k] = M.a[std::min(k, N)] - E0;
    S.FirstB[k] = k < N ? M.b[k] : 0;
  }
}

// Adds the energy integral of a pole of this weight to the point.
void AddStick(SpectraType& S, std::size_t point, double weight) {
  S.Im[point] -= std::numbers::pi * weight / S.dE;
}

// A pole on the points of the grid: on the two that enclose it, or whole on an end.
void AddPoleAsStick(SpectraType& S, double energy, double weight) {
  const std::size_t NE = GridIntervals(S);
  if (!(energy > S.Emin)) return AddStick(S, 0, weight);
  if (energy >= S.Emax || NE == 0) return AddStick(S, NE, weight);
  const double x = (energy - S.Emin) / S.dE;
  const std::size_t p = std::min(static_cast<std::size_t>(x), NE - 1);  // x may round up to NE
  const double f = x - static_cast<double>(p);
  AddStick(S, p, (1 - f) * weight);
  AddStick(S, p + 1, f * weight);
}

void RealPartByHilbertTransform(SpectraType& S) {
  for (std::size_t j = 0; j < S.Im.size(); ++j) {
    if (S.Im[j] == 0) continue;
    for (std::size_t k = 0; k < S.Re.size(); ++k)
      if (k != j)
        S.Re[k] += S.Im[j] / (-std::numbers::pi * (static_cast<double>(k) - static_cast<double>(j)));
  }
}

}  // namespace

int TriDiagonalMatrixToSpectrum(double E0, const TriDiagonalMatrixType& M, SpectraType& S) {
  if (S.Gamma == 0) {
    ListOfPoles P;
    if (const int status = TriDiagonalMatrixToListOfPoles(M, P)) return status;
    ListOfPolesToSpectrum(E0, P, S);
    return 0;
  }
  // An automatic width covers just five, up to rounding.
  if (std::fabs(S.dE) > S.Gamma / 5 * (1 + 4 * DBL_EPSILON))
    Say("\n\nNeed more then five points per lorenzian FWHM in order to represent a spectrum accurately\n");
  FillFromFunction(E0, M, S);
  KeepFirstCoefficients(E0, M, S);
  return 0;
}

void ListOfPolesToSpectrum(double E0, const ListOfPoles& P, SpectraType& S) {
  const ScopedTiming timing(64, "ListOfPolesToSpectrum");
  S.FirstB[0] = std::sqrt(std::accumulate(P.b.begin(), P.b.end(), 0.0));
  if (S.Gamma == 0) {
    std::fill(S.Re.begin(), S.Re.end(), 0);
    std::fill(S.Im.begin(), S.Im.end(), 0);
    for (std::size_t j = 0; j < P.a.size(); ++j) AddPoleAsStick(S, P.a[j], P.b[j]);
    RealPartByHilbertTransform(S);
    for (double& x : S.Re) x += P.a0;
    return;
  }
  FillFromFunction(E0, P, S);
}

int BADoubleTriDiagonalMatrixToSpectrum(double E0, const BADoubleTriDiagonalMatrixType& M, SpectraType& S) {
  SpectraType con = S;
  if (const int status = TriDiagonalMatrixToSpectrum(E0, M.val, S)) return status;
  if (const int status = TriDiagonalMatrixToSpectrum(E0, M.con, con)) return status;
  if (const int status = AddMultipliedSpectra(S, con, 1, 0)) return status;
  SpectraScalarMultiply(S, M.B0 * M.B0, 0);
  for (double& x : S.Re) x += M.A0;
  if (S.Gamma == 0) return 0;
  TriDiagonalMatrixType whole;
  if (const int status = BADoubleTriDiagonalMatrixToTriDiagonalMatrix(M, whole)) return status;
  KeepFirstCoefficients(E0, whole, S);
  return 0;
}

int AndersonImpurityMatrixToSpectrum(double E0, const AndersonMatrixType& M, SpectraType& S) {
  if (S.Gamma == 0) {
    ListOfPoles P;
    if (const int status = AndersonMatrixToListOfPoles(M, P)) return status;
    ListOfPolesToSpectrum(E0, P, S);
    return 0;
  }
  TriDiagonalMatrixType chain;
  if (const int status = AndersonMatrixToTriDiagonalMatrix(M, chain, static_cast<std::uint32_t>(M.b.size())))
    return status;
  return TriDiagonalMatrixToSpectrum(E0, chain, S);
}

}  // namespace fermix
