#include "atomic/tensor_operators.h"

#include <cfloat>
#include <cmath>

#include "atomic/angular_momentum.h"

namespace fermix {

namespace {

constexpr double Sqrt3_2 = 1.224744871391589, Sqrt6 = 2.449489742783178;
constexpr Spin up = Spin::up, dn = Spin::dn;

// <l m+q | C(2, q) | l m>, 0 where it is rounding only or leads out of the shell.
double Element(int l, int q, int m) {
  const double value = SlaterCoefficientC(2, l, m + q, l, m);
  return std::fabs(value) <= DBL_EPSILON ? 0 : value;
}

VectorTerms DipoleTerms(int l) {
  VectorTerms T;
  for (int m = -l; m <= l; ++m) {
    const int i = m + l;
    const auto add = [&](OneParticleTerms& terms, int q, Spin to, Spin from, double factor) {
      if (const double element = Element(l, q, m); element != 0)
        terms.push_back({i + q, to, i, from, factor * element});
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

}  // namespace

OperatorType CreateOperatorT(VectorComponent component, std::uint32_t NFermion, const ShellIndices& shell) {
  constexpr const char* names[] = {"Tx", "Ty", "Tz", "T^+", "T^-", "T^2"};
  return CreateVectorOperator(names[static_cast<int>(component)], DipoleTerms(shell.l()), component, NFermion,
                              shell);
}

OperatorType CreateOperatorQ(QuadrupoleComponent component, std::uint32_t NFermion,
                             const ShellIndices& shell) {
  const QuadrupoleRow& row = quadrupole[static_cast<int>(component)];
  const int l = shell.l();
  OperatorType O = InitShellOperator(row.name, NFermion);
  if (row.ofPlus.im != 0) MakeRealOperatorFixedLengthComplex(O, 2);

  const auto add = [&](int m, int q, Complex16 factor) {
    const double element = Element(l, q, m);
    if (element == 0 || factor == 0) return;
    for (const auto& list : shell.list) AddHop(O, list[m + q + l], list[m + l], factor * element);
  };
  for (int m = -l; m <= l; ++m) {
    add(m, 0, row.ofZero);
    add(m, row.q, row.ofPlus);
    add(m, -row.q, row.ofMin);
  }
  return O;
}

}  // namespace fermix
