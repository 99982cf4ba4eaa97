#include "atomic/crystal_field.h"

#include <cfloat>
#include <cmath>

#include "atomic/angular_momentum.h"
#include "atomic/one_particle_terms.h"

namespace fermix {

namespace {

// <bra| C(k, m1 - m2) |ket>, the magnetic numbers being doubled.
double Element(int k, const OrbitalList& bra, int twoM1, const OrbitalList& ket, int twoM2) {
  const bool spinless = bra.twoJ() == 2 * bra.l;
  return spinless ? SlaterCoefficientC(k, bra.l, twoM1 / 2, ket.l, twoM2 / 2)
                  : SlaterCoefficientCjcoupling(k, bra.l, bra.twoJ(), twoM1, ket.l, ket.twoJ(), twoM2);
}

void AddHarmonic(OperatorType& O, const OrbitalPair& pair, const HarmonicsTerm& term) {
  const auto& [bra, ket] = pair;
  if (std::abs(term.m) > bra.l + ket.l + 1) return;
  for (int twoM2 = -ket.twoJ(); twoM2 <= ket.twoJ(); twoM2 += 2) {
    const int twoM1 = twoM2 + 2 * term.m;
    if (std::abs(twoM1) > bra.twoJ()) continue;
    const double c = Element(term.l, bra, twoM1, ket, twoM2);
    if (!(std::fabs(c) <= DBL_EPSILON))
      AddHop(O, bra.orbitals[(twoM1 + bra.twoJ()) / 2], ket.orbitals[(twoM2 + ket.twoJ()) / 2],
             c * term.value);
  }
}

}  // namespace

OperatorType CreateOperatorCF(std::uint32_t NFermion, const std::vector<OrbitalPair>& pairs,
                              const HarmonicsExpansion& expansion) {
  OperatorType O = InitShellOperator("CF", NFermion);
  for (const auto& term : expansion)
    for (const auto& pair : pairs) AddHarmonic(O, pair, term);
  return O;
}

}  // namespace fermix
