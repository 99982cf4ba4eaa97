#include "spectra/create_spectra.h"

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <numeric>
#include <stdexcept>

#include "core/determinant_matrix.h"
#include "host/base/verbosity.h"
#include "linalg/random_matrix.h"

namespace fermix {
namespace {

constexpr std::uint32_t NF = 7;
constexpr std::uint32_t FockSize = 1u << NF;

// --- An independent exact treatment: states are vectors over all 2^NF occupations, bit i is orbital i.

using FockState = std::vector<Complex16>;

// The string on one occupation; element 0 acts first. Returns the sign, 0 if nothing is left.
int ApplyString(const std::vector<LadderIndex>& lader, unsigned& occupation) {
  int sign = 1;
  for (const LadderIndex l : lader) {
    const unsigned bit = 1u << LadderOrbital(l);
    if (QCreation(l) == ((occupation & bit) != 0)) return 0;
    if (__builtin_popcount(occupation & (bit - 1)) % 2) sign = -sign;
    occupation ^= bit;
  }
  return sign;
}

std::vector<LadderIndex> StringOf(const OperatorFixedLengthType& table, std::uint32_t term,
                                  std::size_t length) {
  return {table.o.begin() + static_cast<std::ptrdiff_t>(term * length),
          table.o.begin() + static_cast<std::ptrdiff_t>((term + 1) * length)};
}

CompactMatrixType FockMatrix(const OperatorType& O) {
  CompactMatrixType m = InitCompactMatrix(FockSize, FockSize, true);
  auto& data = std::get<1>(m.Data);
  for (std::size_t length = 0; length < O.l.size(); ++length)
    for (std::uint32_t term = 0; term < TermCount(O.l[length]); ++term)
      for (unsigned j = 0; j < FockSize; ++j) {
        unsigned i = j;
        const int sign = ApplyString(StringOf(O.l[length], term, length), i);
        data[i * FockSize + j] += static_cast<double>(sign) * TermValue(O.l[length], term);
      }
  return m;
}

unsigned Occupation(const KeyWord* key) {
  unsigned occupation = 0;
  for (std::uint32_t i = 0; i < NF; ++i) occupation |= QOccupied(key, i) ? 1u << i : 0;
  return occupation;
}

FockState ToFock(const WaveFunctionType& psi) {
  FockState state(FockSize);
  for (std::uint32_t i = 1; i <= ElementCount(psi); ++i)
    state[Occupation(ElementKey(psi, i))] = ElementValue(psi, i);
  return state;
}

FockState Apply(const CompactMatrixType& m, const FockState& x) {
  FockState y(FockSize);
  for (unsigned i = 0; i < FockSize; ++i)
    for (unsigned j = 0; j < FockSize; ++j) y[i] += CompactMatrixElement(m, i, j) * x[j];
  return y;
}

Complex16 Dot(const FockState& a, const FockState& b) {
  Complex16 sum = 0;
  for (unsigned i = 0; i < FockSize; ++i) sum += Conj(a[i]) * b[i];
  return sum;
}

// --- Random systems

// sum of h_ij c+_i c_j + conj and u_ijkl c+_i c+_j c_k c_l + conj with random numbers.
template <class T>
OperatorType RandomHamiltonian(std::mt19937& random, std::uint32_t nTwo) {
  OperatorType H = InitOperator(NF, 0);
  InitOperatorFixedLength(H, 4, 6);
  const auto add = [&](std::vector<LadderIndex> lader, Complex16 value) {
    OperatorAddLader(H, lader, value);
    std::reverse(lader.begin(), lader.end());
    for (LadderIndex& l : lader) l ^= CreationBit;
    OperatorAddLader(H, lader, Conj(value));
  };
  for (std::uint32_t i = 0; i < NF; ++i)
    for (std::uint32_t j = 0; j <= i; ++j) add({Annihilate(j), Create(i)}, RandomElement<T>(random));
  for (std::uint32_t k = 0; k < nTwo; ++k) {
    const auto index = [&] { return static_cast<std::uint32_t>(random() % NF); };
    const std::uint32_t i = index(), j = index(), l = index(), m = index();
    if (i != j && l != m) add({Annihilate(l), Annihilate(m), Create(i), Create(j)}, RandomElement<T>(random));
  }
  return H;
}

template <class T>
OperatorType RandomTransition(std::mt19937& random) {
  OperatorType O = InitOperator(NF, 0);
  InitOperatorFixedLength(O, 2, 6);
  for (std::uint32_t i = 0; i < NF; ++i)
    for (std::uint32_t j = 0; j < NF; ++j)
      OperatorAddLader(O, {Annihilate(j), Create(i)}, RandomElement<T>(random));
  return O;
}

// A normalised random state of n particles.
template <class T>
WaveFunctionType RandomState(std::mt19937& random, int n) {
  WaveFunctionType psi(KeyLayout{NF, 0}, IsComplex<T>);
  for (unsigned occupation = 0; occupation < FockSize; ++occupation) {
    if (__builtin_popcount(occupation) != n) continue;
    Key key(1, 0);
    for (std::uint32_t i = 0; i < NF; ++i)
      if (occupation >> i & 1) key[0] |= OrbitalBit(i);
    if constexpr (IsComplex<T>) {
      ComplexWaveFunctionAddElement(psi, key.data(), RandomElement<T>(random));
    } else {
      RealWaveFunctionAddElement(psi, key.data(), RandomElement<T>(random));
    }
  }
  WaveFunctionNormalize(psi);
  return psi;
}

// Lanczos runs print their progress, which is not looked at here.
class CreateSpectraTest : public testing::Test {
 protected:
  void SetUp() override { GlobalVerbosity = 0; }
  void TearDown() override { GlobalVerbosity = verbosity_; }

 private:
  const std::uint32_t verbosity_ = GlobalVerbosity;
};

CreateSpectraSettings Settings(std::uint32_t DenseBorder) {
  CreateSpectraSettings s;
  s.solver.DenseBorder = DenseBorder;
  s.solver.NTri = 60;
  s.solver.epsilon = 1e-60;  // truncation is not what is looked at here
  s.solver.grid.Emin = -6;
  s.solver.grid.Emax = 6;
  s.solver.grid.NE = 24;
  s.solver.grid.Gamma = 3;
  return s;
}

template <class T>
void ExpectResolventOnTheGrid() {
  std::mt19937 random(9);
  const OperatorType H = RandomHamiltonian<T>(random, 30);
  const OperatorType T1 = RandomTransition<double>(random), T2 = RandomTransition<T>(random);
  const WaveFunctionType psi1 = RandomState<T>(random, 3), psi2 = RandomState<double>(random, 3);
  const CompactMatrixType Hfock = FockMatrix(H);
  for (const std::uint32_t DenseBorder : {1513u, 0u}) {
    SCOPED_TRACE(DenseBorder);
    const auto result = CreateSpectra(H, {&T1, &T2}, {&psi1, &psi2}, Settings(DenseBorder));
    EXPECT_EQ(result.representations.index(), DenseBorder ? 1u : 0u);
    ASSERT_EQ(result.spectra.spectra.size(), 4u);
    for (int k = 0; k < 4; ++k) {
      const SpectraType& S = result.spectra.spectra[k];
      EXPECT_EQ(S.Name, "Spectrum " + std::to_string(k));
      EXPECT_TRUE(std::isnan(S.ResonantEnergy));
      const FockState psi = ToFock(k % 2 ? psi2 : psi1), Tpsi = Apply(FockMatrix(k / 2 ? T2 : T1), psi);
      EXPECT_NEAR(S.FirstB[0], std::sqrt(Dot(Tpsi, Tpsi).re), 1e-10);
      const double E0 = Dot(psi, Apply(Hfock, psi)).re;
      for (const int i : {0, 11, 24}) {
        const Complex16 z(-6 + 0.5 * i + E0, 1.5);
        const Complex16 G = Dot(Tpsi, Apply(Resolvent(Hfock, z), Tpsi));
        EXPECT_NEAR(S.Re[i], G.re, 1e-9);
        EXPECT_NEAR(S.Im[i], G.im, 1e-9);
      }
    }
  }
}

TEST_F(CreateSpectraTest, BothPathsGiveTheResolventReal) { ExpectResolventOnTheGrid<double>(); }
TEST_F(CreateSpectraTest, BothPathsGiveTheResolventComplex) { ExpectResolventOnTheGrid<Complex16>(); }

// Weight within tolerance of an energy.
double WeightAt(const ListOfPoles& P, double energy) {
  double weight = 0;
  for (std::size_t k = 0; k < P.a.size(); ++k)
    if (std::fabs(P.a[k] - energy) < 1e-7) weight += P.b[k];
  return weight;
}

TEST_F(CreateSpectraTest, LanczosAgreesWithExactPoleByPole) {
  for (const unsigned seed : {10u, 11u, 12u}) {
    std::mt19937 random(seed);
    const OperatorType H = RandomHamiltonian<Complex16>(random, 20), T = RandomTransition<Complex16>(random);
    const WaveFunctionType psi = RandomState<Complex16>(random, 2);
    CreateSpectraSettings settings = Settings(0);
    settings.E0 = 0.75;
    const auto lanczos = CreateSpectra(H, {&T}, {&psi}, settings);
    settings.ForceDenseMethod = true;  // wins over the border
    const auto exact = CreateSpectra(H, {&T}, {&psi}, settings);
    const ListOfPoles& P = std::get<1>(exact.representations).at(0);
    ListOfPoles chain;
    ASSERT_EQ(TriDiagonalMatrixToListOfPoles(std::get<0>(lanczos.representations).at(0), chain), 0);
    EXPECT_EQ(P.a.size(), 21u);  // 2 particles in 7 orbitals
    double sum = 0;
    for (std::size_t k = 0; k < P.a.size(); ++k) {
      EXPECT_NEAR(WeightAt(chain, P.a[k] - 0.75), P.b[k], 1e-8) << P.a[k];
      sum += P.b[k];
    }
    EXPECT_NEAR(std::accumulate(chain.b.begin(), chain.b.end(), 0.0), sum, 1e-10);
  }
}

TEST_F(CreateSpectraTest, RestrictionsGiveTheRestrictedHamiltonian) {
  std::mt19937 random(13);
  OperatorType H = RandomHamiltonian<double>(random, 20);
  const OperatorType T = RandomTransition<double>(random);
  const WaveFunctionType psi = RandomState<double>(random, 3);
  DeterminantRestrictionType R;
  R.layout = KeyLayout{NF, 0};
  R.MinOccupation = {1};
  R.MaxOccupation = {2};
  R.Masks = {Key{OrbitalBit(0) | OrbitalBit(1) | OrbitalBit(2)}};
  // Directly: rows and columns outside of the restriction taken out of H and of T psi.
  CompactMatrixType Hfock = FockMatrix(H);
  FockState Tpsi = Apply(FockMatrix(T), ToFock(psi));
  const auto allowed = [](unsigned occupation) {
    const int n = __builtin_popcount(occupation & 7);
    return n >= 1 && n <= 2;
  };
  for (unsigned i = 0; i < FockSize; ++i) {
    if (!allowed(i)) Tpsi[i] = 0;
    for (unsigned j = 0; j < FockSize; ++j)
      if (!allowed(i) || !allowed(j)) std::get<1>(Hfock.Data)[i * FockSize + j] = 0;
  }
  for (const bool onOperator : {false, true})
    for (const std::uint32_t DenseBorder : {1513u, 0u}) {
      CreateSpectraSettings settings = Settings(DenseBorder);
      settings.E0 = 0;
      (onOperator ? H.Restrictions : settings.solver.Restrictions) = R;
      const auto result = CreateSpectra(H, {&T}, {&psi}, settings);
      for (const int i : {3, 17}) {
        const Complex16 G = Dot(Tpsi, Apply(Resolvent(Hfock, Complex16(-6 + 0.5 * i, 1.5)), Tpsi));
        EXPECT_NEAR(result.spectra.spectra[0].Re[i], G.re, 1e-9) << onOperator << DenseBorder;
        EXPECT_NEAR(result.spectra.spectra[0].Im[i], G.im, 1e-9) << onOperator << DenseBorder;
      }
    }
}

TEST(DeterminantMatrix, HoldsTheElementsBetweenDeterminants) {
  std::mt19937 random(14);
  const OperatorType real = RandomHamiltonian<double>(random, 30),
                     complex = RandomHamiltonian<Complex16>(random, 30), T = RandomTransition<double>(random);
  const WaveFunctionType basis = RandomState<double>(random, 3);
  for (const OperatorType* O : {&real, &complex, &T}) {  // T is not Hermitian: rows and columns differ
    const CompactMatrixType A = OperatorToDeterminantMatrix(*O, basis), fock = FockMatrix(*O);
    EXPECT_EQ(IsComplexMatrix(A), O == &complex);
    ASSERT_EQ(A.Ni, 35u);
    for (std::uint32_t i = 0; i < A.Ni; ++i)
      for (std::uint32_t j = 0; j < A.Nj; ++j) {
        const Complex16 expected = CompactMatrixElement(fock, Occupation(ElementKey(basis, i + 1)),
                                                        Occupation(ElementKey(basis, j + 1)));
        EXPECT_NEAR(Abs(CompactMatrixElement(A, i, j) - expected), 0, 1e-14);
      }
  }
  EXPECT_THROW(static_cast<void>(OperatorToDeterminantMatrix(InitOperator(3, 0), basis)),
               std::invalid_argument);
}

TEST(EnergyWindow, FollowsThePoles) {
  const double unset = CreateSpectraSettings::UnsetEmin;
  const struct {
    double EminPole, EmaxPole, Emin, Emax, Gamma, expectedEmin, expectedEmax, expectedGamma;
  } cases[] = {
      {2, 2, unset, -unset, 0, -0.25, 4.25, 10 * 4.5 / 1000},
      {-2, -2, unset, -unset, 0, -4.25, 0.25, 10 * 4.5 / 1000},
      {0, 0, unset, -unset, 0, -1, 1, 0.02},
      {0, 0, -3, -unset, 0, -3, 1, 0.04},
      {1, 9, unset, -unset, 0, 0, 10, 0.1},
      {1, 9, 2, -unset, 0, 2, 10, 0.08},
      {1, 9, unset, 5, 0.3, 0, 5, 0.3},
      {2, 2, unset, 3, 0, -0.25, 3, 0.0325},
  };
  for (const auto& c : cases) {
    CreateSpectraSettings settings;
    settings.solver.grid.Emin = c.Emin;
    settings.solver.grid.Emax = c.Emax;
    settings.solver.grid.Gamma = c.Gamma;
    const EnergyWindow w = AutomaticEnergyWindow(c.EminPole, c.EmaxPole, settings);
    EXPECT_DOUBLE_EQ(w.Emin, c.expectedEmin);
    EXPECT_DOUBLE_EQ(w.Emax, c.expectedEmax);
    EXPECT_DOUBLE_EQ(w.Gamma, c.expectedGamma);
  }
}

// One particle on orbital 0, moved to orbital 1, which has the energy 2: a single pole.
struct SinglePole {
  OperatorType H = InitOperator(NF, 0), T = InitOperator(NF, 0), nothing = InitOperator(NF, 0);
  WaveFunctionType psi{KeyLayout{NF, 0}};
  SinglePole() {
    for (OperatorType* O : {&H, &T, &nothing}) InitOperatorFixedLength(*O, 2, 4);
    OperatorAddLader(H, {Annihilate(1), Create(1)}, 2);
    OperatorAddLader(T, {Annihilate(0), Create(1)}, 3);
    OperatorAddLader(nothing, {Annihilate(2), Create(1)}, 1);
    const Key key{OrbitalBit(0)};
    RealWaveFunctionAddElement(psi, key.data(), 1);
  }
};

TEST_F(CreateSpectraTest, SinglePoleSetsTheWindowOnBothPaths) {
  const SinglePole system;
  for (const std::uint32_t DenseBorder : {1513u, 0u}) {
    CreateSpectraSettings settings;
    settings.solver.DenseBorder = DenseBorder;
    const auto result = CreateSpectra(system.H, {&system.T}, {&system.psi}, settings);
    const SpectraType& S = result.spectra.spectra.at(0);
    EXPECT_DOUBLE_EQ(S.EminPole, 2);
    EXPECT_DOUBLE_EQ(S.EmaxPole, 2);
    EXPECT_DOUBLE_EQ(S.Emin, -0.25);
    EXPECT_DOUBLE_EQ(S.Emax, 4.25);
    EXPECT_DOUBLE_EQ(S.Gamma, 10 * 4.5 / 1000);
    EXPECT_DOUBLE_EQ(S.FirstB[0], 3);
    EXPECT_NEAR(S.Im[500], -9 / (S.Gamma / 2), 1e-9);  // the pole stands on point 500
  }
}

TEST_F(CreateSpectraTest, TransitionsThatGiveNothing) {
  const SinglePole system;
  const auto alone = CreateSpectra(system.H, {&system.nothing}, {&system.psi}, {});
  EXPECT_EQ(alone.representations.index(), 0u);  // no determinants: the Lanczos path
  const SpectraType& S = alone.spectra.spectra.at(0);
  EXPECT_EQ(S.Emin, -1);
  EXPECT_EQ(S.Emax, 1);
  EXPECT_EQ(*std::min_element(S.Im.begin(), S.Im.end()), 0);
  const auto both = CreateSpectra(system.H, {&system.nothing, &system.T}, {&system.psi}, {});
  EXPECT_EQ(both.representations.index(), 1u);
  EXPECT_EQ(std::get<1>(both.representations).at(0).b, std::vector<double>{0});
  EXPECT_DOUBLE_EQ(std::get<1>(both.representations).at(1).b.at(0), 9);
}

TEST_F(CreateSpectraTest, EmptyWindowIsRefused) {
  const SinglePole system;
  CreateSpectraSettings settings;
  settings.solver.grid.Emin = 100;
  try {
    CreateSpectra(system.H, {&system.T}, {&system.psi}, settings);
    ADD_FAILURE() << "no exception";
  } catch (const std::runtime_error& e) {
    EXPECT_STREQ(e.what(),
                 "CreateSpectra called with an empty energy window, Emin=100.000000 is not below "
                 "Emax=4.250000\n");
  }
}

TEST_F(CreateSpectraTest, ChainsGoToOneFileEach) {
  const SinglePole system;
  CreateSpectraSettings settings;
  settings.solver.DenseBorder = 0;
  settings.solver.NTri = 1;
  settings.file = testing::TempDir() + "fermix_chain.dat";
  CreateSpectra(system.H, {&system.T}, {&system.psi}, settings);
  CreateSpectra(system.H, {&system.T, &system.nothing}, {&system.psi}, settings);
  for (const char* suffix : {"", "_00", "_01"}) {
    const std::string path = settings.file + suffix;
    EXPECT_EQ(std::remove(path.c_str()), 0) << path;
  }
}

}  // namespace
}  // namespace fermix
