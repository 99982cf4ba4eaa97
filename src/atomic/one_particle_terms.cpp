#include "atomic/one_particle_terms.h"

#include <algorithm>
#include <bit>

#include "core/operator_algebra.h"

namespace fermix {

namespace {

// a A + b times the adjoint of A
OneParticleTerms WithAdjoint(Complex16 a, Complex16 b, const OneParticleTerms& A) {
  OneParticleTerms terms;
  for (const auto& t : A) {
    terms.push_back({t.to, t.from, a * t.value});
    terms.push_back({t.from, t.to, b * Conj(t.value)});
  }
  return terms;
}

OneParticleTerms ComponentTerms(const VectorTerms& V, VectorComponent component) {
  const Complex16 halfI(0, 0.5);
  switch (component) {
    case VectorComponent::x:
      return WithAdjoint(0.5, 0.5, V.plus);
    case VectorComponent::y:
      return WithAdjoint(-halfI, halfI, V.plus);
    case VectorComponent::plus:
      return V.plus;
    case VectorComponent::min:
      return WithAdjoint(0, 1, V.plus);
    default:
      return V.z;
  }
}

OperatorType VectorSquare(const char* name, const VectorTerms& V, std::uint32_t NFermion,
                          const ShellIndices& shell) {
  const auto order = QDetNotOrderedFcFaBcBa;
  const OperatorType z = CreateOneParticleOperator(name, V.z, NFermion, shell);
  const OperatorType plus = CreateOneParticleOperator(name, V.plus, NFermion, shell);

  const std::size_t hops = TermCount(z.l[2]) + TermCount(plus.l[2]);
  OperatorType O = InitShellOperator(name, NFermion, 4, hops * hops);
  OperatorAdd(O, OperatorMultiply2NormalOrder(z, z, 'N', 'N', order), 1);
  OperatorAdd(O, OperatorMultiply2NormalOrder(plus, plus, 'N', 'D', order), 0.5);
  OperatorAdd(O, OperatorMultiply2NormalOrder(plus, plus, 'D', 'N', order), 0.5);
  return O;
}

}  // namespace

std::uint32_t NBitsKeyForTerms(std::size_t terms) {
  constexpr int Least = 8, Most = 24;
  return static_cast<std::uint32_t>(std::clamp(static_cast<int>(std::bit_width(terms)), Least, Most));
}

OperatorType InitShellOperator(const char* name, std::uint32_t NFermion, std::uint32_t ladders,
                               std::size_t terms) {
  OperatorType O = InitOperator(NFermion, 0);
  O.Name = name;
  InitOperatorFixedLength(O, 2, NBitsKeyForTerms(0));
  if (ladders > 2) InitOperatorFixedLength(O, ladders, NBitsKeyForTerms(terms));
  return O;
}

void AddHop(OperatorType& O, std::uint16_t to, std::uint16_t from, Complex16 factor) {
  const LadderIndex hop[] = {Annihilate(from), Create(to)};  // creator left of annihilator: in normal order
  OperatorAddLader(O, hop, 2, factor.re, factor.im);
}

OperatorType CreateOneParticleOperator(const char* name, const OneParticleTerms& terms,
                                       std::uint32_t NFermion, const ShellIndices& shell) {
  OperatorType O = InitShellOperator(name, NFermion);
  for (const auto& [to, from, value] : terms)
    if (!(value == 0)) AddHop(O, shell.at(to.list, to.position), shell.at(from.list, from.position), value);
  return O;
}

OperatorType CreateVectorOperator(const VectorNames& names, const VectorTerms& V, VectorComponent component,
                                  std::uint32_t NFermion, const ShellIndices& shell) {
  const char* name = names[static_cast<int>(component)];
  if (component == VectorComponent::sqr) return VectorSquare(name, V, NFermion, shell);
  return CreateOneParticleOperator(name, ComponentTerms(V, component), NFermion, shell);
}

}  // namespace fermix
