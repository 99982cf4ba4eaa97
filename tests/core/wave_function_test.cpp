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
using Reference = std::map<Key, std::complex<double>>;

std::complex<double> Number(Complex16 z) { return {z.re, z.im}; }

Key KeyAt(const WaveFunctionType& psi, std::uint32_t i) {
  return Key(ElementKey(psi, i), ElementKey(psi, i) + KeyWords(Layout(psi)));
}

std::vector<Key> Keys(const WaveFunctionType& psi) {
  std::vector<Key> keys;
  for (std::uint32_t i = 1; i <= ElementCount(psi); ++i) keys.push_back(KeyAt(psi, i));
  return keys;
}

Reference ToReference(const WaveFunctionType& psi) {
  Reference map;
  for (std::uint32_t i = 1; i <= ElementCount(psi); ++i) {
    EXPECT_TRUE(map.emplace(KeyAt(psi, i), Number(ElementValue(psi, i))).second) << "a key stands twice";
    EXPECT_EQ(BasisFind(*psi.basis, ElementKey(psi, i)), i);
  }
  return map;
}

// Keys differ in their last word, if they have more than one, as often as in the first.
WaveFunctionType RandomState(std::mt19937& random, std::uint32_t elements, bool complex,
                             KeyLayout layout = TwentyOrbitals) {
  WaveFunctionType psi(layout, complex);
  std::uniform_real_distribution<double> value(-1, 1);
  while (ElementCount(psi) < elements) {
    Key key(KeyWords(layout));
    key.front() = KeyWord{random() & 0x1f} << 44;
    key.back() ^= KeyWord{random() & 0x1f} << 59;
    WaveFunctionAddElement(psi, key.data(), {value(random), value(random)});
  }
  return psi;
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
  for (const double value : {2.0, 0.5})
    for (std::uint32_t k = 0; k < 40000; ++k)
      RealWaveFunctionAddElement(psi, KeyOf(k * 7 % 1048573).data(), value * k);
  ASSERT_EQ(ElementCount(psi), 40000u);
  EXPECT_EQ(NBlok(*psi.basis), 3u);
  const WaveFunctionType copy = WaveFunctionCopy(psi);
  ASSERT_EQ(ToReference(copy).size(), 40000u);
  for (std::uint32_t k = 0; k < 40000; ++k) {
    ASSERT_EQ(*ElementKey(psi, k + 1), KeyOf(k * 7 % 1048573)[0]);
    ASSERT_EQ(ElementValue(psi, k + 1).re, 2.5 * k);
    ASSERT_EQ(*ElementKey(copy, 40000 - k), *ElementKey(psi, k + 1)) << "a copy is in reversed order";
    ASSERT_EQ(ElementValue(copy, 40000 - k).re, 2.5 * k);
  }
  EXPECT_EQ(BasisFind(*psi.basis, KeyOf(1048574).data()), 0u);
}

// Each for states with bases of their own and for the same states on one basis.
TEST(WaveFunction, SumsAndProductsFollowTheirDefinitions) {
  std::mt19937 random(7);
  for (const bool complexA : {false, true})
    for (const bool complexB : {false, true})
      for (const KeyLayout layout : {TwentyOrbitals, KeyLayout{150, 0}, KeyLayout{20, 13}}) {
        SCOPED_TRACE(layout.NFermion);
        const auto a = RandomState(random, layout.NFermion == 20 ? 300 : 900, complexA, layout),
                   b = RandomState(random, 500, complexB, layout);
        const Reference ra = ToReference(a), rb = ToReference(b);
        const Complex16 factor{0.3, complexA ? -0.8 : 0.0};
        Reference sum = ra, inside = ra;
        std::complex<double> dot = 0;
        double norm = 0;
        for (const auto& [key, value] : rb) {
          sum[key] += Number(factor) * value;
          if (!ra.contains(key)) continue;
          inside[key] += Number(factor) * value;
          dot += std::conj(ra.at(key)) * value;
        }
        for (const auto& [key, value] : ra) norm += std::norm(value);
        EXPECT_NEAR(WaveFunctionCalculateNormSqr(a), norm, 1e-11);

        auto conserved = a;
        if (complexA) {
          ComplexWaveFunctionAddComplexMultipliedConserveBasis(conserved, b, factor);
        } else {
          WaveFunctionAddMultipliedConserveBasis(conserved, b, factor.re);
        }
        EXPECT_EQ(conserved.basis, a.basis) << "nothing grew, so the basis stays shared";
        ExpectNear(ToReference(conserved), inside);

        std::vector<WaveFunctionType> together = {a, b, a};
        WaveFunctionArrayToSameBasis(together);
        ASSERT_EQ(together[0].basis, together[1].basis);
        ASSERT_EQ(together[0].basis, together[2].basis);
        for (const auto& [key, value] : ToReference(together[1]))
          EXPECT_EQ(value, rb.contains(key) ? rb.at(key) : 0);
        for (auto [x, y] : {std::pair{a, b}, std::pair{together[0], together[1]}}) {
          EXPECT_NEAR(std::abs(Number(WaveFunctionDotProduct(x, y)) - dot), 0, 1e-13);
          EXPECT_NEAR(std::abs(Number(WaveFunctionDotProduct(y, x)) - std::conj(dot)), 0, 1e-13);
          WaveFunctionAddComplexMultipliedUnionBasis(x, y, factor);
          ExpectNear(ToReference(x), sum);
        }
        ExpectNear(ToReference(a), ra);
      }
}

TEST(WaveFunction, TruncationKeepsWhatIsAboveTheThreshold) {
  const double values[] = {1e-3, -2e-3, 0, 1e-9, -1e-3};
  const struct {
    double epsilon;
    std::vector<int> kept;
  } cases[] = {{0, {0, 1, 3, 4}}, {1e-3, {1}}, {0.99e-3, {0, 1, 4}}, {1, {}}};
  for (const auto& c : cases)
    for (const bool complex : {false, true})
      for (const bool shared : {false, true}) {
        SCOPED_TRACE(c.epsilon);
        WaveFunctionType psi(TwentyOrbitals, complex);
        std::vector<Key> expected;
        for (int k = 0; k < 5; ++k)
          WaveFunctionAddElement(psi, KeyOf(k + 1).data(),
                                 complex ? Complex16(0, values[k]) : Complex16(values[k]));
        for (const int k : c.kept) expected.push_back(KeyOf(k + 1));
        const WaveFunctionType neighbour = shared ? psi : WaveFunctionType();
        WaveFunctionTruncateBasis(psi, c.epsilon);
        EXPECT_EQ(Keys(psi), expected);
        ToReference(psi);
        EXPECT_EQ(QComplex(psi), complex && !expected.empty()) << "nothing imaginary is left: it is real";
        EXPECT_EQ(ToReference(neighbour).size(), shared ? 5u : 0u) << "a state saw another one shrink";
      }
}

TEST(WaveFunction, ListsOnOneBasisAreCutTogether) {
  // The first sixty-odd elements are large, so that what is dropped lies beyond the first word of bits.
  constexpr int large = 70;
  const double values[2][4] = {{1, 1e-9, 1e-9, 0}, {1e-9, 1e-9, -1, 0}};
  for (const bool shared : {false, true}) {
    std::vector<WaveFunctionType> states(2, WaveFunctionType(TwentyOrbitals));
    for (int k = 0; k < large + 4; ++k)
      RealWaveFunctionAddElement(states[0], KeyOf(k).data(), k < large ? 2 : values[0][k - large]);
    states[1] = WaveFunctionInitCopyBasis(states[0]);
    for (int k = 0; k < 4; ++k)
      std::get<BlockedArray<double>>(states[1].values)[large + k + 1] = values[1][k];
    const WaveFunctionType neighbour = shared ? states[0] : WaveFunctionType();
    BlockWaveFunctionTruncateBasis(states, 1e-6);
    ASSERT_EQ(states[0].basis, states[1].basis);
    ASSERT_EQ(ToReference(states[0]).size(), large + 2u);
    EXPECT_EQ(Keys(states[0]).back(), KeyOf(large + 2));
    for (int n = 0; n < 2; ++n) {
      EXPECT_EQ(ElementValue(states[n], large + 1).re, n == 0 ? 1 : 0);
      EXPECT_EQ(ElementValue(states[n], large + 2).re, n == 0 ? 0 : -1);
    }
    // Nothing in orbitals 13 and 14: two bits of the numbers that make the keys.
    BlockWaveFunctionRestrict(states, {TwentyOrbitals, {0}, {0}, {KeyOf(0b1100000)}});
    EXPECT_EQ(ElementCount(states[1]), 32u);
    EXPECT_EQ(ToReference(neighbour).size(), shared ? large + 4u : 0u);
  }
}

TEST(WaveFunction, TwoThresholdsForTurningComplex) {
  for (const double im : {1e-17, 1e-15, 1e-14}) {
    WaveFunctionType added(TwentyOrbitals);
    RealWaveFunctionAddElement(added, KeyOf(1).data(), 1);
    WaveFunctionType multiplied = added;
    WaveFunctionAddComplexMultipliedUnionBasis(added, multiplied, {1, im});
    WaveFunctionMultiply(multiplied, 1, im);
    EXPECT_EQ(QComplex(added), im > 1e-16);
    EXPECT_EQ(QComplex(multiplied), im > 5e-15);
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

TEST(WaveFunction, ChangingTheSpace) {
  WaveFunctionType psi({4, 1});
  RealWaveFunctionAddElement(psi, Key{KeyWord{0b1001} << 60 | KeyWord{7} << 48}.data(), 0);
  const struct {
    std::uint32_t NFermion, NBoson;
    KeyWord words[2];
  } changes[] = {{3, 1, {KeyWord{0b1000} << 60 | KeyWord{7} << 48}},  // orbital 3 is gone
                 {3, 3, {KeyWord{0b1000} << 60 | KeyWord{7} << 48}},  // new modes are empty
                 {80, 2, {KeyWord{0b1000} << 60, 0}}};                // modes are not moved: theirs is read
  for (const auto& c : changes) {
    ASSERT_EQ(WaveFunctionChangeNFandNB(psi, c.NFermion, c.NBoson), 0);
    EXPECT_EQ(KeyAt(psi, 1), Key(c.words, c.words + KeyWords({c.NFermion, c.NBoson})));
  }
  EXPECT_EQ(WaveFunctionChangeNFandNB(psi, 65536, 1), 1);
}

// A full block; one of the two states has met a key once more, so that it has room that it does not need.
TEST(WaveFunction, RandomValuesComeInAFixedOrderWhateverRoomThereIs) {
  WaveFunctionType plain(TwentyOrbitals);
  for (std::uint32_t k = 1; k < 2 * BlockElements; ++k) RealWaveFunctionAddElement(plain, KeyOf(k).data(), 1);
  WaveFunctionType roomy = plain;
  OwnBasis(roomy);
  RealWaveFunctionAddElement(roomy, KeyOf(5).data(), 0);
  EXPECT_EQ(WaveFunctionDotProductSameBasis(roomy, plain).re, 2.0 * BlockElements - 1);
  for (WaveFunctionType* psi : {&plain, &roomy}) {
    std::srand(5);
    WaveFunctionRandomize(*psi);
    EXPECT_NEAR(WaveFunctionCalculateNorm(*psi), 1, 1e-14);
    std::srand(5);  // the last block first, then the others, each from its entry 0
    double scale = 0;
    for (std::uint32_t n = 0; n < 2 * BlockElements; ++n) {
      const std::uint32_t i = (n + BlockElements) % (2 * BlockElements);
      const double draw = std::rand() - 0x3fffffff;
      if (n == 0) scale = ElementValue(*psi, i).re / draw;
      ASSERT_NEAR(ElementValue(*psi, i).re, i == 0 ? 0 : scale * draw, 1e-16) << i;
    }
  }
}

TEST(WaveFunction, OneSpaceForAllThatMeet) {
  WaveFunctionType small({4, 0}), wide({4, 70});
  EXPECT_THROW(WaveFunctionAddUnionBasis(small, wide), std::invalid_argument);
  EXPECT_THROW(WaveFunctionAddConserveBasis(wide, small), std::invalid_argument);
  EXPECT_THROW(WaveFunctionDotProduct(small, wide), std::invalid_argument);
  EXPECT_THROW(WaveFunctionRestrict(wide, {{4, 0}, {0}, {1}, {Key(1)}}), std::invalid_argument);
}

// Whatever runs out of memory says so, and leaves the state with the elements that it had.
TEST(WaveFunctionMemory, StepsAreAllOrNothingAndSayALine) {
  std::mt19937 random(5);
  for (const auto& [complex, elements] : {std::pair(false, 40u), {true, 40u}, {false, 0u}}) {
    const auto psi = RandomState(random, elements, complex), other = RandomState(random, 500, complex);
    const Key key = KeyOf(0xfffff);
    const std::pair<const char*, std::function<void(WaveFunctionType&)>> steps[] = {
        {"add an element", [&](auto& a) { WaveFunctionAddElement(a, key.data(), 1); }},
        {"sum", [&](auto& a) { WaveFunctionAddComplexMultipliedUnionBasis(a, other, Complex16(2, 3)); }},
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
  std::size_t n = 0;
  do {
    WaveFunctionType psi(TwentyOrbitals, true);
    for (int k = 0; k < 100; ++k) ComplexWaveFunctionAddElement(psi, KeyOf(k).data(), {k % 2 * 1.0, 0.1});
    {
      test::FailingAllocation failure(n++);
      EXPECT_NO_THROW(WaveFunctionTruncateBasis(psi, 0.5));
    }
    EXPECT_EQ(ElementCount(psi), 50u);
  } while (test::QAllocationFailed());
  EXPECT_GT(n, 1u);
}

}  // namespace
}  // namespace fermix
