#include "atomic/harmonic_oscillator.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "atomic/one_particle_terms.h"
#include "core/basis_rotation.h"
#include "core/operator_algebra.h"

namespace fermix {

namespace {

constexpr double PiSqr = 9.869604401089358;

std::uint16_t Dn(int n) { return static_cast<std::uint16_t>(2 * n); }
std::uint16_t Up(int n) { return static_cast<std::uint16_t>(2 * n + 1); }

OperatorType InitOscillator(const char* name, int functions, int nmax, std::uint32_t ladders) {
  constexpr double MostBits = 24;
  OperatorType O = InitOperator(2 * static_cast<std::uint32_t>(functions), 0);
  O.Name = name;
  const double bits = std::floor(3 * std::log2(nmax));
  InitOperatorFixedLength(O, ladders, static_cast<std::uint32_t>(std::min(bits, MostBits)));
  return O;
}

// Both spins; i and j count spatial functions from 0.
void AddSymmetric(OperatorType& O, int i, int j, double value) {
  AddHop(O, Dn(i), Dn(j), value);
  AddHop(O, Up(i), Up(j), value);
  if (i == j) return;
  AddHop(O, Dn(j), Dn(i), value);
  AddHop(O, Up(j), Up(i), value);
}

// value c+(n1 up) c+(n2 dn) c(n3 dn) c(n4 up)
void AddContact(OperatorType& O, int n1, int n2, int n3, int n4, double value) {
  const LadderIndex lader[] = {Annihilate(Up(n4)), Annihilate(Dn(n3)), Create(Dn(n2)), Create(Up(n1))};
  OperatorAddLaderNormalOrder(O, lader, 4, value, 0, QDetNotOrderedFcFaBcBa);
}

// 2a times the integral of four standing waves, n = 1, 2, ..: products of two sines are differences of
// cosines, and cosines of frequency p and q overlap by (p = q) + (p = -q) halves of a.
int WaveOverlap(int n1, int n2, int n3, int n4) {
  const auto cosines = [](int p, int q) { return (p == q) + (p == -q); };
  return cosines(n1 - n2, n3 - n4) - cosines(n1 - n2, n3 + n4) - cosines(n1 + n2, n3 - n4) +
         cosines(n1 + n2, n3 + n4);
}

}  // namespace

OperatorType CreateOperatorHarmonicOscillatorOnStandingWaves(double a, int nmax) {
  OperatorType O = InitOscillator("Harmonic Oscillator Kin+Pot", nmax, nmax, 2);
  for (int i = 1; i <= nmax; ++i) {
    const double n = i, n2Pi2 = n * n * PiSqr;
    AddSymmetric(O, i - 1, i - 1, n2Pi2 / (2 * a * a) + a * a / 24 * (1 - 6 / n2Pi2));
    for (int j = i + 2; j <= nmax; j += 2) {
      const double m = j, sum = m + n, difference = n - m;
      const double value = 4 * a * a * n * m / (sum * sum * difference * difference * PiSqr);
      AddSymmetric(O, i - 1, j - 1, value);
    }
  }
  return O;
}

OperatorType CreateOperatorHarmonicOscillatorOnStandingWavesPointInteraction(double a, int nmax) {
  OperatorType O = InitOscillator("Harmonic Oscillator Point-Contact", nmax, nmax, 4);
  for (int n1 = 1; n1 <= nmax; ++n1)
    for (int n2 = 1; n2 <= nmax; ++n2)
      for (int n3 = 1; n3 <= nmax; ++n3) {
        std::array<int, 4> candidates = {n1 + n2 + n3, std::abs(n1 + n2 - n3), std::abs(n1 - n2 + n3),
                                         std::abs(n1 - n2 - n3)};
        std::sort(candidates.begin(), candidates.end());
        const auto end = std::unique(candidates.begin(), candidates.end());
        for (auto n4 = candidates.begin(); n4 != end; ++n4) {
          if (*n4 < 1 || *n4 > nmax) continue;
          const int overlap = WaveOverlap(n1, n2, n3, *n4);
          if (overlap != 0) AddContact(O, n1 - 1, n2 - 1, n3 - 1, *n4 - 1, overlap / (2 * a));
        }
      }
  return O;
}

OperatorType CreateOperatorHarmonicOscillatorOnGrid(double a, int nmax) {
  const int points = 2 * nmax - 1;
  const double h = a / nmax;
  OperatorType O = InitOscillator("Harmonic Oscillator Kin+Pot", points, nmax, 2);
  for (int k = 0; k < points; ++k) {
    const double x = (k - nmax + 1) * h;
    AddSymmetric(O, k, k, x * x / 2 + 1 / (h * h));
    if (k + 1 < points) AddSymmetric(O, k, k + 1, -1 / (2 * h * h));
  }
  return O;
}

OperatorType CreateOperatorHarmonicOscillatorOnGridInteraction(double a, int nmax) {
  const int points = 2 * nmax - 1;
  OperatorType O = InitOscillator("Harmonic Oscillator Point Contact Interaction", points, nmax, 4);
  for (int k = 0; k < points; ++k) AddContact(O, k, k, k, k, nmax / a);
  return O;
}

OperatorType CreateOperatorOnBasis(const OperatorType& O, const CompactMatrixType& M) {
  const std::uint32_t NF = O.layout.NFermion;
  OperatorType result = InitOperatorCopySettings(O);
  if (M.Ni == NF) {
    MappedOperatorAddNormalOrder(result, O, M, QDetNotOrderedFcFaBcBa);
    return result;
  }
  CompactMatrixType withSpin = InitCompactMatrix(NF, NF, IsComplexMatrix(M));
  std::visit(
      [&](auto& large) {
        using T = typename std::decay_t<decltype(large)>::value_type;
        const auto& small = std::get<std::vector<T>>(M.Data);
        for (std::size_t i = 0; i < M.Ni; ++i)
          for (std::size_t j = 0; j < M.Nj; ++j)
            for (std::size_t s : {0, 1}) large[(2 * i + s) * NF + 2 * j + s] = small[i * M.Nj + j];
      },
      withSpin.Data);
  MappedOperatorAddNormalOrder(result, O, withSpin, QDetNotOrderedFcFaBcBa);
  return result;
}

}  // namespace fermix
