// States: element order, thresholds, shared bases, and arithmetic against plain maps from key to value.
#include "core/wave_function.h"

#include <gtest/gtest.h>

#include <complex>
#include <cstdlib>
#include <functional>
#include <map>
#include <random>
#include <stdexcept>

#include "alloc_failure.h"

namespace fermix {
namespace {

constexpr KeyLayout TwentyOrbitals{20, 0};

Key KeyOf(std::uint32_t bits) { return {KeyWord{bits} << 44}; }  // 20 orbitals at the top of a word

// A plain reference: what a state is, without any hashing.
using Reference = std::map<KeyWord, std::complex<double>>;

Reference ToReference(const WaveFunctionType& psi) {
  Reference map;
  for (std::uint32_t i = 1; i <= ElementCount(psi); ++i) {
    const Complex16 z = ElementValue(psi, i);
    EXPECT_TRUE(map.emplace(*ElementKey(psi, i), std::complex(z.re, z.im)).second) << "a key stands twice";
    EXPECT_EQ(BasisFind(*psi.basis, ElementKey(psi, i)), i);
  }
  return map;
}

WaveFunctionType RandomState(std::mt19937& random, std::uint32_t elements, bool complex,
                             KeyLayout layout = TwentyOrbitals) {
  WaveFunctionType psi(layout, complex);
  std::uniform_real_distribution<double> value(-1, 1);
  while (ElementCount(psi) < elements) {
    Key key = KeyOf(random() & 0xfffff);
    key.resize(KeyWords(layout), random());
    if (complex) {
      ComplexWaveFunctionAddElement(psi, key.data(), {value(random), value(random)});
    } else {
      RealWaveFunctionAddElement(psi, key.data(), value(random));
    }
  }
  return psi;
}

std::vector<KeyWord> Keys(const WaveFunctionType& psi) {
  std::vector<KeyWord> keys;
  for (std::uint32_t i = 1; i <= ElementCount(psi); ++i) keys.push_back(*ElementKey(psi, i));
  return keys;
}

void ExpectNear(const Reference& a, const Reference& b) {
  ASSERT_EQ(a.size(), b.size());
  for (const auto& [key, value] : a) {
    ASSERT_TRUE(b.contains(key));
    EXPECT_NEAR(std::abs(value - b.at(key)), 0, 1e-14);
  }
}

TEST(WaveFunction, ElementsKeepInsertionOrderAcrossBlocksAndSumUp) {
  WaveFunctionType psi(TwentyOrbitals);
  for (std::uint32_t k = 0; k < 40000; ++k) RealWaveFunctionAddElement(psi, KeyOf(k * 7 % 1048573).data(), k);
  for (std::uint32_t k = 0; k < 40000; ++k)
    RealWaveFunctionAddElement(psi, KeyOf(k * 7 % 1048573).data(), 0.5);
  ASSERT_EQ(ElementCount(psi), 40000u);
  EXPECT_EQ(NBlok(*psi.basis), 3u);
  for (std::uint32_t k = 0; k < 40000; ++k) {
    ASSERT_EQ(*ElementKey(psi, k + 1), KeyOf(k * 7 % 1048573)[0]);
    ASSERT_EQ(ElementValue(psi, k + 1).re, k + 0.5);
  }
  EXPECT_EQ(BasisFind(*psi.basis, KeyOf(1048574).data()), 0u);
  const WaveFunctionType copy = WaveFunctionCopy(psi);
  auto keys = Keys(psi);
  std::reverse(keys.begin(), keys.end());
  EXPECT_EQ(Keys(copy), keys) << "a copy has the elements in reversed order";
}

TEST(WaveFunction, SumsAndProductsFollowTheirDefinitions) {
  std::mt19937 random(7);
  for (const bool complexA : {false, true})
    for (const bool complexB : {false, true})
      for (const KeyLayout layout : {TwentyOrbitals, KeyLayout{150, 0}, KeyLayout{20, 3}}) {
        const auto a = RandomState(random, 900, complexA, layout),
                   b = RandomState(random, 500, complexB, layout);
        if (KeyWords(layout) > 1) {  // keys of several words: the first alone does not tell them apart
          EXPECT_NEAR(WaveFunctionDotProduct(a, a).re, WaveFunctionCalculateNormSqr(a), 1e-11);
          continue;
        }
        const Reference ra = ToReference(a), rb = ToReference(b);
        const Complex16 factor{0.3, complexA ? -0.8 : 0.0};
        auto sum = a;
        WaveFunctionAddComplexMultipliedUnionBasis(sum, b, factor);
        Reference expected = ra;
        std::complex<double> dot = 0;
        double norm = 0;
        for (const auto& [key, value] : rb) {
          expected[key] += std::complex(factor.re, factor.im) * value;
          if (ra.contains(key)) dot += std::conj(ra.at(key)) * value;
        }
        for (const auto& [key, value] : ra) norm += std::norm(value);
        ExpectNear(ToReference(sum), expected);
        const Complex16 got = WaveFunctionDotProduct(a, b), back = WaveFunctionDotProduct(b, a);
        EXPECT_NEAR(std::abs(std::complex(got.re, got.im) - dot), 0, 1e-13);
        EXPECT_NEAR(std::abs(std::complex(back.re, back.im) - std::conj(dot)), 0, 1e-13);
        EXPECT_NEAR(WaveFunctionCalculateNormSqr(a), norm, 1e-11);

        auto inside = a;  // conserve basis: the keys of a alone
        WaveFunctionAddConserveBasis(inside, b);
        EXPECT_EQ(inside.basis, a.basis) << "nothing grew, so the basis stays shared";
        Reference cut = ra;
        for (auto& [key, value] : cut)
          if (rb.contains(key)) value += rb.at(key);
        ExpectNear(ToReference(inside), cut);
      }
}

TEST(WaveFunction, AStateThatGrowsOrShrinksLeavesOthersOnItsBasisAlone) {
  std::mt19937 random(3);
  const auto original = RandomState(random, 300, false);
  const auto keys = Keys(original);
  auto grown = original, truncated = original;
  WaveFunctionAddUnionBasis(grown, RandomState(random, 300, false));
  WaveFunctionTruncateBasis(truncated, 0.5);
  EXPECT_EQ(Keys(original), keys);
  EXPECT_GT(ElementCount(grown), 300u);
  EXPECT_LT(ElementCount(truncated), 300u);
  ToReference(original), ToReference(grown), ToReference(truncated);

  std::vector<WaveFunctionType> list = {original, RandomState(random, 200, true), original};
  const Reference second = ToReference(list[1]);
  WaveFunctionArrayToSameBasis(list);
  EXPECT_EQ(list[0].basis, list[1].basis);
  EXPECT_EQ(list[0].basis, list[2].basis);
  for (const auto& [key, value] : ToReference(list[1]))
    EXPECT_EQ(value, second.contains(key) ? second.at(key) : 0);
}

TEST(WaveFunction, TruncationKeepsWhatIsAboveTheThreshold) {
  const double values[] = {1e-3, -2e-3, 0, 1e-9, -1e-3};
  const struct {
    double epsilon;
    std::vector<int> kept;
  } cases[] = {{0, {0, 1, 3, 4}}, {1e-3, {1}}, {0.99e-3, {0, 1, 4}}, {1, {}}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.epsilon);
    WaveFunctionType real(TwentyOrbitals), complex(TwentyOrbitals, true);
    std::vector<KeyWord> expected;
    for (int k = 0; k < 5; ++k) {
      RealWaveFunctionAddElement(real, KeyOf(k + 1).data(), values[k]);
      ComplexWaveFunctionAddElement(complex, KeyOf(k + 1).data(), {0, values[k]});
    }
    for (const int k : c.kept) expected.push_back(KeyOf(k + 1)[0]);
    WaveFunctionTruncateBasis(real, c.epsilon);
    WaveFunctionTruncateBasis(complex, c.epsilon);
    EXPECT_EQ(Keys(real), expected);
    EXPECT_EQ(Keys(complex), expected);
    EXPECT_EQ(QComplex(complex), !expected.empty()) << "nothing imaginary is left: the state is real";
  }
  WaveFunctionType tiny(TwentyOrbitals);
  RealWaveFunctionAddElement(tiny, KeyOf(1).data(), 4.7e-154);
  RealWaveFunctionAddElement(tiny, KeyOf(2).data(), 4.8e-154);
  WaveFunctionResetKeylist(tiny, 5);
  EXPECT_EQ(Keys(tiny), std::vector<KeyWord>{KeyOf(2)[0]});
  EXPECT_EQ(tiny.basis->NBitsKey, 5u);
}

TEST(WaveFunction, TwoThresholdsForTurningComplex) {
  const struct {
    double im;
    bool addTurns, multiplyTurns;
  } cases[] = {{1e-17, false, false}, {1e-15, true, false}, {1e-14, true, true}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.im);
    WaveFunctionType psi(TwentyOrbitals);
    RealWaveFunctionAddElement(psi, KeyOf(1).data(), 1);
    auto added = psi, multiplied = psi;
    WaveFunctionAddComplexMultipliedUnionBasis(added, psi, {1, c.im});
    WaveFunctionMultiply(multiplied, 1, c.im);
    EXPECT_EQ(QComplex(added), c.addTurns);
    EXPECT_EQ(QComplex(multiplied), c.multiplyTurns);
  }
}

TEST(WaveFunction, ARealVectorTimesAPhaseComesBackReal) {
  std::mt19937 random(11);
  auto real = RandomState(random, 50, false);
  WaveFunctionNormalize(real);
  for (double phi = -3.2; phi < 3.3; phi += 0.1) {
    auto turned = real;
    WaveFunctionMultiply(turned, std::cos(phi), std::sin(phi));
    MakeComplexWaveFunctionFromReal(turned);
    MakeRealWaveFunctionFromComplexAccordingToNorm(turned);
    ASSERT_FALSE(QComplex(turned));
    EXPECT_NEAR(std::fabs(WaveFunctionDotProduct(real, turned).re), 1, 1e-14) << phi;
  }
}

TEST(WaveFunction, NormalisingZeroAndChangingTheSpace) {
  WaveFunctionType real({4, 0}), complex({4, 0}, true);
  const Key key = {KeyWord{0b1001} << 60};
  RealWaveFunctionAddElement(real, key.data(), 0);
  ComplexWaveFunctionAddElement(complex, key.data(), 0);
  WaveFunctionNormalize(real);
  WaveFunctionNormalize(complex);
  EXPECT_EQ(ElementValue(real, 1).re, 0);
  EXPECT_TRUE(std::isnan(ElementValue(complex, 1).re));

  ComplexWaveFunctionAddElement(complex, key.data(), {0, std::nan("")});
  MakeComplexFunctionRealWhenNormSmall(complex, 1e-10);
  EXPECT_TRUE(QComplex(complex)) << "what is not a number is not small";

  RealWaveFunctionAddElement(real, key.data(), 2);
  ASSERT_EQ(WaveFunctionChangeNFandNB(real, 3, 0), 0);
  EXPECT_EQ(*ElementKey(real, 1), KeyWord{0b1000} << 60) << "orbital 3 is gone";
  ASSERT_EQ(WaveFunctionChangeNFandNB(real, 80, 2), 0);
  EXPECT_EQ(KeyWords(Layout(real)), 2u);
  EXPECT_EQ(ElementKey(real, 1)[0], KeyWord{0b1000} << 60);
  EXPECT_EQ(ElementKey(real, 1)[1], 0u);
  EXPECT_EQ(WaveFunctionChangeNFandNB(real, 65536, 1), 1);
  EXPECT_EQ(Layout(real).NFermion, 80u);
}

TEST(WaveFunction, ListsOnOneBasisAreTruncatedTogether) {
  std::vector<WaveFunctionType> states(2, WaveFunctionType(TwentyOrbitals));
  const double values[2][4] = {{1, 1e-9, 1e-9, 0}, {1e-9, 1e-9, -1, 0}};
  for (int k = 0; k < 4; ++k) RealWaveFunctionAddElement(states[0], KeyOf(k + 1).data(), values[0][k]);
  states[1] = WaveFunctionInitCopyBasis(states[0]);
  for (int k = 0; k < 4; ++k) std::get<BlockedArray<double>>(states[1].values)[k + 1] = values[1][k];
  BlockWaveFunctionTruncateBasis(states, 1e-6);
  ASSERT_EQ(states[0].basis, states[1].basis);
  EXPECT_EQ(Keys(states[0]), (std::vector<KeyWord>{KeyOf(1)[0], KeyOf(3)[0]}));
  EXPECT_EQ(ElementValue(states[0], 2).re, 0);
  EXPECT_EQ(ElementValue(states[1], 1).re, 0);
  EXPECT_EQ(ElementValue(states[1], 2).re, -1);
}

// Two states with the same elements, one of which has met its last key once more: full blocks, so that it has
// made room that it did not need.
TEST(WaveFunction, RoomForTheNextElementChangesNoResult) {
  WaveFunctionType plain(TwentyOrbitals);
  for (std::uint32_t k = 1; k < 2 * BlockElements; ++k) RealWaveFunctionAddElement(plain, KeyOf(k).data(), 1);
  WaveFunctionType roomy = plain;
  OwnBasis(roomy);
  RealWaveFunctionAddElement(roomy, KeyOf(5).data(), 0);
  EXPECT_EQ(WaveFunctionDotProductSameBasis(roomy, plain).re, 2.0 * BlockElements - 1);
  EXPECT_EQ(WaveFunctionDotProductSameBasis(plain, roomy).re, 2.0 * BlockElements - 1);
  for (WaveFunctionType* psi : {&plain, &roomy}) {
    std::srand(5);
    WaveFunctionRandomize(*psi);
  }
  for (const std::uint32_t i : {1u, BlockElements - 1, BlockElements, 2 * BlockElements - 1})
    EXPECT_EQ(ElementValue(plain, i).re, ElementValue(roomy, i).re) << i;
  EXPECT_EQ(WaveFunctionCalculateNorm(plain), WaveFunctionCalculateNorm(roomy));
}

TEST(WaveFunction, OneSpaceForAllThatMeet) {
  WaveFunctionType small({4, 0}), wide({4, 70}), complex({5, 0}, true);
  RealWaveFunctionAddElement(small, Key(1).data(), 1);
  RealWaveFunctionAddElement(wide, Key(10).data(), 1);
  ComplexWaveFunctionAddElement(complex, Key(1).data(), 1);
  for (auto* a : {&small, &wide, &complex})
    for (auto* b : {&small, &wide, &complex}) {
      if (a == b) continue;
      EXPECT_THROW(WaveFunctionAddUnionBasis(*a, *b), std::invalid_argument);
      EXPECT_THROW(WaveFunctionAddConserveBasis(*a, *b), std::invalid_argument);
      EXPECT_THROW(WaveFunctionDotProduct(*a, *b), std::invalid_argument);
      std::vector<WaveFunctionType> list = {*a, *b};
      EXPECT_THROW(WaveFunctionArrayToSameBasis(list), std::invalid_argument);
    }
  EXPECT_FALSE(QComplex(small));
  EXPECT_THROW(WaveFunctionRestrict(wide, {{4, 0}, {0}, {1}, {Key(1)}}), std::invalid_argument);
}

// Whatever runs out of memory says so, and leaves the state with the elements that it had.
TEST(WaveFunctionMemory, StepsAreAllOrNothingAndSayALine) {
  std::mt19937 random(5);
  for (const bool complex : {false, true}) {
    const auto psi = RandomState(random, 40, complex), other = RandomState(random, 500, complex);
    const Key key = KeyOf(0xfffff);
    const std::pair<const char*, std::function<void(WaveFunctionType&)>> steps[] = {
        {"add an element",
         [&](auto& a) {
           complex ? ComplexWaveFunctionAddElement(a, key.data(), 1)
                   : RealWaveFunctionAddElement(a, key.data(), 1);
         }},
        {"sum", [&](auto& a) { WaveFunctionAddUnionBasis(a, other); }},
        {"sum with a factor",
         [&](auto& a) {
           WaveFunctionAddComplexMultipliedUnionBasis(a, other, {2, 3});
         }},
        {"scale", [](auto& a) { WaveFunctionMultiply(a, 0, 1); }},
        {"copy", [](auto& a) { a = WaveFunctionCopy(a); }},
        {"share", [](auto& a) { a = WaveFunctionInitCopyBasis(a); }},
        {"change the space", [](auto& a) { EXPECT_EQ(WaveFunctionChangeNFandNB(a, 70, 1), 0); }},
        {"hash size", [](auto& a) { WaveFunctionResetKeylist(a, 20); }}};
    for (const auto& [name, step] : steps) {
      SCOPED_TRACE(name);
      const Reference before = ToReference(psi);
      testing::internal::CaptureStdout();
      // The state shares its basis with psi: growth takes a copy first.
      const std::size_t thrown = test::FailEachAllocation(psi, step, [&](WaveFunctionType& a) {
        EXPECT_FALSE(testing::internal::GetCapturedStdout().empty());
        ExpectNear(ToReference(a), before);
        EXPECT_EQ(Keys(a), Keys(psi));
        testing::internal::CaptureStdout();
      });
      EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
      EXPECT_EQ(thrown > 0, !(complex && std::string(name) == "scale"));
    }
  }
}

// A solver truncates because memory is out: on a basis of its own that needs none.
TEST(WaveFunctionMemory, TruncatingNeverThrows) {
  const auto truncate = [&](WaveFunctionType& psi) {
    WaveFunctionTruncateBasis(psi, 0.5);
    EXPECT_EQ(ElementCount(psi), 50u);
  };
  std::size_t n = 0;
  do {
    WaveFunctionType psi(TwentyOrbitals, true);
    for (int k = 0; k < 100; ++k) ComplexWaveFunctionAddElement(psi, KeyOf(k).data(), {k % 2 * 1.0, 0.1});
    test::FailingAllocation failure(n++);
    EXPECT_NO_THROW(truncate(psi));
  } while (test::QAllocationFailed());
  EXPECT_GT(n, 1u);
}

}  // namespace
}  // namespace fermix
