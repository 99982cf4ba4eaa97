#include "core/operator.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "core/normal_order.h"
#include "core/operator_algebra.h"
#include "host/base/status.h"

namespace fermix {

namespace {

// Slots that a table of that setting starts with. A setting is no reason to take memory: what is more comes
// with the terms.
std::size_t SlotsForBits(std::uint32_t NBitsKey) { return std::size_t{1} << std::min(NBitsKey % 32, 6u); }

std::uint32_t FullHash(const LadderIndex* lader, std::uint32_t length) {
  return hash(lader, sizeof(LadderIndex) * std::uint64_t{length}, 31);
}

// The number of the string in the table plus 1, 0 if it is not there. Only strings that stand where their
// hash says are found: after OperatorChangeNFandNB shifted ones are not.
std::uint32_t FindString(const OperatorFixedLengthType& t, const LadderIndex* lader, std::uint32_t length,
                         std::uint32_t full) {
  if (t.KeyList.empty()) return 0;
  for (std::uint32_t n = t.KeyList[full & (t.KeyList.size() - 1)]; n; n = t.Next[n - 1])
    if (t.Hash[n - 1] == full && std::equal(lader, lader + length, &t.o[std::size_t{n - 1} * length]))
      return n;
  return 0;
}

// Enters string n (from 0) at the head of its slot.
void Link(OperatorFixedLengthType& t, std::uint32_t n) {
  std::uint32_t& slot = t.KeyList[t.Hash[n] & (t.KeyList.size() - 1)];
  t.Next[n] = slot;
  slot = n + 1;
}

// Builds the chains anew over the slots that there are.
void Relink(OperatorFixedLengthType& t) {
  std::fill(t.KeyList.begin(), t.KeyList.end(), 0);
  if (t.KeyList.empty()) return;
  for (std::uint32_t n = 0; n < TermCount(t); ++n) Link(t, n);
}

// Keeps the first N terms; strings stay on the chains until they are built anew.
void CutTerms(OperatorFixedLengthType& t, std::uint32_t length, std::uint32_t N) {
  std::visit([N](auto& values) { values.resize(N); }, t.values);
  t.Hash.resize(N);
  if (length == 0) return;
  t.Next.resize(N);
  t.o.resize(std::size_t{N} * length);
}

// Makes room for one more string: all memory that adding one takes, geometrically. chained: other strings
// stand in its slot.
template <class T>
void ReserveTerm(OperatorFixedLengthType& t, std::vector<T>& values, std::uint32_t length, bool chained) {
  const std::size_t N = TermCount(t) + std::size_t{1};
  const bool fits = N <= values.capacity() && N <= t.Hash.capacity() && N <= t.Next.capacity() &&
                    N * length <= t.o.capacity() && N <= t.KeyList.size();
  if (fits) return;
  const std::size_t room = std::max<std::size_t>(8, 2 * N);
  OrSay(chained ? "alloc failed OperatorAddLader 11\n" : "alloc failed OperatorAddLader 01\n",
        [&] { t.o.reserve(room * length); });
  OrSay(chained ? "alloc failed OperatorAddLader 12\n" : "alloc failed OperatorAddLader 02\n", [&] {
    t.Hash.reserve(room), t.Next.reserve(room);
    if (N <= t.KeyList.size()) return;
    const std::size_t slots = std::max(SlotsForBits(t.NBitsKey), std::bit_ceil(4 * N));
    std::vector<std::uint32_t>(slots).swap(t.KeyList);
    Relink(t);
  });
  OrSay(chained ? "alloc failed OperatorAddLader 13\n" : "alloc failed OperatorAddLader 03\n",
        [&] { values.reserve(room); });
}

template <class T>
void AddConstant(OperatorFixedLengthType& t, std::vector<T>& values, T value) {
  if (values.empty()) {
    OrSay(IsComplex<T> ? "" : "could not allocate memory for O->l[0].VRe in RealOperatorAddLader\n",
          [&] { values.reserve(1), t.Hash.reserve(1); });
    values.push_back(T{}), t.Hash.push_back(0);
  }
  values[0] += value;
}

template <class T>
void AddTerm(OperatorFixedLengthType& t, const LadderIndex* lader, std::uint32_t length, T value) {
  auto& values = std::get<std::vector<T>>(t.values);
  if (length == 0) return AddConstant(t, values, value);
  const std::uint32_t full = FullHash(lader, length);
  if (const std::uint32_t n = FindString(t, lader, length, full)) {
    values[n - 1] += value;
    return;
  }
  ReserveTerm(t, values, length, !t.KeyList.empty() && t.KeyList[full & (t.KeyList.size() - 1)]);
  t.o.insert(t.o.end(), lader, lader + length);
  values.push_back(value);
  t.Hash.push_back(full);
  t.Next.push_back(0);
  Link(t, TermCount(t) - 1);
}

// Keeps the terms whose value passes, in place: each is added again to the table that stands before it. So
// strings that OperatorChangeNFandNB shifted take the slot that is theirs, and become one with an equal one.
template <class Keep>
void KeepTerms(OperatorFixedLengthType& t, std::uint32_t length, Keep&& keep) {
  std::fill(t.KeyList.begin(), t.KeyList.end(), 0);
  std::visit(
      [&](auto& values) {
        std::uint32_t kept = 0;
        for (std::uint32_t n = 0; n < TermCount(t); ++n) {
          if (!keep(values[n])) continue;
          const LadderIndex* lader = &t.o[std::size_t{n} * length];
          const std::uint32_t full = FullHash(lader, length);
          if (const std::uint32_t same = FindString(t, lader, length, full)) {
            values[same - 1] += values[n];
            continue;
          }
          if (kept != n) std::copy_n(lader, length, &t.o[std::size_t{kept} * length]);
          values[kept] = values[n];
          t.Hash[kept] = full;
          Link(t, kept++);
        }
        CutTerms(t, length, kept);
      },
      t.values);
}

void ShrinkTable(OperatorFixedLengthType& t) {
  t.o.shrink_to_fit();
  t.Hash.shrink_to_fit();
  t.Next.shrink_to_fit();
  std::visit([](auto& values) { values.shrink_to_fit(); }, t.values);
}

// A complex table becomes real, without its imaginary parts.
bool DropImaginaryParts(OperatorFixedLengthType& t) {
  return FitsInMemory([&] {
    const auto& values = std::get<std::vector<Complex16>>(t.values);
    std::vector<double> real;
    real.reserve(values.size());
    for (const Complex16 z : values) real.push_back(z.re);
    t.values = std::move(real);
  });
}

void RemoveSmallConstant(OperatorFixedLengthType& t, double epsilon) {
  if (TermCount(t) == 0) return;
  const Complex16 z = TermValue(t, 0);
  if (QComplexTable(t) && !(std::fabs(z.im) < epsilon)) return;
  if (std::fabs(z.re) < epsilon) {
    t = OperatorFixedLengthType{};
  } else if (QComplexTable(t) && !DropImaginaryParts(t)) {
    Say("could not allocate memory for O->l[0].VRe in OperatorRemoveSmallValues\n");
  }
}

// Restrictions on a changed space: masks keep the orbitals and modes that remain.
DeterminantRestrictionType RestrictionsOnSpace(const DeterminantRestrictionType& R, KeyLayout layout) {
  if (R.Masks.empty()) return {};
  DeterminantRestrictionType rebuilt;
  rebuilt.layout = layout;
  for (std::uint32_t r = 0; r < NRestrictions(R); ++r) {
    Key mask(KeyWords(layout));
    for (std::uint32_t i = 0; i < std::min(layout.NFermion, R.layout.NFermion); ++i)
      if (QOccupied(R.Masks[r].data(), i)) mask[i / 64] |= OrbitalBit(i);
    for (std::uint32_t k = 0; k < std::min(layout.NBoson, R.layout.NBoson); ++k)
      SetKeyByte(mask.data(), NFermionBytes(layout.NFermion) + k,
                 KeyByte(R.Masks[r].data(), NFermionBytes(R.layout.NFermion) + k));
    if (std::all_of(mask.begin(), mask.end(), [](KeyWord w) { return w == 0; }))
      continue;  // nothing that it counted is left
    rebuilt.Masks.push_back(std::move(mask));
    rebuilt.MinOccupation.push_back(R.MinOccupation[r]);
    rebuilt.MaxOccupation.push_back(R.MaxOccupation[r]);
  }
  return rebuilt;
}

// Sets the values of all terms with an index at or above lost to 0.
void ClearTermsAbove(OperatorType& O, std::uint32_t lost) {
  for (std::uint32_t length = 1; length <= MaxLength(O); ++length) {
    OperatorFixedLengthType& t = O.l[length];
    for (std::uint32_t n = 0; n < TermCount(t); ++n) {
      const LadderIndex* lader = &t.o[std::size_t{n} * length];
      if (std::any_of(lader, lader + length, [&](LadderIndex i) { return LadderOrbital(i) >= lost; }))
        std::visit([n](auto& values) { values[n] = {}; }, t.values);
    }
  }
}

// The largest index in any string.
std::uint32_t LargestIndex(const OperatorType& O) {
  std::uint32_t largest = 0;
  for (const OperatorFixedLengthType& t : O.l)
    for (const LadderIndex i : t.o) largest = std::max(largest, LadderOrbital(i));
  return largest;
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

bool QFinite(const OperatorType& O) {
  bool finite = true;
  ForEachTerm(O, [&](const LadderIndex*, std::uint32_t, Complex16 v) {
    finite = finite && std::isfinite(v.re) && std::isfinite(v.im);
  });
  return finite;
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
    OperatorCreateTablesOf(O, Source);
    return O;
  });
}

OperatorType InitOperatorForMult(const OperatorType& A, const OperatorType& B) {
  OperatorType O = InitOperator(A.layout.NFermion, A.layout.NBoson);
  InitOperatorFixedLength(O, MaxLength(A) + MaxLength(B), 8);
  for (std::uint32_t length = 1; length <= MaxLength(O); ++length) O.l[length].NBitsKey = 8;
  return O;
}

// Tables take their slots with their first term.
void InitOperatorFixedLength(OperatorType& O, std::uint32_t length, std::uint32_t NBitsKey) {
  if (length == 0) return;
  try {
    if (length > MaxLength(O)) O.l.resize(std::size_t{length} + 1);
  } catch (const std::bad_alloc&) {
    Say("could not allocate memory for OperatorFixedLengthType of length %i in InitOperatorFixedLength\n",
        static_cast<int>(length));
    throw;
  }
  O.l[length] = OperatorFixedLengthType{};
  O.l[length].NBitsKey = NBitsKey;
}

void OperatorCreateTablesOf(OperatorType& O, const OperatorType& Other) {
  const std::uint32_t first = MaxLength(O) + 1;
  if (first <= MaxLength(Other)) InitOperatorFixedLength(O, MaxLength(Other), 0);
  for (std::uint32_t length = first; length <= MaxLength(Other); ++length)
    O.l[length].NBitsKey = Other.l[length].NBitsKey;
}

void RealOperatorAddLader(OperatorType& O, const LadderIndex* lader, std::uint32_t length, double value) {
  AddTerm<double>(O.l[length], lader, length, value);
}

void ComplexOperatorAddLader(OperatorType& O, const LadderIndex* lader, std::uint32_t length,
                             Complex16 value) {
  OperatorFixedLengthType& t = O.l[length];
  if (TermCount(t) == 0 && !QComplexTable(t)) t.values.emplace<std::vector<Complex16>>();
  AddTerm<Complex16>(t, lader, length, value);
}

void OperatorAddLader(OperatorType& O, const LadderIndex* lader, std::uint32_t length, double value) {
  if (length > MaxLength(O)) InitOperatorFixedLength(O, length, 8);
  if (QComplexTable(O.l[length])) return ComplexOperatorAddLader(O, lader, length, value);
  RealOperatorAddLader(O, lader, length, value);
}

void OperatorAddLader(OperatorType& O, const LadderIndex* lader, std::uint32_t length, Complex16 value) {
  if (length > MaxLength(O)) InitOperatorFixedLength(O, length, 8);
  static_cast<void>(MakeRealOperatorFixedLengthComplex(O, length));
  ComplexOperatorAddLader(O, lader, length, value);
}

void OperatorAddLader(OperatorType& O, const LadderIndex* lader, std::uint32_t length, double re, double im) {
  const bool real = std::fabs(im) < NumericalZero;
  if (length <= MaxLength(O) && QComplexTable(O.l[length]))
    return ComplexOperatorAddLader(O, lader, length, {re, im});
  if (length <= MaxLength(O) && real) return RealOperatorAddLader(O, lader, length, re);
  // More than the term changes: a table is made, or changes its kind.
  OperatorAllOrNothing(O, [&] {
    if (real) return OperatorAddLader(O, lader, length, re);
    OperatorAddLader(O, lader, length, Complex16(re, im));
  });
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
    values.reserve(t.Hash.capacity());
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

OperatorMark MarkOperator(const OperatorType& O) {
  OperatorMark mark;
  mark.reserve(O.l.size());
  for (const OperatorFixedLengthType& t : O.l) mark.push_back(t.values);
  return mark;
}

void ReturnToMark(OperatorType& O, OperatorMark& mark) noexcept {
  O.l.resize(mark.size());
  for (std::uint32_t length = 0; length <= MaxLength(O); ++length) {
    OperatorFixedLengthType& t = O.l[length];
    t.values = std::move(mark[length]);
    CutTerms(t, length,
             std::visit([](auto& values) { return static_cast<std::uint32_t>(values.size()); }, t.values));
    Relink(t);
  }
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
    if (QComplexTable(t) && !imaginary && !DropImaginaryParts(t))
      Say("allocating memory for real part of operator failed. "
          "Continue with complex operator with Im entries that are zero.\n");
    ShrinkTable(t);
  }
}

int OperatorChangeNFandNB(OperatorType& O, std::uint32_t NFermionNew, std::uint32_t NBosonNew) {
  if (std::uint64_t{NFermionNew} + NBosonNew > 65536)
    return Fail("Error in ChangeNFandNB NFnew (%i) + NBnew (%i) larger than 65536 (%i)\n",
                static_cast<int>(NFermionNew), static_cast<int>(NBosonNew),
                static_cast<int>(NFermionNew + NBosonNew));
  const std::uint32_t NFermion = O.layout.NFermion, NBoson = O.layout.NBoson;
  const std::uint32_t largest = LargestIndex(O);
  if (NFermionNew > NFermion && largest >= NFermion && largest - NFermion + NFermionNew > IndexMask)
    return Fail("Error in ChangeNFandNB index (%i) of a boson larger than %i\n",
                static_cast<int>(largest - NFermion + NFermionNew), static_cast<int>(IndexMask));
  const KeyLayout layout{NFermionNew, NBosonNew};
  DeterminantRestrictionType Restrictions = RestrictionsOnSpace(O.Restrictions, layout);
  // The lowest index that is lost; every mode stands above the old orbitals and goes with them.
  ClearTermsAbove(O, std::min(NFermion > NFermionNew ? NFermionNew : 65536,
                              NBoson > NBosonNew ? NFermion + NBosonNew : 65536));
  OperatorRemoveSmallValues(O, NumericalZero);
  if (NFermionNew != NFermion)
    for (OperatorFixedLengthType& t : O.l)
      for (LadderIndex& i : t.o)
        if (LadderOrbital(i) >= NFermion) i = static_cast<LadderIndex>(i + NFermionNew - NFermion);
  O.layout = layout;
  O.Restrictions = std::move(Restrictions);
  return 0;
}

void OperatorAdd(OperatorType& O, const OperatorType& Other, Complex16 factor) {
  AddScaledTerms(O, Other, factor, [&](const LadderIndex* lader, std::uint32_t length, auto value) {
    OperatorAddLader(O, lader, length, value);
  });
}

bool QOperatorEqual(const OperatorType& A, const OperatorType& B, double epsilon) {
  return OrSay("OperatorAddNormalOrder failed in QOperatorEqual\n", [&] {
    OperatorType difference = A.layout.NBoson ? NormalOrderOperator(A, QDetNotOrderedFcFaBaBc) : A;
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
