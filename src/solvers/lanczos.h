// Lanczos tridiagonalisation on a determinant basis that grows and is truncated in every step.
#pragma once

#include <cmath>

#include "core/operator_on_state.h"
#include "linalg/tridiagonal.h"

namespace fermix {

struct LanczosSettings {
  std::uint32_t length = 0;  // of the chains
  double epsilon = 0;        // truncation threshold of the vectors; loosens with the depth in the chain, and
                             // doubles when memory runs out
  double width = 0;          // spectral resolution aimed at, in units of H
  bool shareRows = true;     // false asks for the way term by term
};

struct LanczosRun {
  // a[0] = 0; a[k] and b[k] the Lanczos coefficients, b[0] the norm of the start state.
  TriDiagonalMatrixType chain;
  // How many levels have energies that mean something: all of them, or those before the first vector of which
  // normalisation or truncation left nothing or too little. Coefficients behind it hardly reach the function
  // of the chain, yet its eigenvalues may lie anywhere.
  std::uint32_t levels = 0;
};

// A chain for each start state. Three vectors, no reorthogonalisation, no early stop: a chain that closes
// goes on with zeros. All states share the rows of H; those that memory has no room for are worked out for
// each product. Where the vectors have no room either, or truncation leaves little of what H reaches, each
// state goes its own way, term by term: the same chains up to rounding, slower. R: restrictions of all
// vectors; the start states are taken as they are. Null takes those of H, and restricts the start states
// first. Ends the process when memory runs out and nothing is left that could be truncated.
std::vector<LanczosRun> LanczosTriDiagonalize(const OperatorType& H, const DeterminantRestrictionType* R,
                                              std::vector<WaveFunctionType> starts,
                                              const LanczosSettings& settings);

// Energies of the levels that mean something, ascending. Others would reach from the spectrum to the energy
// 0. Status 1 when the eigenvalues could not be had.
[[nodiscard]] int LanczosEnergies(const LanczosRun& run, std::vector<double>& energies);

// The rules that both ways share. How much what comes behind a coupling b can still matter at the resolution,
// from error, how much it could before. A chain that closed at resolution 0 has nothing to be accurate about.
inline double NextError(double error, double b, double width) {
  const double b2 = b * b, s2 = 4 * width * width;
  return b2 + s2 > 0 ? error * b2 / (b2 + s2) : 0;
}
// True when a vector lost so much weight by truncation that its level a moved towards 0 by more than a
// hundredth of the first coupling, the width of the spectrum.
inline bool QLevelMoved(double lostWeight, double a, const TriDiagonalMatrixType& M) {
  return lostWeight * std::fabs(a) > 0.01 * M.b[1];
}

// "Start of LanczosTriDiagonalizeRR" with the letters of operator and state.
void SayLanczosStart(const char* form);

}  // namespace fermix
