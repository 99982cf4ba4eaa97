// Crystal-field potentials from the energies of orbitals: a point group and an energy for each of its
// representations in the shell give the expansion of the potential on spherical harmonics.
#pragma once

#include <string>
#include <vector>

#include "atomic/crystal_field.h"

namespace fermix {

// The potential in which one of the energies is 1 and all others are 0.
struct UnitPotential {
  std::string energy;  // for the user, as SymmetricOperator names it
  HarmonicsExpansion expansion;
};

// The potentials of all energies that a shell l has in the group sym, in the order of SymmetricOperators. All
// have the same terms (k, m), those which the group allows, by rising k, |m| and m.
//
// C1, Ci and R3 have one energy, that of the whole shell; the others need l <= 3. A name, l or setting that
// can't be had prints a line and gives the status 1.
[[nodiscard]] int PotentialsOfSymmetry(const std::string& sym, int l, std::vector<UnitPotential>& potentials);

// The sum of the potentials, each times its energy; E has at least as many elements.
HarmonicsExpansion PotentialExpandedOnC(const std::vector<UnitPotential>& potentials,
                                        const std::vector<double>& E);

}  // namespace fermix
