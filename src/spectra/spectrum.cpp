#include "spectra/spectrum.h"

#include <algorithm>
#include <cfloat>
#include <cmath>

#include "host/base/complex16.h"
#include "host/base/status.h"

namespace fermix {

std::size_t OwnedBytes(const SpectraTypeArray& S) {
  std::size_t bytes = S.spectra.capacity() * sizeof(SpectraType);
  for (const SpectraType& s : S.spectra) bytes += (s.Re.capacity() + s.Im.capacity()) * sizeof(double);
  return bytes;
}

SpectraType SpectrumAllocate(const SpectraType& header, std::uint32_t NE) {
  SpectraType S;
  S.Name = header.Name;
  S.Emin = header.Emin;
  S.Emax = header.Emax;
  S.dE = header.dE;
  S.EminPole = header.EminPole;
  S.EmaxPole = header.EmaxPole;
  S.Gamma = header.Gamma;
  S.ResonantEnergy = header.ResonantEnergy;
  const std::size_t points = std::size_t{NE} + 1;
  OrSay("\nERROR\nSpectrumAllocate failed 01\n", [&] { S.Re.assign(points, 0); });
  OrSay("\nERROR\nSpectrumAllocate falied 02\n", [&] { S.Im.assign(points, 0); });
  return S;
}

bool QSameGrid(const SpectraType& A, const SpectraType& B) {
  const double tolerance = std::fabs(A.Emax - A.Emin) * DBL_EPSILON + 2.2250738585072014e-305;
  return A.Re.size() == B.Re.size() && std::fabs(A.Emin - B.Emin) < tolerance &&
         std::fabs(A.Emax - B.Emax) < tolerance;
}

int AddMultipliedSpectra(SpectraType& A, const SpectraType& B, double re, double im) {
  if (A.Re.size() != B.Re.size())
    return Fail("Mix Spectra failed A.N=%i B.N=%i\n", static_cast<int>(GridIntervals(A)),
                static_cast<int>(GridIntervals(B)));
  if (A.Emin != B.Emin) Say("Warning in Mix Spectra A.Emin=%f B.Emin=%f\n", A.Emin, B.Emin);
  if (A.Emax != B.Emax) Say("Warning in Mix Spectra A.Emax=%f B.Emax=%f\n", A.Emax, B.Emax);
  if (A.Gamma != B.Gamma) Say("Warning in Mix Spectra A.Gamma=%f B.Gamma=%f\n", A.Gamma, B.Gamma);
  for (std::size_t i = 0; i < A.Re.size(); ++i) {
    const double x = B.Re[i], y = B.Im[i];  // B may be A itself
    A.Re[i] += re * x - im * y;
    A.Im[i] += re * y + im * x;
  }
  A.EminPole = std::min(A.EminPole, B.EminPole);
  A.EmaxPole = std::max(A.EmaxPole, B.EmaxPole);
  A.FirstB[0] = std::sqrt(A.FirstB[0] * A.FirstB[0] + re * B.FirstB[0] * B.FirstB[0]);
  return 0;
}

int SafeAddMultipliedSpectra(SpectraType& A, const SpectraType& B, double re, double im) {
  if (QSameGrid(A, B)) return AddMultipliedSpectra(A, B, re, im);
  Say("Still to do: SafeAddMultipliedSpectra\n");
  Say("A.N=%i B.N=%i\n", static_cast<int>(GridIntervals(A)), static_cast<int>(GridIntervals(B)));
  Say("A.Emin=%22.15E B.Emin=%22.15E\n", A.Emin, B.Emin);
  return Fail("A.Emax=%22.15E B.Emax=%22.15E\n", A.Emin, B.Emax);
}

void SpectraScalarMultiply(SpectraType& S, double re, double im) {
  for (std::size_t i = 0; i < S.Re.size(); ++i) {
    const Complex16 z = Complex16(S.Re[i], S.Im[i]) * Complex16(re, im);
    S.Re[i] = z.re;
    S.Im[i] = z.im;
  }
  const double magnitude = std::sqrt(re * re + im * im);
  S.FirstB[0] *= std::sqrt(magnitude);
  S.TailRe *= magnitude;
}

int RemovePointsSpectra(SpectraType& S, int first, int last) {
  if (first < 0 || last < 0 || std::int64_t{first} + last >= GridIntervals(S)) return 1;
  for (std::vector<double>* data : {&S.Re, &S.Im}) {
    data->erase(data->end() - last, data->end());
    data->erase(data->begin(), data->begin() + first);
    data->shrink_to_fit();
  }
  S.Emin += first * S.dE;
  S.Emax -= last * S.dE;
  return 0;
}

}  // namespace fermix
