#include "atomic/ladder_operators.h"

#include "atomic/one_particle_terms.h"

namespace fermix {

namespace {

OperatorType InitLadderOperator(std::string name, std::uint32_t NFermion, std::uint32_t ladders) {
  OperatorType O = InitOperator(NFermion, 0);
  O.Name = std::move(name);
  InitOperatorFixedLength(O, ladders, NBitsKeyForTerms(0));
  return O;
}

// bit tells creation from annihilation.
OperatorType LadderSum(std::string name, std::uint32_t NFermion, const std::vector<std::uint16_t>& indices,
                       const std::vector<Complex16>& prefactors, LadderIndex bit) {
  OperatorType O = InitLadderOperator(std::move(name), NFermion, 1);
  for (std::size_t k = 0; k < indices.size(); ++k) {
    const LadderIndex lader = indices[k] | bit;
    OperatorAddLader(O, &lader, 1, prefactors[k].re, prefactors[k].im);
  }
  return O;
}

}  // namespace

OperatorType CreateOperatorCreate(std::uint32_t NFermion, std::uint16_t i) {
  return LadderSum("Creation operator on site " + std::to_string(i), NFermion, {i}, {1}, CreationBit);
}

OperatorType CreateOperatorAnnihilate(std::uint32_t NFermion, std::uint16_t i) {
  return LadderSum("Annihilation operator on site " + std::to_string(i), NFermion, {i}, {1}, 0);
}

OperatorType CreateOperatorCreateList(std::uint32_t NFermion, const std::vector<std::uint16_t>& indices,
                                      const std::vector<Complex16>& prefactors) {
  return LadderSum("Creation operator", NFermion, indices, prefactors, CreationBit);
}

OperatorType CreateOperatorAnnihilateList(std::uint32_t NFermion, const std::vector<std::uint16_t>& indices,
                                          const std::vector<Complex16>& prefactors) {
  return LadderSum("Annihilation operator", NFermion, indices, prefactors, 0);
}

OperatorType CreateOperatorNumber(std::uint32_t NFermion, std::uint16_t a, std::uint16_t b) {
  OperatorType O = CreateOperatorCreateAnnihilateList(NFermion, {a}, {b}, {1});
  O.Name = "Number operator a^{+}_(" + std::to_string(a) + ") a_(" + std::to_string(b) + ")";
  return O;
}

OperatorType CreateOperatorCreateAnnihilateList(std::uint32_t NFermion,
                                                const std::vector<std::uint16_t>& creation,
                                                const std::vector<std::uint16_t>& annihilation,
                                                const std::vector<Complex16>& prefactors) {
  OperatorType O = InitLadderOperator("Number operator", NFermion, 2);
  for (std::size_t k = 0; k < creation.size(); ++k) AddHop(O, creation[k], annihilation[k], prefactors[k]);
  return O;
}

OperatorType CreateOperatorIdentity(std::uint32_t NFermion) {
  OperatorType O = InitOperator(NFermion, 0);
  O.Name = "Identity operator";
  OperatorAddConstant(O, 1);
  return O;
}

}  // namespace fermix
