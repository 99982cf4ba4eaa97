#include "spectra/spectrum.h"

#include <cmath>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <numbers>

#include "linalg/random_matrix.h"
#include "spectra/spectrum_arithmetic.h"

namespace fermix {
namespace {

constexpr double pi = std::numbers::pi;

SpectraType Grid(double Emin, double Emax, std::uint32_t NE, double Gamma) {
  SpectraType header;
  header.Emin = Emin;
  header.Emax = Emax;
  header.dE = (Emax - Emin) / NE;
  header.Gamma = Gamma;
  return SpectrumAllocate(header, NE);
}

TriDiagonalMatrixType RandomChain(std::uint32_t N) {
  std::mt19937 random(7);
  TriDiagonalMatrixType M = InitTriDiagonalMatrix(N);
  for (double& a : M.a) a = RandomElement<double>(random);
  for (double& b : M.b) b = RandomElement<double>(random);
  return M;
}

TEST(SpectrumFromChain, AgreesWithTheInverseOfTheMatrixAtAPoint) {
  // A 2 x 2 matrix by hand: G = b0^2 (z - a2) / ((z - a1)(z - a2) - b1^2).
  TriDiagonalMatrixType M = InitTriDiagonalMatrix(2);
  M.a = {0.5, 1, 3};
  M.b = {2, 0.25};
  SpectraType S = Grid(0, 4, 8, 3);
  ASSERT_EQ(TriDiagonalMatrixToSpectrum(-1, M, S), 0);
  for (int i = 0; i <= 8; ++i) {
    const Complex16 z(0.5 * i - 1, 1.5);
    const Complex16 G = Complex16(0.5) + Complex16(4) * (z - 3) / ((z - 1) * (z - 3) - Complex16(0.0625));
    EXPECT_NEAR(S.Re[i], G.re, 1e-14);
    EXPECT_NEAR(S.Im[i], G.im, 1e-14);
  }
  EXPECT_EQ(S.TailRe, -4);
  EXPECT_EQ(S.TailIm, 1.5);
  // Five coefficients, filled up with the last level and with 0.
  EXPECT_EQ(S.FirstA, (std::array<double, 5>{1.5, 2, 4, 4, 4}));
  EXPECT_EQ(S.FirstB, (std::array<double, 5>{2, 0.25, 0, 0, 0}));
}

TEST(SpectrumFromChain, AllFormsGiveItsSpectrum) {
  TriDiagonalMatrixType M = InitTriDiagonalMatrix(6);
  M.a = {0.5, 1, 3, -2, 0.25, 1.5, -1};
  M.b = {2, 0.25, 0.5, 1, 0.75, 0.5};
  AndersonMatrixType star;
  BADoubleTriDiagonalMatrixType orbitals;
  ASSERT_EQ(TriDiagonalMatrixToAndersonMatrix(M, star), 0);
  ASSERT_EQ(TriDiagonalMatrixToBADoubleTriDiagonalMatrix(M, orbitals, 0.5), 0);
  for (const double Gamma : {0.5, 0.0}) {
    SpectraType S = Grid(-5, 5, 200, Gamma), fromStar = S, fromOrbitals = S;
    ASSERT_EQ(TriDiagonalMatrixToSpectrum(0.25, M, S), 0);
    ASSERT_EQ(AndersonImpurityMatrixToSpectrum(0.25, star, fromStar), 0);
    ASSERT_EQ(BADoubleTriDiagonalMatrixToSpectrum(0.25, orbitals, fromOrbitals), 0);
    for (const SpectraType& other : {fromStar, fromOrbitals}) {
      for (std::size_t i = 0; i < S.Re.size(); ++i) {
        EXPECT_NEAR(other.Re[i], S.Re[i], 1e-10);
        EXPECT_NEAR(other.Im[i], S.Im[i], 1e-10);
      }
      EXPECT_NEAR(other.TailRe, S.TailRe, 1e-12);
      EXPECT_NEAR(other.TailIm, S.TailIm, 1e-12);
      for (std::size_t k = 0; k < 5; ++k) {
        EXPECT_NEAR(other.FirstA[k], S.FirstA[k], 1e-12);
        EXPECT_NEAR(other.FirstB[k], S.FirstB[k], 1e-12);
      }
    }
  }
}

TEST(SpectrumFromChain, WarnsWhenTheWidthCoversTooFewPoints) {
  const TriDiagonalMatrixType M = RandomChain(2);
  SpectraType narrow = Grid(0, 1, 10, 0.49), wide = Grid(0, 1, 10, 0.51);
  EXPECT_EQ(Printed([&] { ASSERT_EQ(TriDiagonalMatrixToSpectrum(0, M, wide), 0); }), "");
  EXPECT_EQ(
      Printed([&] { ASSERT_EQ(TriDiagonalMatrixToSpectrum(0, M, narrow), 0); }),
      "\n\nNeed more then five points per lorenzian FWHM in order to represent a spectrum accurately\n");
}

TEST(SpectrumSticks, KeepTheWeightAndStandAtTheirOwnEnergies) {
  ListOfPoles P;
  P.a = {-9, 1, 1.3, 4, 7};  // below, on a point, between two, on the last point, above
  P.b = {1, 2, 4, 8, 16};
  P.a0 = 0.125;
  SpectraType S = Grid(0, 4, 8, 0);
  ListOfPolesToSpectrum(100, P, S);  // the energy zero is not used
  const double unit = pi / 0.5;
  const double expected[] = {1, 0, 2 + 0.4 * 4, 0.6 * 4, 0, 0, 0, 0, 24};
  for (int i = 0; i <= 8; ++i) EXPECT_NEAR(S.Im[i], -unit * expected[i], 1e-13) << i;
  EXPECT_NEAR(S.FirstB[0], std::sqrt(31.0), 1e-15);
  for (int k = 0; k <= 8; ++k) {
    double Re = 0.125;  // the principal value sum of the weights at their points
    for (int j = 0; j <= 8; ++j)
      if (j != k) Re += expected[j] / (0.5 * (k - j));
    EXPECT_NEAR(S.Re[k], Re, 1e-12);
  }
  P.a[1] = std::nan("");  // no place outside of the grid is written to
  SpectraType point = Grid(1, 1, 1, 0);
  ListOfPolesToSpectrum(0, P, point);
}

TEST(SpectrumArithmetic, AddsPointByPointAndKeepsBooks) {
  SpectraType A = Grid(0, 2, 2, 0), B = A;
  A.Re = {1, 2, 3};
  A.Im = {0, 1, 0};
  A.EminPole = -1, A.EmaxPole = 1, A.FirstB[0] = 3;
  B.Re = {1, 0, 1};
  B.Im = {2, 2, 2};
  B.EminPole = -2, B.EmaxPole = 0.5, B.FirstB[0] = 2;
  ASSERT_EQ(SafeAddMultipliedSpectra(A, B, 4, -1), 0);
  EXPECT_EQ(A.Re, (std::vector<double>{7, 4, 9}));
  EXPECT_EQ(A.Im, (std::vector<double>{7, 9, 7}));
  EXPECT_EQ(A.EminPole, -2);
  EXPECT_EQ(A.EmaxPole, 1);
  EXPECT_EQ(A.FirstB[0], 5);  // sqrt(9 + 4 * 4)

  SpectraScalarMultiply(A, 3, 4);
  EXPECT_EQ(A.Re[0], 3 * 7 - 4 * 7);
  EXPECT_EQ(A.Im[0], 3 * 7 + 4 * 7);
  EXPECT_DOUBLE_EQ(A.FirstB[0], 5 * std::sqrt(5.0));
}

TEST(SpectrumArithmetic, OtherGridsAreRefusedWithTheirNumbers) {
  SpectraType A = Grid(0, 2, 2, 0.5), B = Grid(0, 2, 4, 0.5), C = Grid(-1, 3, 2, 0.25);
  EXPECT_EQ(Printed([&] {
              EXPECT_EQ(AddMultipliedSpectra(A, B, 1, 0), 1);
              EXPECT_EQ(SafeAddMultipliedSpectra(A, C, 1, 0), 1);
              EXPECT_EQ(AddMultipliedSpectra(A, C, 1, 0), 0);
            }),
            "Mix Spectra failed A.N=2 B.N=4\n"
            "Still to do: SafeAddMultipliedSpectra\n"
            "A.N=2 B.N=2\n"
            "A.Emin= 0.000000000000000E+00 B.Emin=-1.000000000000000E+00\n"
            "A.Emax= 0.000000000000000E+00 B.Emax= 3.000000000000000E+00\n"
            "Warning in Mix Spectra A.Emin=0.000000 B.Emin=-1.000000\n"
            "Warning in Mix Spectra A.Emax=2.000000 B.Emax=3.000000\n"
            "Warning in Mix Spectra A.Gamma=0.500000 B.Gamma=0.250000\n");
}

TEST(SpectrumGrid, ShiftMovesTheCoefficientsToo) {
  SpectraType S = Grid(0, 2, 2, 0.1);
  SpectraShift(S, 5);
  EXPECT_EQ(S.FirstA, (std::array<double, 5>{5, 5, 5, 5, 5}));
  EXPECT_EQ(S.TailIm, 5);
}

TEST(SpectrumGrid, RemovePointsCutsBothEnds) {
  SpectraType S = Grid(0, 4, 4, 0);
  S.Re = {0, 1, 2, 3, 4};
  for (const auto& [first, last] : {std::pair(-1, 0), {0, -1}, {2, 2}, {4, 0}, {2147483647, 2147483647}})
    EXPECT_EQ(RemovePointsSpectra(S, first, last), 1);
  ASSERT_EQ(RemovePointsSpectra(S, 1, 2), 0);
  EXPECT_EQ(S.Re, (std::vector<double>{1, 2}));
  EXPECT_EQ(S.Im.size(), 2u);
  EXPECT_EQ(S.Emin, 1);
  EXPECT_EQ(S.Emax, 2);
}

TEST(SpectrumText, ColumnTitlesKeepTheirWidthAndEndAtTenThousand) {
  const std::string text = StringPrintSpectra(std::vector<SpectraType>(10002));
  const std::size_t begin = text.find("Energy");
  const std::string titles = text.substr(begin, text.find('\n', begin) - begin);
  EXPECT_EQ(titles.size(), 19u + 46u * 10000);
  EXPECT_NE(titles.find("  Re[9999]               Im[9999]             "), std::string::npos);
  EXPECT_EQ(titles.find("10000"), std::string::npos);
  EXPECT_EQ(text.size() - text.rfind("\n", text.size() - 2) - 2, 19u + 46u * 10002);
}

TEST(SpectrumText, FilesAreWrittenOrAppended) {
  const std::string path = testing::TempDir() + "fermix_spectrum_text.dat";
  const std::vector<SpectraType> S(1);
  ASSERT_EQ(FilePrintSpectra(S, path.c_str(), "w"), 0);
  ASSERT_EQ(FilePrintSpectra(S, path.c_str(), "a"), 0);
  std::ifstream file(path);
  const std::string read{std::istreambuf_iterator<char>(file), {}};
  std::remove(path.c_str());
  EXPECT_EQ(read, StringPrintSpectra(S) + StringPrintSpectra(S));
  EXPECT_EQ(Printed([&] { EXPECT_EQ(FilePrintSpectra(S, path.c_str(), "r"), 1); }),
            "ERROR in FilePrintSpectra.\nmode must be either \"w\" for overwrite or \"a\" for append\n r as "
            "input is not excepted\n");
}

}  // namespace
}  // namespace fermix
