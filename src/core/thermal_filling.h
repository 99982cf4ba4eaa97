// One-electron levels filled with electrons at a temperature: chemical potential, energy and density matrix.
//
// Temperatures are energies (k_B T), in the unit of the levels. A level below the chemical potential by 37
// temperatures is full, one as far above empty; one exactly on it is half full at every temperature, 0 too.
#pragma once

#include <vector>

#include "linalg/compact_matrix.h"

namespace fermix {

struct ThermalFilling {
  double mu = 0;                    // chemical potential
  double energy = 0;                // sum of occupation times level
  std::vector<double> occupations;  // one a level, 0 .. 1
};

// The chemical potential at which the levels, in any order, hold that many particles within 2.2e-14. A level
// close to it is filled as precisely as the temperature asks, also where mu as a number can't resolve it. At
// temperature 0 levels of one energy that are to be filled in part are filled evenly, as for small
// temperatures.
//
// Status 1 after a line when there is none: particles outside of 0 .. number of levels, levels that are not
// finite, or a temperature that is negative or not finite. filling is left alone then.
[[nodiscard]] int CalculateChemicalPotentialFromListOfEigenvalues(const std::vector<double>& eigenvalues,
                                                                  double temperature, double particles,
                                                                  ThermalFilling& filling);

// Rho[i][j] = <a+_i a_j> = sum_k f_k conj(u_k[i]) u_k[j], with row k of vectors the eigenvector u_k, as
// CompactMatrixEigensystem gives it. Occupations below the double epsilon count as 0. Complex if the vectors
// are. energy is the sum of f_k times level. Status 1 after a line as above; nothing is changed then.
[[nodiscard]] int CalculateDensityMatrixFromOneElectronEigensystem(const CompactMatrixType& vectors,
                                                                   const std::vector<double>& eigenvalues,
                                                                   CompactMatrixType& Rho, double temperature,
                                                                   double particles, double& energy);

}  // namespace fermix
