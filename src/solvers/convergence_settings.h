// The numbers that steer the solvers: one record for all of their script functions, with its defaults.
#pragma once

#include <cstdint>
#include <limits>
#include <string>

#include "core/restriction.h"

namespace fermix {

// An energy grid of NE intervals; Emin above Emax asks for automatic bounds, Gamma 0 for an automatic width.
struct EnergyGridSettings {
  double Emin = std::numeric_limits<double>::max(), Emax = -std::numeric_limits<double>::max();
  std::uint32_t NE = 1000;
  double Gamma = 0;  // Lorentzian full width at half maximum
};

struct ConvergenceSettingsType {
  std::uint32_t DenseBorder = 1513;         // largest number of determinants for dense diagonalisation
  std::uint32_t NKrylovStart = 100;         // Krylov dimension of the first restart, counted above the states
  std::uint32_t NKrylovMax = 500;           // bound of the Krylov dimension
  std::uint32_t NKrylovStep = 10;           // growth of a restart
  std::uint32_t NKrylovMin = 50;            // accepted, without effect
  std::uint32_t NTri = 200;                 // Lanczos steps of a spectrum
  std::uint32_t NTri1 = 100;                // the same for the intermediate states of a resonant spectrum
  std::uint32_t NTri2 = 100;                // and for its final states
  double zero = 1.4901161193847656e-6;      // relative variance to converge to; deflation; Hermiticity
  double epsilon = 1.4901161193847657e-10;  // truncation of the basis; doubled when memory runs out
  double kT = 8.621738e-05;                 // carried along
  std::uint32_t NBitsKey = 16;              // of generated start functions; 0 turns their generation off
  DeterminantRestrictionType Restrictions, Restrictions1, Restrictions2;
  EnergyGridSettings grid, grid1, grid2;  // spectrum; intermediate and final states of a resonant one
  // "None", "Automatic", or anything else for "Variance".
  std::string ShiftScheme = "Variance";
};

}  // namespace fermix
