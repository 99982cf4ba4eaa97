#include "core/operator.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

#include "core/operator_algebra.h"
#include "core/space_check.h"
#include "host/base/status.h"

namespace fermix {

namespace {

// Room that a table starts with, and the length of a chain's slot list for a number of bits.
std::size_t SlotsForBits(std::uint32_t NBitsKey) { return std::size_t{1} << (NBitsKey % 32); }

// The number of the string in the table plus 1, 0 if it is not there. Only strings that stand where their
// hash says are found: after OperatorChangeNFandNB shifted ones are not.
std::uint32_t FindString(const OperatorFixedLengthType& t, const LadderIndex* lader, std::uint32_t length,
                         std::uint32_t full) {
  const std::size_t bytes = sizeof(LadderIndex) * length;
  for (std::uint32_t n = t.KeyList[full & (t.KeyList.size() - 1)]; n; n = t.Next[n - 1])
    if (t.Hash[n - 1] == full && !std::memcmp(&t.o[std::size_t{n - 1} * length], lader, bytes)) return n;
  return 0;
}

// Enters string n (from 0) at the head of its slot.
void Link(OperatorFixedLengthType& t, std::uint32_t n) {
  std::uint32_t& slot = t.KeyList[t.Hash[n] & (t.KeyList.size() - 1)];
  t.Next[n] = slot;
  slot = n + 1;
}

// Builds the chains anew over size slots, a power of two. Does not throw if the slots are there already.
void Relink(OperatorFixedLengthType& t, std::size_t size) {
  t.KeyList.assign(size, 0);
  for (std::uint32_t n = 0; n < TermCount(t); ++n) Link(t, n);
}

template <class T>
void AddTerm(OperatorFixedLengthType& t, const LadderIndex* lader, std::uint32_t length, T value) {
  auto& values = std::get<std::vector<T>>(t.values);
  if (length == 0) {
    if (values.empty()) {
      values.reserve(1), t.Hash.reserve(1);
      values.push_back(T{}), t.Hash.push_back(0);
    }
    values[0] += value;
    return;
  }
  const std::uint32_t full = hash(lader, sizeof(LadderIndex) * std::uint64_t{length}, 31);
  if (const std::uint32_t n = FindString(t, lader, length, full)) {
    values[n - 1] += value;
    return;
  }
  // All memory first, then changes that can't fail.
  const std::size_t N = TermCount(t) + std::size_t{1};
  if (N > values.capacity() || N > t.Hash.capacity() || N > t.Next.capacity() ||
      N * length > t.o.capacity()) {
    const std::size_t room = std::max<std::size_t>(8, 2 * N);
    values.reserve(room), t.Hash.reserve(room), t.Next.reserve(room), t.o.reserve(room * length);
  }
  if (N > 2 * t.KeyList.size()) Relink(t, std::bit_ceil(4 * N));
  t.o.insert(t.o.end(), lader, lader + length);
  values.push_back(value);
  t.Hash.push_back(full);
  t.Next.push_back(0);
  Link(t, TermCount(t) - 1);
}

void ShrinkTable(OperatorFixedLengthType& t) {
  t.o.shrink_to_fit();
  t.Hash.shrink_to_fit();
  t.Next.shrink_to_fit();
  std::visit([](auto& values) { values.shrink_to_fit(); }, t.values);
}

// Keeps the terms n for which keep(n) is true, in place, under the hashes that they have.
template <class Keep>
void KeepTerms(OperatorFixedLengthType& t, std::uint32_t length, Keep&& keep) {
  std::visit(
      [&](auto& values) {
        std::uint32_t kept = 0;
        for (std::uint32_t n = 0; n < TermCount(t); ++n) {
          if (!keep(values[n])) continue;
          std::copy_n(&t.o[0] + std::size_t{n} * length, length, &t.o[0] + std::size_t{kept} * length);
          values[kept] = values[n];
          t.Hash[kept++] = t.Hash[n];
        }
        values.resize(kept);
        t.Hash.resize(kept);
        t.Next.resize(kept);
        t.o.resize(std::size_t{kept} * length);
      },
      t.values);
  if (length) Relink(t, t.KeyList.size());
}

// A complex table without an imaginary part above epsilon becomes real.
void MakeRealIfSmall(OperatorFixedLengthType& t, bool imaginary) {
  if (imaginary || !QComplexTable(t)) return;
  const auto& values = std::get<std::vector<Complex16>>(t.values);
  const bool fits = FitsInMemory([&] {
    std::vector<double> real;
    real.reserve(values.size());
    for (const Complex16 z : values) real.push_back(z.re);
    t.values = std::move(real);
  });
  if (!fits)
    Say("allocating memory for real part of operator failed. Continue with complex operator with Im entries "
        "that "
        "are zero.\n");
}

void RemoveSmallConstant(OperatorFixedLengthType& t, double epsilon) {
  if (TermCount(t) == 0) return;
  const Complex16 z = TermValue(t, 0);
  const bool small = std::fabs(z.re) < epsilon;
  if (QComplexTable(t) && !(std::fabs(z.im) < epsilon)) return;
  if (small) {
    t = OperatorFixedLengthType{};
  } else if (QComplexTable(t)) {
    t.values = std::vector<double>{z.re};
  }
}

// Restrictions on a changed space: masks keep the orbitals and modes that remain.
void RebuildRestrictions(DeterminantRestrictionType& R, KeyLayout layout) {
  if (R.Masks.empty()) return;
  DeterminantRestrictionType rebuilt;
  rebuilt.layout = layout;
  for (std::uint32_t r = 0; r < NRestrictions(R); ++r) {
    Key mask(KeyWords(layout));
    for (std::uint32_t i = 0; i < std::min(layout.NFermion, R.layout.NFermion); ++i)
      if (QOccupied(R.Masks[r].data(), i)) mask[i / 64] |= OrbitalBit(i);
    bool counts = std::any_of(mask.begin(), mask.end(), [](KeyWord w) { return w != 0; });
    for (std::uint32_t k = 0; k < std::min(layout.NBoson, R.layout.NBoson); ++k) {
      const std::uint8_t byte = KeyByte(R.Masks[r].data(), NFermionBytes(R.layout.NFermion) + k);
      SetKeyByte(mask.data(), NFermionBytes(layout.NFermion) + k, byte);
      counts |= byte != 0;
    }
    if (!counts) continue;  // nothing that it counted is left
    rebuilt.Masks.push_back(std::move(mask));
    rebuilt.MinOccupation.push_back(R.MinOccupation[r]);
    rebuilt.MaxOccupation.push_back(R.MaxOccupation[r]);
  }
  R = std::move(rebuilt);
}

bool QWithoutTerms(const OperatorType& O) {
  return std::all_of(O.l.begin(), O.l.end(), [](const auto& t) { return TermCount(t) == 0; });
}

}  // namespace

Complex16 TermValue(const OperatorFixedLengthType& t, std::uint32_t i) {
  return std::visit([i](const auto& values) { return Complex16(values[i]); }, t.values);
}

std::uint32_t QComplex(const OperatorType& O) {
  std::uint32_t tables = 0, complex = 0;
  for (const OperatorFixedLengthType& t : O.l) {
    if (TermCount(t) == 0) continue;
    ++tables;
    complex += QComplexTable(t);
  }
  return complex == 0 ? 0 : complex == tables ? 1 : 2;
}

OperatorType InitOperator(std::uint32_t NFermion, std::uint32_t NBoson) {
  OperatorType O;
  O.layout = {NFermion, NBoson};
  return O;
}

OperatorType InitOperatorCopySettings(const OperatorType& Source) {
  return OrSay("could not Initiallize Operator in InitOperatorCopySettings\n", [&] {
    OperatorType O;
    O.Name = Source.Name;
    O.layout = Source.layout;
    O.Restrictions = Source.Restrictions;
    for (std::uint32_t length = 1; length <= MaxLength(Source); ++length)
      InitOperatorFixedLength(O, length, Source.l[length].NBitsKey);
    return O;
  });
}

OperatorType InitOperatorForMult(const OperatorType& A, const OperatorType& B) {
  OperatorType O = InitOperator(A.layout.NFermion, A.layout.NBoson);
  for (std::uint32_t length = 1; length <= MaxLength(A) + MaxLength(B); ++length)
    InitOperatorFixedLength(O, length, 8);
  return O;
}

void InitOperatorFixedLength(OperatorType& O, std::uint32_t length, std::uint32_t NBitsKey) {
  if (length == 0) return;
  OrSay("could not allocate memory for OperatorFixedLengthType in InitOperatorFixedLength\n", [&] {
    OperatorFixedLengthType table;
    table.NBitsKey = NBitsKey;
    // A setting is no reason to take memory: large indices grow with their terms.
    table.KeyList.resize(std::min(SlotsForBits(NBitsKey), std::size_t{1} << 10));
    O.l.reserve(std::size_t{length} + 1);
    while (O.l.size() <= length) {
      OperatorFixedLengthType between;
      between.KeyList.resize(1);
      O.l.push_back(std::move(between));
    }
    O.l[length] = std::move(table);
  });
}

void RealOperatorAddLader(OperatorType& O, const LadderIndex* lader, std::uint32_t length, double value) {
  OrSay("alloc failed OperatorAddLader 01\n", [&] { AddTerm<double>(O.l[length], lader, length, value); });
}

void ComplexOperatorAddLader(OperatorType& O, const LadderIndex* lader, std::uint32_t length,
                             Complex16 value) {
  OrSay("alloc failed OperatorAddLader 01\n", [&] {
    OperatorFixedLengthType& t = O.l[length];
    if (TermCount(t) == 0 && !QComplexTable(t)) t.values = std::vector<Complex16>();
    AddTerm<Complex16>(t, lader, length, value);
  });
}

void OperatorAddLader(OperatorType& O, const LadderIndex* lader, std::uint32_t length, double re, double im) {
  if (length > MaxLength(O)) InitOperatorFixedLength(O, length, 8);
  if (!QComplexTable(O.l[length])) {
    if (std::fabs(im) < NumericalZero) return RealOperatorAddLader(O, lader, length, re);
    static_cast<void>(MakeRealOperatorFixedLengthComplex(O, length));
  }
  ComplexOperatorAddLader(O, lader, length, {re, im});
}

int MakeRealOperatorFixedLengthComplex(OperatorType& O, std::uint32_t length) {
  if (length > MaxLength(O)) {
    Say("Warning in MakeRealOperatorFixedLengthComplex:\n"
        "Tried to make a real operator of length %i complex, but Maxlength is %i\n",
        static_cast<int>(length), static_cast<int>(MaxLength(O)));
    return 2;
  }
  OperatorFixedLengthType& t = O.l[length];
  if (QComplexTable(t) || TermCount(t) == 0) return 0;
  std::vector<Complex16> values;
  try {
    const auto& real = std::get<std::vector<double>>(t.values);
    values.reserve(real.capacity());
    values.assign(real.begin(), real.end());
  } catch (const std::bad_alloc&) {
    Say("Cloud not allocate memory for O-l[%i].V in MakeRealOperatorFixedLengthComplex\n",
        static_cast<int>(length));
    throw;
  }
  t.values = std::move(values);
  return 0;
}

void OperatorSetMaxLength(OperatorType& O) {
  while (O.l.size() > 1 && TermCount(O.l.back()) == 0) O.l.pop_back();
}

void OperatorRemoveSmallValues(OperatorType& O, double epsilon) {
  RemoveSmallConstant(O.l[0], epsilon);
  for (std::uint32_t length = 1; length <= MaxLength(O); ++length) {
    OperatorFixedLengthType& t = O.l[length];
    if (TermCount(t) == 0) continue;
    bool imaginary = false;  // any above epsilon, also of a term that goes
    KeepTerms(t, length, [&](auto value) {
      if constexpr (IsComplex<decltype(value)>) {
        imaginary |= std::fabs(value.im) > epsilon;
        return NormSqr(value) > epsilon * epsilon;
      } else {
        return std::fabs(value) > epsilon;
      }
    });
    MakeRealIfSmall(t, imaginary);
    // Spare room goes if a tighter copy can be had.
    static_cast<void>(FitsInMemory([&] { ShrinkTable(t); }));
  }
}

int OperatorChangeNFandNB(OperatorType& O, std::uint32_t NFermionNew, std::uint32_t NBosonNew) {
  if (std::uint64_t{NFermionNew} + NBosonNew > 65536)
    return Fail("Error in ChangeNFandNB NFnew (%i) + NBnew (%i) larger than 65536 (%i)\n",
                static_cast<int>(NFermionNew), static_cast<int>(NBosonNew),
                static_cast<int>(NFermionNew + NBosonNew));
  const std::uint32_t NFermion = O.layout.NFermion, NBoson = O.layout.NBoson;
  // The lowest index that is lost; every mode stands above the old orbitals and goes with them.
  const std::uint32_t lost = std::min(NFermion > NFermionNew ? NFermionNew : 65536,
                                      NBoson > NBosonNew ? NFermion + NBosonNew : 65536);
  for (std::uint32_t length = 1; length <= MaxLength(O); ++length) {
    OperatorFixedLengthType& t = O.l[length];
    for (std::uint32_t n = 0; n < TermCount(t); ++n) {
      const LadderIndex* lader = &t.o[std::size_t{n} * length];
      if (std::any_of(lader, lader + length, [&](LadderIndex i) { return LadderOrbital(i) >= lost; }))
        std::visit([n](auto& values) { values[n] = {}; }, t.values);
    }
  }
  OperatorRemoveSmallValues(O, NumericalZero);
  if (NFermionNew != NFermion)
    for (std::uint32_t length = 1; length <= MaxLength(O); ++length)
      for (LadderIndex& i : O.l[length].o)
        if (LadderOrbital(i) >= NFermion) i = static_cast<LadderIndex>(i + NFermionNew - NFermion);
  O.layout = {NFermionNew, NBosonNew};
  RebuildRestrictions(O.Restrictions, O.layout);
  return 0;
}

void OperatorAdd(OperatorType& O, const OperatorType& Other, Complex16 factor) {
  RequireSameSpace(O.layout, "Operator", Other.layout, "the other operator");
  for (std::uint32_t length = MaxLength(O) + 1; length <= MaxLength(Other); ++length)
    InitOperatorFixedLength(O, length, Other.l[length].NBitsKey);
  const bool realFactor = !(std::fabs(factor.im) > NumericalZero);
  for (std::uint32_t length = 0; length <= MaxLength(Other); ++length) {
    const OperatorFixedLengthType& t = Other.l[length];
    if (TermCount(t) == 0) continue;
    const bool real = realFactor && !QComplexTable(O.l[length]) && !QComplexTable(t);
    if (!real) static_cast<void>(MakeRealOperatorFixedLengthComplex(O, length));
    for (std::uint32_t n = 0; n < TermCount(t); ++n) {
      const LadderIndex* lader = t.o.data() + std::size_t{n} * length;
      if (real) {
        RealOperatorAddLader(O, lader, length, TermValue(t, n).re * factor.re);
      } else {
        ComplexOperatorAddLader(O, lader, length, TermValue(t, n) * factor);
      }
    }
  }
}

bool QOperatorEqual(const OperatorType& A, const OperatorType& B, double epsilon) {
  return OrSay("OperatorAddNormalOrder failed in QOperatorEqual\n", [&] {
    OperatorType difference = A;
    OperatorAddNormalOrder(difference, B, -1.0, QDetNotOrderedFcFaBaBc);
    OperatorRemoveSmallValues(difference, epsilon);
    return QWithoutTerms(difference);
  });
}

int QOperatorHermitian(const OperatorType& O, double epsilon) {
  int result = 3;
  const bool fits = FitsInMemory([&] {
    OperatorType difference =
        OrSay("OperatorConjugateTransposeNormalOrder failed in QOperatorHermitian\n",
              [&] { return OperatorConjugateTransposeNormalOrder(O, QDetNotOrderedFcFaBaBc); });
    OrSay("OperatorAddNormalOrder failed in QOperatorHermitian\n",
          [&] { OperatorAddNormalOrder(difference, O, -1.0, QDetNotOrderedFcFaBaBc); });
    OperatorRemoveSmallValues(difference, 10 * NumericalZero);
    result = 1;
    if (QWithoutTerms(difference)) return;
    OperatorRemoveSmallValues(difference, epsilon);
    result = QWithoutTerms(difference) ? 2 : 0;
  });
  return fits ? result : 3;
}

std::size_t OwnedBytes(const OperatorType& O) {
  std::size_t bytes = O.l.capacity() * sizeof(OperatorFixedLengthType);
  for (const OperatorFixedLengthType& t : O.l)
    bytes += t.o.capacity() * sizeof(LadderIndex) +
             std::visit([](const auto& values) { return values.capacity() * sizeof(values[0]); }, t.values) +
             (t.Hash.capacity() + t.Next.capacity() + t.KeyList.capacity()) * sizeof(std::uint32_t);
  return bytes;
}

}  // namespace fermix
