// The table of expectation values, to the character, and its standard deviations against known ones.
#include "core/expectation_table.h"

#include <gtest/gtest.h>

#include <cmath>

#include "core/expectation.h"
#include "core/operator_algebra.h"
#include "printed.h"

namespace fermix {
namespace {

WaveFunctionType State(Complex16 first, Complex16 second) {
  WaveFunctionType psi({2, 0}, true);
  ComplexWaveFunctionAddElement(psi, StringToDet(2, 0, "10").data(), first);
  ComplexWaveFunctionAddElement(psi, StringToDet(2, 0, "01").data(), second);
  return psi;
}

// e n_0 + t a+_1 a_0 + u a+_0 a_1
OperatorType Hopping(const char* name, double e, Complex16 t, Complex16 u) {
  OperatorType O = InitOperator(2, 0);
  O.Name = name;
  OperatorAddLaderNormalOrder(O, {Annihilate(0), Create(0)}, e);
  OperatorAddLaderNormalOrder(O, {Annihilate(0), Create(1)}, t);
  OperatorAddLaderNormalOrder(O, {Annihilate(1), Create(0)}, u);
  return O;
}

const OperatorType number = Hopping("n", 1, 0, 0), hop = Hopping("long hopping", 0, 1, 1),
                   energy = Hopping("H", -3, 0, 0), raise = Hopping("up", 0, 1, 0);
const WaveFunctionType right = State(0, 1), left = State(1, 0),
                       both = State(std::sqrt(0.5), {0, std::sqrt(0.5)});

// Sorted by energy, with deviations; complex values take two columns, small ones are zero, the header comes
// again.
TEST(ExpectationValues, StandInATable) {
  ExpectationSettings settings;
  settings.sortByEnergy = settings.printSigma = true;
  settings.zero = 1e-2;
  const WaveFunctionType tilted = State(1, 1e-3);
  const ExpectationValues table({&right, &tilted, &both}, {&raise, &hop}, &energy,
                                {{"m", {Complex16(1.5), std::string("a longer text"), 2}}}, settings);
  const std::string header =
      "#       H       std-    up              std-    long ho std-    m       \n"
      "                -dev                    -dev            -dev            \n";
  EXPECT_EQ(Printed([&] { table.print(8, 2); }),
            header +
                " 2      -3       0       0      +0I      1       0       1      a longe \n"
                " 3      -1.5     1.5     0      -0.5I    0.5     0       1       2      \n" +
                header + " 1       0       0       0      +0I      0       0       1       1.5    \n");
  EXPECT_EQ(ExpectationValues({&right}, {&number}, nullptr, {}, {}).printHeader(14),
            "#             n             \n");
}

// <n> = p, sigma = sqrt(p (1 - p)); an eigenstate of a large value has none, whatever rounding makes of
// <O^2> - <O>^2; what is not a number must not pass for an eigenstate.
TEST(ExpectationValues, StandardDeviation) {
  const auto deviation = [](const OperatorType& O, const WaveFunctionType& psi, Complex16 mean) {
    return StandardDeviation(CompileForElements(O, {&psi}), psi, mean);
  };
  EXPECT_NEAR(deviation(number, State(std::sqrt(0.1), {0, std::sqrt(0.9)}), 0.1), 0.3, 1e-15);
  OperatorType big = hop;
  OperatorAddConstant(big, 1e6);
  EXPECT_NEAR(deviation(big, State(std::sqrt(0.5), std::sqrt(0.5)), 1e6 + 1), 0, 1e-9);
  EXPECT_EQ(deviation(number, State(2, 0), 4), 0);  // 4 - 4^2, as the state is not normalised
  EXPECT_TRUE(std::isnan(deviation(number, State(INFINITY, 0), INFINITY)));
}

}  // namespace
}  // namespace fermix
