#include "spectra/shared_poles.h"

#include <algorithm>
#include <cmath>

#include "linalg/blas.h"

namespace fermix {

namespace {

// 1 / (E + i h - e[j]) for count points of the grid of S from first on: rows of real parts, or of imaginary
// ones.
void FillPoles(double E0, const std::vector<double>& e, const SpectraType& S, std::size_t first,
               std::size_t count, std::vector<double>& re, std::vector<double>& im) {
  const double h = S.Gamma / 2;
  for (std::size_t j = 0; j < e.size(); ++j)
    for (std::size_t i = 0; i < count; ++i) {
      const double x = E0 + S.Emin + static_cast<double>(first + i) * S.dE - e[j], d = x * x + h * h;
      re[j * count + i] = x / d;
      im[j * count + i] = -h / d;
    }
}

}  // namespace

void SharedPolesToSpectra(double E0, const std::vector<double>& e, const CompactMatrixType& weights,
                          SpectraType* S) {
  constexpr std::size_t MostPoints = 256;  // the scratch stays in the cache, or near it
  const std::size_t spectra = weights.Nj, poles = e.size();
  if (spectra == 0 || poles == 0) return;
  const auto& w = std::get<0>(weights.Data);
  std::vector<double> total(spectra);
  for (std::size_t j = 0; j < poles; ++j)
    for (std::size_t k = 0; k < spectra; ++k) total[k] += w[j * spectra + k];
  for (std::size_t k = 0; k < spectra; ++k) S[k].FirstB[0] = std::sqrt(total[k]);

  std::vector<double> pole[2], sum(spectra * MostPoints);
  for (auto& part : pole) part.resize(poles * MostPoints);
  const std::size_t points = S[0].Re.size();
  for (std::size_t first = 0; first < points; first += MostPoints) {
    const std::size_t count = std::min(MostPoints, points - first);
    FillPoles(E0, e, S[0], first, count, pole[0], pole[1]);
    for (int part = 0; part < 2; ++part) {
      // sum[k][i] = sum over j of w[j][k] pole[j][i]; the library sees the transposed matrices.
      Gemm('N', 'T', BlasSize(count), BlasSize(spectra), BlasSize(poles), 1, pole[part].data(),
           BlasSize(count), w.data(), BlasSize(spectra), 0, sum.data(), BlasSize(count));
      for (std::size_t k = 0; k < spectra; ++k)
        std::copy_n(&sum[k * count], count, (part ? S[k].Im : S[k].Re).begin() + first);
    }
  }
}

}  // namespace fermix
