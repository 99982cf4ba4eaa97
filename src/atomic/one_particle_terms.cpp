#include "atomic/one_particle_terms.h"

#include <algorithm>
#include <bit>

#include "core/operator_algebra.h"

namespace fermix {

namespace {

void AddTerms(OperatorType& O, const OneParticleTerms& terms, const ShellIndices& shell, Complex16 factor) {
  for (const auto& t : terms)
    AddHop(O, shell.at(t.toSpin, t.to), shell.at(t.fromSpin, t.from), factor * t.value);
}

// The elements are real, so that the adjoint swaps the ladders only.
void AddAdjoint(OperatorType& O, const OneParticleTerms& terms, const ShellIndices& shell, Complex16 factor) {
  for (const auto& t : terms)
    AddHop(O, shell.at(t.fromSpin, t.from), shell.at(t.toSpin, t.to), factor * t.value);
}

OperatorType VectorSquare(const char* name, const VectorTerms& V, std::uint32_t NFermion,
                          const ShellIndices& shell) {
  const auto order = QDetNotOrderedFcFaBcBa;
  OperatorType z = InitShellOperator(name, NFermion), plus = InitShellOperator(name, NFermion);
  AddTerms(z, V.z, shell, 1);
  AddTerms(plus, V.plus, shell, 1);

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

OperatorType CreateVectorOperator(const char* name, const VectorTerms& V, VectorComponent component,
                                  std::uint32_t NFermion, const ShellIndices& shell) {
  if (component == VectorComponent::sqr) return VectorSquare(name, V, NFermion, shell);
  if (component == VectorComponent::z) {
    OperatorType O = InitShellOperator(name, NFermion);
    AddTerms(O, V.z, shell, 1);
    return O;
  }
  Complex16 ofPlus, ofMin;  // weights of V_+ and V_-
  switch (component) {
    case VectorComponent::x:
      ofPlus = ofMin = 0.5;
      break;
    case VectorComponent::y:
      ofPlus = {0, -0.5}, ofMin = {0, 0.5};
      break;
    case VectorComponent::plus:
      ofPlus = 1;
      break;
    default:
      ofMin = 1;
      break;
  }
  OperatorType O = InitShellOperator(name, NFermion);
  if (component == VectorComponent::y) MakeRealOperatorFixedLengthComplex(O, 2);
  if (!(ofPlus == 0)) AddTerms(O, V.plus, shell, ofPlus);
  if (!(ofMin == 0)) AddAdjoint(O, V.plus, shell, ofMin);
  return O;
}

}  // namespace fermix
