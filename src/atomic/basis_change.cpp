#include "atomic/basis_change.h"

#include <cassert>
#include <cmath>
#include <stdexcept>

#include "atomic/harmonics.h"
#include "host/base/status.h"
#include "linalg/matrix_shape.h"

namespace fermix {

namespace {

// Adding 0 makes a negative zero positive, which a text would show.
void SetElement(CompactMatrixType& m, std::uint32_t i, std::uint32_t j, Complex16 z) {
  std::visit(
      [&](auto& data) { data[std::size_t{i} * m.Nj + j] = ToKind<std::decay_t<decltype(data[0])>>(z + 0); },
      m.Data);
}

bool QShell(int multiplicity) { return multiplicity > 0 && multiplicity % 4 == 2; }

// The form of a multiplicity that messages give.
constexpr const char *orbitalForm = "(2*l+1)", *spinForm = "2*(2*l+1)";

bool QDefined(const char* matrix, const char* form, int multiplicity) {
  if (QShell(multiplicity)) return true;
  Say("%s only defined for multiplicity %s, with integer l, not for multiplicity %d!\n", matrix, form,
      multiplicity);
  return false;
}

// f is the largest shell with a cubic basis here.
bool QCubicDefined(const char* matrix, int multiplicity) {
  constexpr int f = 14;
  if (!QDefined(matrix, orbitalForm, multiplicity)) return false;
  if (multiplicity <= f) return true;
  Say("%s not yet implemented for an atomic shell of multiplicity %d, sorry!\n", matrix, multiplicity);
  return false;
}

CompactMatrixType Spinless(int multiplicity, bool complex) {
  const auto size = static_cast<std::uint32_t>(multiplicity / 2);
  return InitCompactMatrix(size, size, complex);
}

CompactMatrixType Finish(CompactMatrixType m, bool addSpin) { return addSpin ? MatrixEnlarge(m, 2) : m; }

// Z(m) = sum over +-m of phase Y / sqrt(2), for m > 0 the cosine, for m < 0 the sine; the phase of the
// spherical harmonic with -|m|, and that of +|m|.
struct TesseralPhases {
  Complex16 ofMinus, ofPlus;
};
TesseralPhases PhasesOfZ(int m) {
  const double sign = m % 2 == 0 ? 1 : -1;
  if (m > 0) return {1, sign};
  return {{0, 1}, {0, -sign}};
}

}  // namespace

CompactMatrixType YToZMatrix(int multiplicity, bool addSpin) {
  constexpr double c = 0.7071067811865476;
  if (!QDefined("YToZMatrix", orbitalForm, multiplicity)) return {};
  CompactMatrixType M = Spinless(multiplicity, true);
  const int l = (multiplicity - 2) / 4;
  SetElement(M, l, l, 1);
  for (int k = 1; k <= l; ++k)
    for (int m : {k, -k}) {
      const TesseralPhases phase = PhasesOfZ(m);
      SetElement(M, l + m, l - k, c * phase.ofMinus);
      SetElement(M, l + m, l + k, c * phase.ofPlus);
    }
  return Finish(std::move(M), addSpin);
}

CompactMatrixType ZToKMatrix(int multiplicity, bool addSpin) {
  if (!QCubicDefined("ZToKMatrix", multiplicity)) return {};
  CompactMatrixType M = Spinless(multiplicity, false);
  const int l = (multiplicity - 2) / 4;
  for (int i = -l; i <= l; ++i)
    for (const CubicTerm& t : CubicHarmonicTerms(l, i))
      SetElement(M, l + i, l + t.m, std::copysign(std::sqrt(std::fabs(t.square)), t.square));
  return Finish(std::move(M), addSpin);
}

CompactMatrixType YToKMatrix(int multiplicity, bool addSpin) {
  // The square root of a half as scripts know it here: an ulp below the nearest number.
  constexpr double c = 0.7071067811865475;
  if (!QCubicDefined("YToKMatrix", multiplicity)) return {};
  CompactMatrixType M = Spinless(multiplicity, true);
  const int l = (multiplicity - 2) / 4;
  for (int i = -l; i <= l; ++i)
    for (const CubicTerm& t : CubicHarmonicTerms(l, i)) {
      const double square = std::fabs(t.square), sign = t.square < 0 ? -1 : 1;
      if (t.m == 0) {
        SetElement(M, l + i, l, sign * std::sqrt(square));
        continue;
      }
      // A cosine and a sine of one |m| never meet in a row, so that nothing has to be added.
      const double weight = sign * (square == 1 ? c : std::sqrt(square / 2));
      const TesseralPhases phase = PhasesOfZ(t.m);
      SetElement(M, l + i, l - std::abs(t.m), weight * phase.ofMinus);
      SetElement(M, l + i, l + std::abs(t.m), weight * phase.ofPlus);
    }
  return Finish(std::move(M), addSpin);
}

// The coupling coefficients of l and 1/2, in this order: with t = mj / (l + 1/2),
//
//     |l - 1/2, mj> = -sqrt((1 - t)/2) |mj - 1/2, up> + sqrt((1 + t)/2) |mj + 1/2, dn>
//     |l + 1/2, mj> =  sqrt((1 + t)/2) |mj - 1/2, up> + sqrt((1 - t)/2) |mj + 1/2, dn>
//
// Source: Condon and Shortley, The Theory of Atomic Spectra, table 1^3.
CompactMatrixType YToJJzMatrix(int multiplicity, bool addSpin) {
  if (!addSpin)
    Say("YToJJzMatrix called with addSpin = false. Since spin is obligatory this request will be ignored.\n");
  if (!QDefined("YToJJzMatrix", spinForm, multiplicity)) return {};
  const auto size = static_cast<std::uint32_t>(multiplicity);
  CompactMatrixType M = InitCompactMatrix(size, size, false);
  const int l = (multiplicity - 2) / 4;
  // Row of a state, its 2 mj, and the coefficients; (mj - 1/2, up) stands at 2l + 2mj, (mj + 1/2, dn) behind.
  const auto put = [&](int row, int twoMj, double ofUp, double ofDown) {
    const int up = 2 * l + twoMj;
    if (up >= 0) SetElement(M, row, up, ofUp);
    if (up + 1 < multiplicity) SetElement(M, row, up + 1, ofDown);
  };
  const auto root = [l](int twoMj) { return std::sqrt((1 + twoMj / (2.0 * l + 1)) / 2); };
  int row = 0;
  for (int twoMj = 1 - 2 * l; twoMj < 2 * l; twoMj += 2) put(row++, twoMj, -root(-twoMj), root(twoMj));
  for (int twoMj = -2 * l - 1; twoMj <= 2 * l + 1; twoMj += 2) put(row++, twoMj, root(twoMj), root(-twoMj));
  return M;
}

CompactMatrixType LargeRotationMatrix(const std::vector<int>& multiplicities, ShellMatrix matrix,
                                      bool addSpin) {
  double all = 0;
  for (const int multiplicity : multiplicities) all += std::max(multiplicity, 0);
  std::vector<CompactMatrixType> blocks;
  for (const int multiplicity : multiplicities) {
    // No operator has so many orbitals; refused before the blocks of a long list fill the memory.
    if (all > 32768 && !blocks.empty())
      throw std::length_error("Error: a basis of more than 32768 orbitals.\n");
    blocks.push_back(matrix(multiplicity, addSpin));
    if (blocks.back().Ni == 0) return {};
  }
  return BlockDiagonalMatrix(blocks);
}

CompactMatrixType BlockDiagonalMatrix(const std::vector<CompactMatrixType>& blocks) {
  std::uint64_t rows = 0, columns = 0;
  bool complex = false;
  for (const auto& block : blocks) {
    rows += block.Ni;
    columns += block.Nj;
    complex |= IsComplexMatrix(block);
  }
  if (std::max(rows, columns) > UINT32_MAX) throw std::bad_alloc();
  CompactMatrixType result =
      InitCompactMatrix(static_cast<std::uint32_t>(rows), static_cast<std::uint32_t>(columns), complex);
  std::uint32_t i = 0, j = 0;
  for (const auto& block : blocks) {
    const int status = CompactMatrixAddShifted(result, block, 1, i, j);
    assert(status == 0);
    static_cast<void>(status);
    i += block.Ni;
    j += block.Nj;
  }
  return result;
}

}  // namespace fermix
