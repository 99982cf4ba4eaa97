#include "atomic/crystal_field.h"

#include <cfloat>
#include <cmath>

#include "atomic/angular_momentum.h"
#include "atomic/one_particle_terms.h"

namespace fermix {

namespace {

int ShellL(const std::vector<std::uint16_t>& list) { return (static_cast<int>(list.size()) - 1) / 2; }

void AddHarmonic(OperatorType& O, const OrbitalPair& pair, const HarmonicsTerm& term) {
  const int l1 = ShellL(pair.bra), l2 = ShellL(pair.ket);
  if (std::abs(term.m) > l1 + l2) return;
  for (int m2 = -l2; m2 <= l2; ++m2) {
    if (std::abs(m2 + term.m) > l1) continue;  // m1 - m2 is the component
    const int m1 = m2 + term.m;
    const double c = SlaterCoefficientC(term.l, l1, m1, l2, m2);
    if (!(std::fabs(c) <= DBL_EPSILON)) AddHop(O, pair.bra[m1 + l1], pair.ket[m2 + l2], c * term.value);
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
