// Density matrices against ladder operators on the whole Fock space, and to the last bit against elements one
// by one.
#include "core/density_matrix.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "core/expectation.h"
#include "fock_space.h"

namespace fermix {
namespace {

using namespace test;

Amplitude Element(const CompactTensorType& t, std::size_t n) {
  return std::visit([n](const auto& data) { return ToStd(data.at(n)); }, t.Data);
}

// Rows after rows of <bra| creators annihilators |ket> over all tuples of orbitals, for both ranks.
Dense Reference(const FockSpace& space, const DensityRequest& request, const Dense& bra, const Dense& ket) {
  const std::size_t n = request.orbitals.size();
  const auto at = [&](std::size_t i) { return static_cast<int>(request.orbitals[i]) + 1; };
  Dense elements;
  if (request.particles == 1) {
    for (std::size_t i = 0; i < n; ++i)
      for (std::size_t j = 0; j < n; ++j)
        elements.push_back(Dot(bra, space.apply({{{at(i), -at(j)}, 1}}, ket)));
    return elements;
  }
  for (std::size_t ij = 0; ij < n * n; ++ij)
    for (std::size_t k = 0; k < n; ++k)
      for (std::size_t l = 0; l < n; ++l)
        elements.push_back(Dot(bra, space.apply({{{at(ij / n), at(ij % n), -at(k), -at(l)}, 1}}, ket)));
  return elements;
}

// Orbitals in any order and repeatedly, fermions and modes, all kinds of states, whole and in pieces.
TEST(DensityMatrix, IsWhatLadderOperatorsGive) {
  const FockSpace space{4, 2, 3};
  std::mt19937 random(3);
  for (const bool complexFirst : {false, true})
    for (const bool complexSecond : {false, true}) {
      const Dense a = RandomVector(space, random, complexFirst, 0.7),
                  b = RandomVector(space, random, complexSecond, 0.7);
      const WaveFunctionType first = ToState(space, a, complexFirst),
                             second = ToState(space, b, complexSecond);
      const std::vector<const WaveFunctionType*> states{&first, &second};
      for (DensityRequest request :
           {DensityRequest{1, AllOrbitals(Layout(first))}, DensityRequest{1, {5, 2, 0, 2}},
            DensityRequest{2, {5, 2, 0, 2, 4}}, DensityRequest{2, {}}})
        for (const std::size_t piece : {request.piece, std::size_t{1}}) {
          SCOPED_TRACE(request.particles);
          request.piece = piece;
          const auto densities = CalculateDensityMatrixWithOffDiagonals(request, states);
          const CompactTensorType trace = CalculateDensityMatrixTrace(request, states);
          ASSERT_EQ(densities.size(), 4u);
          const Dense expected[] = {Reference(space, request, a, a), Reference(space, request, a, b),
                                    Reference(space, request, b, a), Reference(space, request, b, b)};
          for (std::size_t pair = 0; pair < 4; ++pair) {
            EXPECT_EQ(densities[pair].Dimensions.size(), 2u * static_cast<unsigned>(request.particles));
            EXPECT_EQ(densities[pair].Data.index(), pair == 0   ? complexFirst
                                                    : pair == 3 ? complexSecond
                                                                : complexFirst || complexSecond);
            for (std::size_t n = 0; n < expected[pair].size(); ++n)
              EXPECT_LT(std::abs(Element(densities[pair], n) - expected[pair][n]), 1e-12) << pair << " " << n;
          }
          for (std::size_t n = 0; n < expected[0].size(); ++n)
            EXPECT_LT(std::abs(Element(trace, n) - expected[0][n] - expected[3][n]), 1e-12);
        }
    }
}

// More determinants than are walked at a time. Each element is the running sum that one operator gives.
TEST(DensityMatrix, HasTheDigitsOfSingleElements) {
  std::mt19937 random(5);
  WaveFunctionType psi({70, 0}, true);
  for (int e = 0; e < 3000; ++e) {
    Key key(2);
    for (int n = 0; n < 5; ++n) key[0] |= OrbitalBit(random() % 10);
    for (int n = 0; n < 5; ++n) key[1] |= OrbitalBit(64 + random() % 6);
    const Amplitude x = RandomAmplitude(random, true);
    ComplexWaveFunctionAddElement(psi, key.data(), {x.real(), x.imag()});
  }
  const auto value = [&](const std::vector<LadderIndex>& lader) {
    OperatorType O = InitOperator(70, 0);
    OperatorAddLader(O, lader, 1);
    return ToStd(PsiOperatorPsi(O, psi));
  };
  const CompactTensorType matrix = CalculateDensityMatrix({1, {3, 66}}, psi),
                          tensor = CalculateDensityMatrix({2, {65, 1}}, psi);
  EXPECT_EQ(Element(matrix, 1), value({Annihilate(66), Create(3)}));
  EXPECT_EQ(Element(matrix, 3), value({Annihilate(66), Create(66)}));
  EXPECT_EQ(Element(tensor, 5), value({Annihilate(1), Annihilate(65), Create(1), Create(65)}));
}

TEST(DensityMatrix, RefusesWhatDoesNotFit) {
  const WaveFunctionType psi({40000, 1}), other({3, 0});
  for (const std::uint32_t orbital : {40001, 32768})  // no ladder operator has the second one
    EXPECT_THROW(CalculateDensityMatrix({1, {orbital}}, psi), std::invalid_argument);
  EXPECT_THROW(CalculateDensityMatrixWithOffDiagonals({1, {0}}, {&psi, &other}), std::invalid_argument);
  EXPECT_THROW(CalculateDensityMatrix({2, AllOrbitals({30000, 0})}, psi), std::bad_alloc);
}

}  // namespace
}  // namespace fermix
