#include "atomic/shell_operators.h"

#include <cmath>

namespace fermix {

namespace {

// A real limit, not only a guard against rounding: smaller prefactors do not survive.
constexpr double SmallestPrefactor = 0.001;

constexpr Spin spins[] = {Spin::up, Spin::dn};

// <l m+1| l+ |l m>
double Raise(int l, int m) { return std::sqrt(l - m) * std::sqrt(l + m + 1); }

VectorTerms SpinTerms(int length) {
  VectorTerms S;
  for (int i = 0; i < length; ++i) {
    S.z.push_back({i, Spin::up, i, Spin::up, 0.5});
    S.z.push_back({i, Spin::dn, i, Spin::dn, -0.5});
    S.plus.push_back({i, Spin::up, i, Spin::dn, 1});
  }
  return S;
}

VectorTerms OrbitalTerms(int l) {
  VectorTerms L;
  for (int m = -l; m <= l; ++m) {
    const int i = m + l;
    for (Spin s : spins) {
      if (m != 0) L.z.push_back({i, s, i, s, static_cast<double>(m)});
      if (m < l) L.plus.push_back({i + 1, s, i, s, Raise(l, m)});
    }
  }
  return L;
}

VectorTerms TotalTerms(int l) {
  VectorTerms J = OrbitalTerms(l), S = SpinTerms(2 * l + 1);
  J.z.insert(J.z.end(), S.z.begin(), S.z.end());
  J.plus.insert(J.plus.end(), S.plus.begin(), S.plus.end());
  return J;
}

// The names of the components, in the order of VectorComponent.
constexpr const char* spinNames[] = {"Sx", "Sy", "Sz", "S^+", "S^-", "S^2"};
constexpr const char* orbitalNames[] = {"Lx", "Ly", "Lz", "L^+", "L^-", "L^2"};
constexpr const char* totalNames[] = {"Jx", "Jy", "Jz", "J^+", "J^-", "J^2"};

OperatorType Create(const char* const* names, const VectorTerms& V, VectorComponent component,
                    std::uint32_t NFermion, const ShellIndices& shell) {
  OperatorType O = CreateVectorOperator(names[static_cast<int>(component)], V, component, NFermion, shell);
  OperatorRemoveSmallValues(O, SmallestPrefactor);
  return O;
}

}  // namespace

OperatorType CreateOperatorS(VectorComponent component, std::uint32_t NFermion, const ShellIndices& shell) {
  return Create(spinNames, SpinTerms(shell.length()), component, NFermion, shell);
}

OperatorType CreateOperatorL(VectorComponent component, std::uint32_t NFermion, const ShellIndices& shell) {
  return Create(orbitalNames, OrbitalTerms(shell.l()), component, NFermion, shell);
}

OperatorType CreateOperatorJ(VectorComponent component, std::uint32_t NFermion, const ShellIndices& shell) {
  return Create(totalNames, TotalTerms(shell.l()), component, NFermion, shell);
}

// l . s = lz sz + (l+ s- + l- s+) / 2
OperatorType CreateOperatorldots(std::uint32_t NFermion, const ShellIndices& shell) {
  OperatorType O = InitShellOperator("l.s", NFermion);
  const auto &up = shell.list[0], &dn = shell.list[1];
  const int l = shell.l();
  for (int m = -l; m <= l; ++m) {
    const int i = m + l;
    AddHop(O, up[i], up[i], 0.5 * m);
    AddHop(O, dn[i], dn[i], -0.5 * m);
    if (m == l) continue;
    AddHop(O, dn[i + 1], up[i], 0.5 * Raise(l, m));
    AddHop(O, up[i], dn[i + 1], 0.5 * Raise(l, m));
  }
  OperatorRemoveSmallValues(O, SmallestPrefactor);
  return O;
}

}  // namespace fermix
