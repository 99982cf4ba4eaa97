// Spectra: a complex function on an equidistant energy grid, how chains and poles become one, and its text
// form.
//
// Point i lies at Emin + i dE, i = 0 .. NE. The data are a retarded Green's function G(E): Im is negative
// where intensity is positive, -pi times the intensity.
#pragma once

#include <array>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "linalg/natural_orbitals.h"

namespace fermix {

struct SpectraType {
  std::string Name;
  std::vector<double> Re = {0}, Im = {0};  // one value a point
  double Emin = 0, Emax = 0, dE = 0;       // dE = (Emax - Emin) / NE
  double EminPole = 0, EmaxPole = 0;       // energies of the lowest and the highest pole that contributed
  double Gamma = 0;                        // Lorentzian full width at half maximum in the data, 0 for none
  // High-energy tail of a spectrum that came from a chain: -b[0]^2 and a[0] - E0.
  double TailRe = 0, TailIm = 0;
  std::array<double, 5> FirstA{}, FirstB{};  // a[k] - E0 and b[k] of the chain; FirstB[0] is the integral
  double ResonantEnergy = std::numeric_limits<double>::quiet_NaN();
};

// Number of grid intervals; there are NE + 1 points.
inline std::uint32_t GridIntervals(const SpectraType& S) {
  return S.Re.empty() ? 0 : static_cast<std::uint32_t>(S.Re.size() - 1);
}

// What scripts hold: several spectra under one name.
struct SpectraTypeArray {
  std::vector<SpectraType> spectra;
  std::string Name;
};

std::size_t OwnedBytes(const SpectraTypeArray& S);

// A zero spectrum of NE intervals with name, energies, Gamma and resonant energy of header; tail and first
// coefficients are 0. Throws bad_alloc after a line.
SpectraType SpectrumAllocate(const SpectraType& header, std::uint32_t NE);
// The same on the grid of header itself.
inline SpectraType SpectrumAllocate(const SpectraType& header) {
  return SpectrumAllocate(header, GridIntervals(header));
}

// Fills S with a[0] + b[0]^2 / (z - a[1] - b[1]^2 / (z - a[2] - ...)), z = E0 + E + i Gamma / 2.
//
// E0  energy of the start state; the energies E of S count from there, all in one unit
// M   levels 1 .. N of the chain
// S   grid and Gamma set; Gamma 0 gives the sticks of ListOfPolesToSpectrum
// Warns, and fills S all the same, when Gamma covers fewer than five points. Status 1 when the chain can't be
// diagonalised.
// Source: Haydock, Heine and Kelly, J. Phys. C 5 (1972) 2845.
[[nodiscard]] int TriDiagonalMatrixToSpectrum(double E0, const TriDiagonalMatrixType& M, SpectraType& S);

// Fills S with a0 + sum_j b[j] / (z - a[j]). With Gamma 0 each pole becomes a stick, shared between the two
// points that enclose it so that the energy integral of Im stays right, and Re its discrete Hilbert
// transform; the sticks stand at the poles' own energies, without E0.
void ListOfPolesToSpectrum(double E0, const ListOfPoles& P, SpectraType& S);

// The sum of the two chains, with the weight and constant of the whole; and the star as its chain, or as its
// poles when Gamma is 0. Otherwise as TriDiagonalMatrixToSpectrum.
[[nodiscard]] int BADoubleTriDiagonalMatrixToSpectrum(double E0, const BADoubleTriDiagonalMatrixType& M,
                                                      SpectraType& S);
[[nodiscard]] int AndersonImpurityMatrixToSpectrum(double E0, const AndersonMatrixType& M, SpectraType& S);

// True when both lie on the same points, within rounding.
bool QSameGrid(const SpectraType& A, const SpectraType& B);

// A += (re + i im) B point by point. Status 1 after a line when the numbers of points differ; other
// differences of the grids only warn. The weight of B counts with re alone.
[[nodiscard]] int AddMultipliedSpectra(SpectraType& A, const SpectraType& B, double re, double im);
// The same on equal grids only; status 1 after lines otherwise.
[[nodiscard]] int SafeAddMultipliedSpectra(SpectraType& A, const SpectraType& B, double re, double im);

void SpectraScalarMultiply(SpectraType& S, double re, double im);

// Drops first points at the bottom and last at the top. Status 1 for a negative count or when nothing would
// be left of the grid.
[[nodiscard]] int RemovePointsSpectra(SpectraType& S, int first, int last);

// The text form: five lines of heading, then a line for each point with the energy axis of the first spectrum
// and two columns for each spectrum. Zeros stand where a shorter spectrum has ended.
std::string StringPrintSpectra(const std::vector<SpectraType>& S);
void StreamPrintSpectra(const std::vector<SpectraType>& S, std::FILE* stream);
// mode is "w" or "a". Status 1 after a line for another mode or a file that can't be written.
[[nodiscard]] int FilePrintSpectra(const std::vector<SpectraType>& S, const char* path, const char* mode);

}  // namespace fermix
