#include "atomic/tensor_operators.h"

#include <cfloat>
#include <cmath>

#include "atomic/angular_momentum.h"

namespace fermix {

namespace {

constexpr double Sqrt3_2 = 1.224744871391589, Sqrt6 = 2.449489742783178;
using enum ShellList;

// <l m+q | C(2, q) | l m>, 0 where it is rounding only or leads out of the shell.
double Element(int l, int q, int m) {
  const double value = SlaterCoefficientC(2, l, m + q, l, m);
  return std::fabs(value) <= DBL_EPSILON ? 0 : value;
}

VectorTerms DipoleTerms(int l) {
  VectorTerms T;
  for (int m = -l; m <= l; ++m) {
    const auto add = [&](OneParticleTerms& terms, int q, ShellList to, ShellList from, double factor) {
      if (const double element = Element(l, q, m); element != 0)
        terms.push_back({{to, m + q + l}, {from, m + l}, factor * element});
    };
    add(T.z, 0, up, up, -1);
    add(T.z, 0, dn, dn, 1);
    add(T.z, -1, up, dn, -Sqrt3_2);
    add(T.z, 1, dn, up, Sqrt3_2);
    add(T.plus, 1, up, up, Sqrt3_2);
    add(T.plus, 1, dn, dn, -Sqrt3_2);
    add(T.plus, 0, up, dn, 1);
    add(T.plus, 2, dn, up, -Sqrt6);
  }
  return T;
}

// A component on the renormalised harmonics: ofZero C(2, 0) + ofPlus C(2, q) + ofMin C(2, -q).
struct QuadrupoleRow {
  const char* name;
  double ofZero;
  int q;
  Complex16 ofPlus, ofMin;
};
constexpr QuadrupoleRow quadrupole[] = {
    {"Qxx", -1, 2, Sqrt3_2, Sqrt3_2},
    {"Qyy", -1, 2, -Sqrt3_2, -Sqrt3_2},
    {"Qzz", 2, 2, 0, 0},
    {"Qxy", 0, 2, {0, Sqrt3_2}, {0, -Sqrt3_2}},
    {"Qxz", 0, 1, Sqrt3_2, -Sqrt3_2},
    {"Qyz", 0, 1, {0, Sqrt3_2}, {0, Sqrt3_2}},
};

OneParticleTerms QuadrupoleTerms(const QuadrupoleRow& row, int l) {
  OneParticleTerms terms;
  for (int m = -l; m <= l; ++m) {
    const auto add = [&](int q, Complex16 factor) {
      if (const double element = Element(l, q, m); element != 0)
        for (ShellList s : {up, dn}) terms.push_back({{s, m + q + l}, {s, m + l}, factor * element});
    };
    add(0, row.ofZero);
    add(row.q, row.ofPlus);
    add(-row.q, row.ofMin);
  }
  return terms;
}

}  // namespace

OperatorType CreateOperatorT(VectorComponent component, std::uint32_t NFermion, const ShellIndices& shell) {
  constexpr VectorNames names = {"Tx", "Ty", "Tz", "T^+", "T^-", "T^2"};
  return CreateVectorOperator(names, DipoleTerms(shell.l()), component, NFermion, shell);
}

OperatorType CreateOperatorQ(QuadrupoleComponent component, std::uint32_t NFermion,
                             const ShellIndices& shell) {
  const QuadrupoleRow& row = quadrupole[static_cast<int>(component)];
  return CreateOneParticleOperator(row.name, QuadrupoleTerms(row, shell.l()), NFermion, shell);
}

}  // namespace fermix
