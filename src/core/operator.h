// Many-body operators: a sum of ladder strings with real or complex coefficients, grouped by string length.
//
// A string is stored exactly as given, in insertion order, each at most once; bringing it to normal order is
// the business of core/operator_algebra.h. Tables are hashed, so that adding a known string adds to its
// coefficient.
//
//     o of table 2:      | c+_1 c_0 | c+_0 c_1 | ...      element 0 of a string acts first
//     values:            |   0.5    |   0.5    | ...
#pragma once

#include "core/determinant.h"
#include "core/restriction.h"
#include "host/base/complex16.h"
#include "host/base/copy_safe_variant.h"

namespace fermix {

using Coefficients = CopySafeVariant<std::vector<double>, std::vector<Complex16>>;

// All strings of one length.
struct OperatorFixedLengthType {
  std::uint32_t NBitsKey = 0;          // hash size that scripts see and set; a speed setting
  std::vector<LadderIndex> o;          // string after string
  Coefficients values;                 // one a string
  std::vector<std::uint32_t> Hash;     // full hash of each string as it was when it was added
  std::vector<std::uint32_t> Next;     // number + 1 of the next string with the same slot, 0 at the end
  std::vector<std::uint32_t> KeyList;  // number + 1 of the first string of each slot; grows with the table
};

struct OperatorType {
  std::string Name = "Operator";
  KeyLayout layout;
  std::vector<OperatorFixedLengthType> l{1};  // indexed by length, 0 .. MaxLength; table 0 holds the constant
  DeterminantRestrictionType Restrictions;    // of the determinants that the operator may reach
};

inline std::uint32_t MaxLength(const OperatorType& O) { return static_cast<std::uint32_t>(O.l.size()) - 1; }
// Number of strings.
inline std::uint32_t TermCount(const OperatorFixedLengthType& t) {
  return static_cast<std::uint32_t>(t.Hash.size());
}
inline bool QComplexTable(const OperatorFixedLengthType& t) { return t.values.index() == 1; }
Complex16 TermValue(const OperatorFixedLengthType& t, std::uint32_t i);
// 0 where there is none.
inline Complex16 ConstantTerm(const OperatorType& O) { return TermCount(O.l[0]) ? TermValue(O.l[0], 0) : 0; }

// Calls f(table, length) for each table that has terms, by ascending length.
template <class F>
void ForEachTable(const OperatorType& O, F&& f) {
  for (std::uint32_t length = 0; length <= MaxLength(O); ++length)
    if (TermCount(O.l[length])) f(O.l[length], length);
}

// Calls f(string, length, value) for each term of the table of one length, as stored. A value has the kind of
// the table, double or Complex16.
template <class F>
void ForEachTermOf(const OperatorFixedLengthType& t, std::uint32_t length, F&& f) {
  std::visit(
      [&](const auto& values) {
        for (std::uint32_t n = 0; n < TermCount(t); ++n)
          f(t.o.data() + std::size_t{n} * length, length, values[n]);
      },
      t.values);
}

// The same for all tables, length by length.
template <class F>
void ForEachTerm(const OperatorType& O, F&& f) {
  ForEachTable(O,
               [&](const OperatorFixedLengthType& t, std::uint32_t length) { ForEachTermOf(t, length, f); });
}

// 0 real, 1 complex, 2 mixed; tables without terms do not vote.
std::uint32_t QComplex(const OperatorType& O);

// No coefficient is infinite or not a number.
bool QFinite(const OperatorType& O);

// An operator without terms on NF orbitals and NB modes.
OperatorType InitOperator(std::uint32_t NFermion, std::uint32_t NBoson);
// Name, space, restrictions and table sizes of Source, without its terms.
OperatorType InitOperatorCopySettings(const OperatorType& Source);
// An empty result for a product: tables for all lengths up to the sum of the sources' MaxLength.
OperatorType InitOperatorForMult(const OperatorType& A, const OperatorType& B);
// Creates the table of one length, and those below it; discards the terms of an existing one. Length 0 is
// always there and left alone. Prints a line before a bad_alloc, which leaves O as it was.
void InitOperatorFixedLength(OperatorType& O, std::uint32_t length, std::uint32_t NBitsKey);
// Creates the tables that Other has above MaxLength of O, with its hash sizes.
void OperatorCreateTablesOf(OperatorType& O, const OperatorType& Other);

// Adds one term as it stands; a table that is missing is created. The table turns complex when |im| is no
// numerical zero. All or nothing when memory runs out.
void OperatorAddLader(OperatorType& O, const LadderIndex* lader, std::uint32_t length, double re, double im);
inline void OperatorAddLader(OperatorType& O, const std::vector<LadderIndex>& lader, Complex16 value) {
  OperatorAddLader(O, lader.data(), static_cast<std::uint32_t>(lader.size()), value.re, value.im);
}
// Adds to the constant term.
inline void OperatorAddConstant(OperatorType& O, Complex16 value) {
  OperatorAddLader(O, nullptr, 0, value.re, value.im);
}
// By the kind of value: a complex one makes its table complex. A bad_alloc may leave a table that is new, or
// has changed its kind.
void OperatorAddLader(OperatorType& O, const LadderIndex* lader, std::uint32_t length, double value);
void OperatorAddLader(OperatorType& O, const LadderIndex* lader, std::uint32_t length, Complex16 value);
// Adds to a table that exists and whose kind already fits; an empty one takes the kind of a complex value.
void RealOperatorAddLader(OperatorType& O, const LadderIndex* lader, std::uint32_t length, double value);
void ComplexOperatorAddLader(OperatorType& O, const LadderIndex* lader, std::uint32_t length,
                             Complex16 value);

// The coefficients of an operator at one moment: terms are only ever appended, so that these are enough to go
// back.
using OperatorMark = std::vector<Coefficients>;
OperatorMark MarkOperator(const OperatorType& O);
void ReturnToMark(OperatorType& O, OperatorMark& mark) noexcept;

// Runs step, which adds terms to O or changes kinds and values. When memory runs out in it, O is put back as
// it was and the exception flies on.
template <class Step>
void OperatorAllOrNothing(OperatorType& O, Step&& step) {
  OperatorMark mark = MarkOperator(O);
  try {
    step();
  } catch (...) {
    ReturnToMark(O, mark);
    throw;
  }
}

// Status 2 after a warning when length exceeds MaxLength. A table that holds nothing stays real.
int MakeRealOperatorFixedLengthComplex(OperatorType& O, std::uint32_t length);

// Drops empty tables at the top.
void OperatorSetMaxLength(OperatorType& O);

// Removes terms of magnitude at or below epsilon, and turns a table real in which no imaginary part exceeds
// epsilon. Works in place; a table whose real form does not fit into memory stays complex, after a line.
void OperatorRemoveSmallValues(OperatorType& O, double epsilon);

// Changes the one-particle space, all or nothing. Terms on orbitals that vanish are dropped, with fewer
// fermions also every term with a boson. Bosonic indices move with NFermion while their hash stays, so that a
// shifted string that is added again stands as a new term. Restrictions that no longer fit are rebuilt where
// their masks allow, else dropped. Status 1 after a line when the space would exceed 65536, or a boson that
// stays the 15 bits of a ladder index.
[[nodiscard]] int OperatorChangeNFandNB(OperatorType& O, std::uint32_t NFermionNew, std::uint32_t NBosonNew);

// O += factor * Other, strings as they stand. A table becomes complex where that of Other is, and in every
// length that Other has where factor is. All or nothing when memory runs out.
void OperatorAdd(OperatorType& O, const OperatorType& Other, Complex16 factor);

// True when A - B has no term above epsilon. Fermions of A stay as stored, those of B are normal ordered;
// bosons are in both, since scripts store them in another order than the annihilators left of creators of
// this comparison.
bool QOperatorEqual(const OperatorType& A, const OperatorType& B, double epsilon);

// 1 Hermitian to machine precision, 2 Hermitian within epsilon, 0 not Hermitian, 3 memory ran out (after a
// line).
int QOperatorHermitian(const OperatorType& O, double epsilon);

// Bytes that the record owns on the heap.
std::size_t OwnedBytes(const OperatorType& O);

}  // namespace fermix
