#include "atomic/shell_operators.h"

#include <cmath>

namespace fermix {

namespace {

using enum ShellList;

// A real limit, not only a guard against rounding: smaller prefactors do not survive.
constexpr double SmallestPrefactor = 0.001;

OperatorType WithoutSmallValues(OperatorType O) {
  OperatorRemoveSmallValues(O, SmallestPrefactor);
  return O;
}

// The vector orbital L + spin S.
struct Momentum {
  VectorNames names;
  int orbital, spin;
};
constexpr Momentum S{{"Sx", "Sy", "Sz", "S^+", "S^-", "S^2"}, 0, 1};
constexpr Momentum L{{"Lx", "Ly", "Lz", "L^+", "L^-", "L^2"}, 1, 0};
constexpr Momentum J{{"Jx", "Jy", "Jz", "J^+", "J^-", "J^2"}, 1, 1};

// <l m+1| l+ |l m>
double Raise(int l, int m) { return std::sqrt(l - m) * std::sqrt(l + m + 1); }

void AddOrbitalTerms(VectorTerms& V, int l) {
  for (int m = -l; m <= l; ++m) {
    const int i = m + l;
    for (ShellList s : {up, dn}) {
      V.z.push_back({{s, i}, {s, i}, m});
      if (m < l) V.plus.push_back({{s, i + 1}, {s, i}, Raise(l, m)});
    }
  }
}

void AddSpinTerms(VectorTerms& V, int length) {
  for (int i = 0; i < length; ++i) {
    V.z.push_back({{up, i}, {up, i}, 0.5});
    V.z.push_back({{dn, i}, {dn, i}, -0.5});
    V.plus.push_back({{up, i}, {dn, i}, 1});
  }
}

VectorTerms SpinBasisTerms(const Momentum& v, const ShellIndices& shell) {
  VectorTerms V;
  if (v.orbital != 0) AddOrbitalTerms(V, shell.l());
  if (v.spin != 0) AddSpinTerms(V, shell.length());
  return V;
}

// One root, which gives integers where they are.
double RootOfProduct(int a, int b) { return std::sqrt(static_cast<double>(a) * b); }

// State of a level with twice its jz.
ShellPlace JJzPlace(int l, ShellList level, int twoM) {
  return {level, (twoM + 2 * l + (level == jplus ? 1 : -1)) / 2};
}

// Inside of a level V is Lande's factor g times J: with n = 2l + 1
//
//     j = l - 1/2:  L = (n+1)/n J,  S = -J/n,        j = l + 1/2:  L = (n-1)/n J,  S = J/n.
//
// Between the levels J vanishes, so that L is -S there; with m the jz of the lower level
//
//     <j- m|Sz|j+ m> = -sqrt((n-2m)(n+2m)) / 2n,
//     <j- m|S+|j+ m-1> = -sqrt((n-2m)(n-2m+2)) / 2n,   <j+ m+1|S+|j- m> = sqrt((n+2m)(n+2m+2)) / 2n.
VectorTerms JJzTerms(const Momentum& v, int l) {
  VectorTerms V;
  const int n = 2 * l + 1;
  for (ShellList level : {jmin, jplus}) {
    const int sign = level == jplus ? 1 : -1, twoJ = 2 * l + sign;
    const double g = static_cast<double>(v.orbital * (n - sign) + v.spin * sign) / n;
    for (int twoM = -twoJ; twoM <= twoJ; twoM += 2) {
      const ShellPlace from = JJzPlace(l, level, twoM);
      V.z.push_back({from, from, g * twoM / 2});
      if (twoM == twoJ) continue;
      V.plus.push_back(
          {JJzPlace(l, level, twoM + 2), from, g * RootOfProduct(twoJ - twoM, twoJ + twoM + 2) / 2});
    }
  }

  const double mixing = (v.spin - v.orbital) / (2.0 * n);
  if (mixing == 0) return V;
  for (int twoM = 1 - 2 * l; twoM < 2 * l; twoM += 2) {
    const ShellPlace lower = JJzPlace(l, jmin, twoM), upper = JJzPlace(l, jplus, twoM);
    const double z = -mixing * RootOfProduct(n - twoM, n + twoM);
    V.z.push_back({lower, upper, z});
    V.z.push_back({upper, lower, z});
    V.plus.push_back({lower, JJzPlace(l, jplus, twoM - 2), -mixing * RootOfProduct(n - twoM, n - twoM + 2)});
    V.plus.push_back({JJzPlace(l, jplus, twoM + 2), lower, mixing * RootOfProduct(n + twoM, n + twoM + 2)});
  }
  return V;
}

OperatorType Create(const Momentum& v, VectorComponent component, std::uint32_t NFermion,
                    const ShellIndices& shell) {
  const VectorTerms V = shell.QJJz() ? JJzTerms(v, shell.l()) : SpinBasisTerms(v, shell);
  return WithoutSmallValues(CreateVectorOperator(v.names, V, component, NFermion, shell));
}

// lz sz + (l+ s- + l- s+) / 2
OneParticleTerms SpinBasisldots(int l) {
  OneParticleTerms terms;
  for (int m = -l; m <= l; ++m) {
    const int i = m + l;
    terms.push_back({{up, i}, {up, i}, 0.5 * m});
    terms.push_back({{dn, i}, {dn, i}, -0.5 * m});
    if (m == l) continue;
    terms.push_back({{dn, i + 1}, {up, i}, 0.5 * Raise(l, m)});
    terms.push_back({{up, i}, {dn, i + 1}, 0.5 * Raise(l, m)});
  }
  return terms;
}

// (j (j + 1) - l (l + 1) - 3/4) / 2
OneParticleTerms JJzldots(int l) {
  OneParticleTerms terms;
  for (int i = 0; i < 2 * l; ++i) terms.push_back({{jmin, i}, {jmin, i}, -0.5 * (l + 1)});
  for (int i = 0; i < 2 * l + 2; ++i) terms.push_back({{jplus, i}, {jplus, i}, 0.5 * l});
  return terms;
}

}  // namespace

OperatorType CreateOperatorS(VectorComponent component, std::uint32_t NFermion, const ShellIndices& shell) {
  return Create(S, component, NFermion, shell);
}

OperatorType CreateOperatorL(VectorComponent component, std::uint32_t NFermion, const ShellIndices& shell) {
  return Create(L, component, NFermion, shell);
}

OperatorType CreateOperatorJ(VectorComponent component, std::uint32_t NFermion, const ShellIndices& shell) {
  return Create(J, component, NFermion, shell);
}

OperatorType CreateOperatorldots(std::uint32_t NFermion, const ShellIndices& shell) {
  const OneParticleTerms terms = shell.QJJz() ? JJzldots(shell.l()) : SpinBasisldots(shell.l());
  return WithoutSmallValues(CreateOneParticleOperator("l.s", terms, NFermion, shell));
}

}  // namespace fermix
