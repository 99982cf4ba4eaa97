#include "atomic/symmetric_potential.h"

#include <algorithm>
#include <cmath>
#include <string_view>

#include "atomic/angular_momentum.h"
#include "atomic/symmetric_operators.h"
#include "host/base/status.h"

namespace fermix {

namespace {

// Coefficients of unit potentials are of order 0.1 to 10, or 0 but for rounding.
constexpr double Rounding = 1e-12;

bool QKnown(std::string_view sym) {
  constexpr std::string_view names[] = {"Cs",  "C2",  "C3",  "C4",  "C5",  "C6",  "C2v", "C3v", "C5v", "C6v",
                                        "C2h", "C3h", "C4h", "C5h", "C6h", "D2",  "D3",  "D4",  "D5",  "D6",
                                        "D5h", "D6h", "D2d", "D4d", "D5d", "D6d", "I",   "Ih"};
  return std::find(std::begin(names), std::end(names), sym) != std::end(names);
}

bool QSpherical(std::string_view sym) { return sym == "C1" || sym == "Ci" || sym == "R3"; }

// Whether the group has potentials for l.
int CheckAngularMomentum(const std::string& sym, int l) {
  if (l < 0 || (l > 3 && !QSpherical(sym)))
    return Fail("Potential for point group %s and angular momentum %i not implemented\n", sym.c_str(), l);
  if (l == 3 && sym == "D3h")
    return Fail(
        "Potential for point group %s and angular momentum %i depends on settings, use D3hx or D3hy "
        "for C2//x or C2//y\n",
        sym.c_str(), l);
  if (l == 3 && sym == "D3d")
    return Fail(
        "Potential for point group %s and angular momentum %i depends on settings, use D3dA (C3//001, "
        "C2//1-10 C4//111), B (C3//001, C2//100 C4//0t-1), C (C3//001, C2//100 C4//0t1), D (C3//001, "
        "C2//010 C4//t0-1), E (C3//001, C2//010 C4//t01) or D3dF (C3//111, C2//1-10 C4//100)\n",
        sym.c_str(), l);
  return 0;
}

double Rounded(double x) { return std::fabs(x) < Rounding ? 0 : x; }

// A(k, q) of an operator V on the shell. The c^k of two ranks are orthogonal, as sums over the orbitals.
Complex16 Coefficient(const CompactMatrixType& V, int l, int k, int q) {
  Complex16 sum = 0;
  double squares = 0;
  for (int m = -l; m + q <= l; ++m) {
    const double c = SlaterCoefficientC(k, l, m + q, l, m);
    sum += c * CompactMatrixElement(V, m + q + l, m + l);
    squares += c * c;
  }
  return {Rounded(sum.re / squares), Rounded(sum.im / squares)};
}

// V as an expansion with all its terms of even k. A potential is real: A(k, -q) = (-1)^q conj A(k, q).
HarmonicsExpansion Expansion(const CompactMatrixType& V, int l) {
  HarmonicsExpansion expansion;
  for (int k = 0; k <= 2 * l; k += 2)
    for (int q = 0; q <= k; ++q) {
      const Complex16 A = Coefficient(V, l, k, q);
      if (q > 0) expansion.push_back({k, -q, q % 2 == 0 ? Conj(A) : -Conj(A)});
      expansion.push_back({k, q, q > 0 ? A : Complex16(A.re)});
    }
  return expansion;
}

// Takes away the terms that are 0 in all potentials.
void RemoveForbiddenTerms(std::vector<UnitPotential>& potentials) {
  for (std::size_t i = potentials[0].expansion.size(); i-- > 0;) {
    const bool allowed = std::any_of(potentials.begin(), potentials.end(),
                                     [i](const auto& p) { return !(p.expansion[i].value == 0); });
    if (allowed) continue;
    for (auto& p : potentials) p.expansion.erase(p.expansion.begin() + static_cast<std::ptrdiff_t>(i));
  }
}

std::vector<UnitPotential> Potentials(const PointGroup& group, int l) {
  std::vector<UnitPotential> potentials;
  for (auto& O : SymmetricOperators(group, l))
    potentials.push_back({std::move(O.energy), Expansion(O.matrix, l)});
  RemoveForbiddenTerms(potentials);
  return potentials;
}

std::vector<UnitPotential> SphericalPotential() { return {{"all orbitals", {{0, 0, 1}}}}; }

}  // namespace

int PotentialsOfSymmetry(const std::string& sym, int l, std::vector<UnitPotential>& potentials) {
  const PointGroup* group = FindPointGroup(sym);
  if (!group && !QSpherical(sym))
    return QKnown(sym) ? Fail("Potential for %s not yet implemented\n", sym.c_str())
                       : Fail("Potential for point group %s not implemented\n", sym.c_str());
  if (const int status = CheckAngularMomentum(sym, l)) return status;
  const std::string line = "malloc for l failed in PotentialExpandedOnC for sym " + sym + "\n";
  potentials = OrSay(line.c_str(), [&] { return group ? Potentials(*group, l) : SphericalPotential(); });
  return 0;
}

HarmonicsExpansion PotentialExpandedOnC(const std::vector<UnitPotential>& potentials,
                                        const std::vector<double>& E) {
  HarmonicsExpansion sum = potentials[0].expansion;
  for (auto& term : sum) term.value = 0;
  for (std::size_t i = 0; i < potentials.size(); ++i)
    for (std::size_t t = 0; t < sum.size(); ++t) sum[t].value += E[i] * potentials[i].expansion[t].value;
  return sum;
}

}  // namespace fermix
