#include "core/wave_function.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdlib>

#include "core/space_check.h"
#include "host/base/status.h"

namespace fermix {

namespace {

constexpr const char* AddElementFailed = "alloc failed RealWaveFunctionAddElement 04\n";

template <class T>
void AddElement(WaveFunctionType& psi, const KeyWord* key, T value) {
  OrSay(AddElementFailed, [&] {
    DeterminantBasis& basis = OwnBasis(psi);
    auto& values = std::get<BlockedArray<T>>(psi.values);
    values.reserveOne();  // so that nothing can fail once the key is in
    const std::uint32_t number = BasisAdd(basis, key);
    if (number == values.size) *values.append() = T{};
    values[number] += value;
  });
}

// rand() on a range around zero.
double RandomValue() { return static_cast<std::int32_t>(std::rand() - 0x3fffffff); }

// The angle of the (re, im) plane in which a state's weight is real, as (s, c) up to scale.
struct Rotation {
  double s, c;
};
Rotation RotationToReal(double A, double B, double C) {
  constexpr double small = 1.4901161193847656e-8;  // root of the double epsilon
  const double d = std::fabs(A - B), length = d + std::sqrt(d * d + 4 * C * C);
  if (A > B) return std::fabs(C) < d * small ? Rotation{0, 1} : Rotation{-2 * C, length};
  return std::fabs(C) <= d * small ? Rotation{1, 0} : Rotation{length, -2 * C};
}

}  // namespace

WaveFunctionType::WaveFunctionType(KeyLayout layout, bool complex, std::uint32_t NBitsKey)
    : basis(OrSay("calloc failed in WaveFunctionInit 00\n",
                  [&] { return std::make_shared<DeterminantBasis>(layout, NBitsKey); })) {
  OrSay("malloc failed in WaveFunctionInit 05\n", [&] {
    if (complex) {
      values = BlockedArray<Complex16>(1);
    } else {
      values = BlockedArray<double>(1);
    }
  });
}

Complex16 ElementValue(const WaveFunctionType& psi, std::uint32_t i) {
  return std::visit([i](const auto& values) { return Complex16(values[i]); }, psi.values);
}

DeterminantBasis& OwnBasis(WaveFunctionType& psi) {
  if (psi.basis.use_count() > 1) psi.basis = std::make_shared<DeterminantBasis>(*psi.basis);
  return *psi.basis;
}

WaveFunctionType WaveFunctionInitCopyBasis(const WaveFunctionType& Source) {
  return OrSay("alloc failed WaveFunctionInitCopyBasis 01 Re\n", [&] {
    WaveFunctionType psi(Source);  // shares the basis
    std::visit([](auto& values) { values.fill({}); }, psi.values);
    return psi;
  });
}

void RealWaveFunctionAddElement(WaveFunctionType& psi, const KeyWord* key, double value) {
  AddElement<double>(psi, key, value);
}

void ComplexWaveFunctionAddElement(WaveFunctionType& psi, const KeyWord* key, Complex16 value) {
  AddElement<Complex16>(psi, key, value);
}

void WaveFunctionAddElement(WaveFunctionType& psi, const KeyWord* key, Complex16 value) {
  if (QComplex(psi)) return AddElement<Complex16>(psi, key, value);
  AddElement<double>(psi, key, value.re);
}

void WaveFunctionRandomize(WaveFunctionType& psi) {
  std::visit(
      [](auto& values) {
        // The last block first, then the earlier ones, each from its first entry.
        const std::size_t last = values.usedBlocks() - 1;
        for (std::size_t k = 0; k <= last; ++k) {
          const std::size_t b = k == 0 ? last : k - 1;
          for (std::size_t i = 0; i < values.elementsIn(b); ++i) {
            auto& value = values.blocks[b][i];
            if constexpr (IsComplex<std::decay_t<decltype(value)>>) {
              value.re = RandomValue();
              value.im = RandomValue();
            } else {
              value = RandomValue();
            }
          }
        }
        values[0] = {};
      },
      psi.values);
  WaveFunctionNormalize(psi);
}

int WaveFunctionChangeNFandNB(WaveFunctionType& psi, std::uint32_t NFermionNew, std::uint32_t NBosonNew) {
  const KeyLayout old = Layout(psi), layout{NFermionNew, NBosonNew};
  if (old == layout) return 0;
  if (std::uint64_t{NFermionNew} + NBosonNew > 65536)
    return Fail("Error in WaveFunctionChangeNFandNB NFnew (%i) + NBnew (%i) larger than 65536 (%i)\n",
                NFermionNew, NBosonNew, NFermionNew + NBosonNew);
  WaveFunctionType changed;
  Key key;
  OrSay("Error WaveFunctionInit failed in WaveFunctionChangeNFandNB\n", [&] {
    changed = WaveFunctionType(layout, QComplex(psi), psi.basis->NBitsKey);
    changed.Name = psi.Name;
    key.resize(KeyWords(layout));
  });
  const char* addFailed = QComplex(psi)
                              ? "Error ComplexWaveFunctionAddElement failed in WaveFunctionChangeNFandNB\n"
                              : "Error RealWaveFunctionAddElement failed in WaveFunctionChangeNFandNB\n";
  const std::uint32_t common = std::min(old.NFermion, NFermionNew), bytes = NFermionBytes(NFermionNew);
  for (std::uint32_t i = 1; i <= ElementCount(psi); ++i) {
    const KeyWord* from = ElementKey(psi, i);
    std::fill(key.begin(), key.end(), 0);
    for (std::uint32_t b = 0; b < NFermionBytes(common); ++b) {
      const std::uint32_t kept = std::min(8u, common - 8 * b);
      SetKeyByte(key.data(), b, KeyByte(from, b) & static_cast<std::uint8_t>(0xff00 >> kept));
    }
    // Modes are taken from where they would stand under the new number of fermion bytes: they survive as they
    // are when that number does not change.
    for (std::uint32_t b = bytes; b < NWord(layout); ++b)
      if (b < NWord(old)) SetKeyByte(key.data(), b, KeyByte(from, b));
    OrSay(addFailed, [&] { WaveFunctionAddElement(changed, key.data(), ElementValue(psi, i)); });
  }
  psi = std::move(changed);
  return 0;
}

void MakeComplexWaveFunctionFromReal(WaveFunctionType& psi) {
  const auto* real = std::get_if<BlockedArray<double>>(&psi.values);
  if (!real) return;
  BlockedArray<Complex16> values = OrSay("could not allocate memory in MakeComplexWaveFunctionFromReal 00\n",
                                         [&] { return BlockedArray<Complex16>(real->size); });
  for (std::size_t i = 0; i < real->size; ++i) values[i].re = (*real)[i];
  psi.values = std::move(values);
}

void DropImaginaryParts(WaveFunctionType& psi) {
  const auto* values = std::get_if<BlockedArray<Complex16>>(&psi.values);
  if (!values) return;
  BlockedArray<double> real(values->size);
  for (std::size_t i = 1; i < values->size; ++i) real[i] = (*values)[i].re;
  psi.values = std::move(real);
}

void MakeComplexFunctionRealWhenNormSmall(WaveFunctionType& psi, double epsilon) {
  const auto* values = std::get_if<BlockedArray<Complex16>>(&psi.values);
  if (!values) return;
  double sum = 0;
  for (std::size_t i = 1; i < values->size; ++i) sum += (*values)[i].im * (*values)[i].im;
  if (std::sqrt(sum) < epsilon) DropImaginaryParts(psi);
}

void MakeRealWaveFunctionFromComplexAccordingToNorm(WaveFunctionType& psi) {
  const auto* values = std::get_if<BlockedArray<Complex16>>(&psi.values);
  if (!values) return;
  double A = 0, B = 0, C = 0;
  for (std::size_t i = 1; i < values->size; ++i) {
    const Complex16 z = (*values)[i];
    A += z.re * z.re;
    B += z.im * z.im;
    C += z.re * z.im;
  }
  const auto [s, c] = RotationToReal(A, B, C);
  BlockedArray<double> real(values->size);
  for (std::size_t i = 1; i < values->size; ++i) real[i] = c * (*values)[i].re - s * (*values)[i].im;
  psi.values = std::move(real);
  WaveFunctionNormalize(psi);
}

std::size_t OwnedBytes(const WaveFunctionType& psi) {
  return OwnedBytes(*psi.basis) +
         std::visit([](const auto& values) { return values.capacity() * sizeof(values[0]); }, psi.values);
}

}  // namespace fermix
