// Copy, Chop, Conjugate, Transpose and ConjugateTranspose are one walk over a value with five policies. A
// policy says what becomes of a number, of a table and of each record that it knows; what it does not know
// fails with its text. The value itself is never changed.
#include "host/script_library/generic_script.h"

#include <cfloat>
#include <cmath>

#include "core/basis_rotation.h"
#include "core/method_script.h"
#include "core/operator_algebra.h"
#include "core/operator_script.h"
#include "core/wave_function_script.h"
#include "host/table_walk.h"
#include "linalg/matrix_functions_script.h"
#include "linalg/matrix_script.h"
#include "spectra/spectrum_script.h"

namespace fermix {

namespace {

// --- The walk

// Lets the policy push what becomes of the userdata at index if it is a T; false if it is none.
template <class T, class Policy>
bool PushRecord(lua_State* L, int index, const Policy& policy) {
  if constexpr (requires(const T& r) { policy.Record(L, r); }) {
    if (const T* record = TestRecord<T>(L, index)) return policy.Record(L, *record), true;
  }
  return false;
}

// Pushes what the policy makes of the value at index.
template <class Policy>
void Walk(lua_State* L, int index, const Policy& policy, int depth, TableWalk& walk) {
  index = lua_absindex(L, index);
  switch (lua_type(L, index)) {
    case LUA_TNIL:
    case LUA_TBOOLEAN:
    case LUA_TLIGHTUSERDATA:
    case LUA_TSTRING:
      return lua_pushvalue(L, index);
    case LUA_TNUMBER:
      return lua_pushnumber(L, policy.Number(lua_tonumber(L, index)));
    case LUA_TTABLE:
      walk.Enter(L, index, depth);
      return policy.Table(L, index, depth, walk);
    case LUA_TUSERDATA:
      if (!(PushRecord<Complex16>(L, index, policy) || PushRecord<SpectraTypeArray>(L, index, policy) ||
            PushRecord<WaveFunctionType>(L, index, policy) || PushRecord<OperatorType>(L, index, policy) ||
            PushRecord<CompactMatrixType>(L, index, policy)))
        luaL_error(L, "%s", Policy::unknownUserdata);
      return;
    default:
      luaL_error(L, "%s", Policy::unknownType);
  }
}

// Walks the values of a table; keys and metatable stay.
template <class Policy>
void WalkTable(lua_State* L, int index, const Policy& policy, int depth, TableWalk& walk) {
  MapTable(L, index, [&] { Walk(L, -1, policy, depth + 1, walk); });
}

// --- Policies

struct CopyPolicy {
  static constexpr const char* unknownType = "Error: copying or cloning an object of unrecognised type\n";
  static constexpr const char* unknownUserdata = unknownType;
  double Number(double x) const { return x; }
  void Table(lua_State* L, int index, int depth, TableWalk& walk) const {
    WalkTable(L, index, *this, depth, walk);
  }
  void Record(lua_State* L, const Complex16& z) const { lua_pushcomplex(L, z); }
  void Record(lua_State* L, const SpectraTypeArray& S) const { lua_push(L, SpectraTypeArray(S)); }
  void Record(lua_State* L, const WaveFunctionType& psi) const { lua_push(L, WaveFunctionCopy(psi)); }
  void Record(lua_State* L, const OperatorType& O) const { lua_push(L, OperatorType(O)); }
  void Record(lua_State* L, const CompactMatrixType& m) const { lua_push(L, CompactMatrixType(m)); }
};

struct ChopPolicy {
  static constexpr const char* unknownType = "Error: Chop an object of unrecognised type\n";
  static constexpr const char* unknownUserdata = unknownType;
  double threshold;

  double Number(double x) const { return std::fabs(x) < threshold ? 0 : x; }
  void Table(lua_State* L, int index, int depth, TableWalk& walk) const {
    WalkTable(L, index, *this, depth, walk);
  }
  // Unlike a plain number, a part equal to the threshold is dropped here.
  void Record(lua_State* L, const Complex16& z) const {
    const double re = std::fabs(z.re) > threshold ? z.re : 0;
    if (std::fabs(z.im) > threshold) {
      lua_pushcomplex(L, {re, z.im});
    } else {
      lua_push(L, re);
    }
  }
  void Record(lua_State* L, const SpectraTypeArray& S) const {
    SpectraTypeArray result = S;
    for (SpectraType& s : result.spectra)
      for (std::size_t i = 0; i < s.Re.size(); ++i)
        if (std::fabs(s.Re[i]) < threshold && std::fabs(s.Im[i]) < threshold) s.Re[i] = s.Im[i] = 0;
    lua_push(L, std::move(result));
  }
  void Record(lua_State* L, const WaveFunctionType& psi) const {
    WaveFunctionType result = WaveFunctionCopy(psi);
    WaveFunctionTruncateBasis(result, threshold);
    lua_push(L, std::move(result));
  }
  void Record(lua_State* L, const OperatorType& O) const {
    OperatorType result = O;
    OperatorRemoveSmallValues(result, threshold);
    OperatorSetMaxLength(result);
    lua_push(L, std::move(result));
  }
  void Record(lua_State* L, CompactMatrixType m) const {
    CompactMatrixChop(m, threshold);
    lua_push(L, std::move(m));
  }
};

WaveFunctionType ConjugateState(const WaveFunctionType& psi) {
  WaveFunctionType result = WaveFunctionCopy(psi);
  WaveFunctionConjugate(result);
  return result;
}

struct ConjugatePolicy {
  static constexpr const char* unknownType = "Error: complex conjugate an object of unrecognised type\n";
  static constexpr const char* unknownUserdata = unknownType;
  double Number(double x) const { return x; }
  void Table(lua_State* L, int index, int depth, TableWalk& walk) const {
    WalkTable(L, index, *this, depth, walk);
  }
  void Record(lua_State* L, const Complex16& z) const { lua_pushcomplex(L, Conj(z)); }
  void Record(lua_State* L, const WaveFunctionType& psi) const { lua_push(L, ConjugateState(psi)); }
  void Record(lua_State* L, const OperatorType& O) const {
    OperatorType result = O;
    OperatorComplexConjugate(result);
    lua_push(L, std::move(result));
  }
  void Record(lua_State* L, CompactMatrixType m) const {
    CompactMatrixConjugate(m);
    lua_push(L, std::move(m));
  }
};

// What decides how a table is transposed.
struct TableShape {
  int elements = 0;  // all of them
  int length = 0;    // those of the sequence part
  int tables = 0;    // those that are tables
  int width = 0;     // length of the first one of the sequence
  bool QMatrix = true;
};

TableShape ShapeOfTable(lua_State* L, int index) {
  TableShape shape;
  shape.length = static_cast<int>(lua_rawlen(L, index));
  lua_rawgeti(L, index, 1);
  shape.width = lua_istable(L, -1) ? ListLength(L, -1) : -1;
  lua_pop(L, 1);
  lua_pushnil(L);
  for (; lua_next(L, index); lua_pop(L, 1), ++shape.elements) {
    const bool table = lua_istable(L, -1);
    shape.tables += table;
    shape.QMatrix &= table && ListLength(L, -1) == shape.width;
  }
  shape.QMatrix &= shape.elements == shape.length && shape.elements > 0;
  return shape;
}

template <class Policy>
void TransposeAsMatrix(lua_State* L, int index, const TableShape& shape, const Policy& policy, int depth,
                       TableWalk& walk) {
  lua_createtable(L, shape.width, 0);
  for (int j = 1; j <= shape.width; ++j) {
    lua_createtable(L, shape.length, 0);
    for (int i = 1; i <= shape.length; ++i) {
      lua_rawgeti(L, index, i);
      PushListElement(L, -1, j);
      Walk(L, -1, policy, depth + 2, walk);
      lua_rawseti(L, -4, i);
      lua_pop(L, 2);
    }
    lua_rawseti(L, -2, j);
  }
  ShareMetatable(L, index);
}

template <class Policy>
void TransposeTable(lua_State* L, int index, const Policy& policy, int depth, TableWalk& walk) {
  const TableShape shape = ShapeOfTable(L, index);
  if (shape.QMatrix) return TransposeAsMatrix(L, index, shape, policy, depth, walk);
  if (shape.tables)
    luaL_warning(L,
                 "Transpose of a table containing tables, but not of equal length, transposed the elements, "
                 "not the table\n");
  WalkTable(L, index, policy, depth, walk);
}

struct TransposePolicy {
  static constexpr const char* unknownType = "Error: transpose of an object of unrecognised type\n";
  static constexpr const char* unknownUserdata = unknownType;
  double Number(double x) const { return x; }
  void Table(lua_State* L, int index, int depth, TableWalk& walk) const {
    TransposeTable(L, index, *this, depth, walk);
  }
  void Record(lua_State* L, const Complex16& z) const { lua_pushcomplex(L, z); }
  void Record(lua_State* L, const WaveFunctionType& psi) const { lua_push(L, WaveFunctionCopy(psi)); }
  void Record(lua_State* L, const OperatorType& O) const {
    lua_push(L, OperatorTransposeNormalOrder(O, QDetNotOrderedFcFaBaBc));
  }
  void Record(lua_State* L, CompactMatrixType m) const {
    CompactMatrixTranspose(m);
    lua_push(L, std::move(m));
  }
};

struct ConjugateTransposePolicy {
  static constexpr const char* unknownType = "Error: conjugate transpose an object of unrecognised type\n";
  static constexpr const char* unknownUserdata =
      "Error: conjugate transpose of an object of unrecognised type\n";
  double Number(double x) const { return x; }
  void Table(lua_State* L, int index, int depth, TableWalk& walk) const {
    TransposeTable(L, index, *this, depth, walk);
  }
  void Record(lua_State* L, const Complex16& z) const { lua_pushcomplex(L, Conj(z)); }
  void Record(lua_State* L, const WaveFunctionType& psi) const { lua_push(L, ConjugateState(psi)); }
  void Record(lua_State* L, const OperatorType& O) const {
    lua_push(L, OperatorConjugateTransposeNormalOrder(O, QDetNotOrderedFcFaBaBc));
  }
  void Record(lua_State* L, CompactMatrixType m) const {
    CompactMatrixTranspose(m);
    CompactMatrixConjugate(m);
    lua_push(L, std::move(m));
  }
};

// The value that a policy makes of the last argument.
template <class Policy>
int Generic(lua_State* L) {
  luaL_checkany(L, 1);
  TableWalk walk;
  Walk(L, -1, Policy{}, 0, walk);
  return 1;
}

// --- Rotate

// Below this a coefficient of a rotated record is rounding.
constexpr double rotationNoise = 100 * (DBL_EPSILON);

void CheckDimension(lua_State* L, const CompactMatrixType& M, const KeyLayout& layout, const char* what) {
  if (!QFinite(M)) ScriptError(L, "Error while rotating %s. Rotation matrix should be finite", what);
  const std::uint32_t n = layout.NFermion + layout.NBoson;
  if (M.Ni != n || M.Nj != n)
    ScriptError(L,
                "Error while rotating %s. Rotation matrix should have dimension (%d) of number of fermions "
                "(%d) + bosons (%d) of %s",
                what, static_cast<int>(n), static_cast<int>(layout.NFermion), static_cast<int>(layout.NBoson),
                what);
}

int RotateState(lua_State* L, const WaveFunctionType& psi) {
  if (lua_gettop(L) != 2)
    return luaL_error(L,
                      "Rotate for a wavefunction called with %d arguments, 2 expected, wavefunction and "
                      "rotation matrix\n",
                      lua_gettop(L));
  const MatrixArgument M(L, 2);
  if (M->Ni != M->Nj)
    ScriptError(L, "Error while rotating wavefunction. Rotation matrix should be square (Ni=%d Nj=%d)",
                static_cast<int>(M->Ni), static_cast<int>(M->Nj));
  CheckDimension(L, *M, Layout(psi), "wavefunction");

  WaveFunctionType result(Layout(psi), QComplex(psi), psi.basis->NBitsKey);
  result.Name = psi.Name;
  MappedWaveFunctionAdd(result, psi, *M);
  if (QComplex(result)) {
    ComplexWaveFunctionTruncateBasis(result, rotationNoise);
  } else {
    WaveFunctionTruncateBasis(result, rotationNoise);
  }
  return lua_push(L, std::move(result));
}

int RotateOperator(lua_State* L, const OperatorType& O) {
  if (lua_gettop(L) != 2)
    return luaL_error(
        L, "Rotate for an operator called with %d arguments, 2 expected, operator and rotation matrix\n",
        lua_gettop(L));
  const MatrixArgument M(L, 2);
  CheckDimension(L, *M, O.layout, "operator");

  OperatorType result = InitOperatorCopySettings(O);
  MappedOperatorAddNormalOrder(result, O, *M, QDetNotOrderedFcFaBaBc);
  OperatorRemoveSmallValues(result, rotationNoise);
  return lua_push(L, std::move(result));
}

}  // namespace

int LuaCopy(lua_State* L) { return Generic<CopyPolicy>(L); }
int LuaConjugate(lua_State* L) { return Generic<ConjugatePolicy>(L); }
int LuaTranspose(lua_State* L) { return Generic<TransposePolicy>(L); }
int LuaConjugateTranspose(lua_State* L) { return Generic<ConjugateTransposePolicy>(L); }

// Chop(object [, threshold] [, options])
int LuaChop(lua_State* L) {
  luaL_checkany(L, 1);
  int n = lua_gettop(L);
  // Of the types that care, none exists yet; both keys are read and have no effect on the others.
  bool Distance = false, Deflate = true;
  if (n > 1 && LuaTestOptionsList(L, n)) {
    LuaCheckOptions(L, n, {Option("Distance", &Distance), Option("Deflate", &Deflate)});
    --n;
  }
  constexpr double defaultThreshold = 10 * DBL_EPSILON;
  const ChopPolicy policy{n == 1 ? defaultThreshold : CheckThreshold(L, n)};
  TableWalk walk;
  Walk(L, n == 1 ? 1 : n - 1, policy, 0, walk);
  return 1;
}

// Rotate(object, matrix)
int LuaRotate(lua_State* L) {
  const int n = lua_gettop(L);
  if (n < 2) return luaL_error(L, "Rotate called with %d arguments, at least 2 expected\n", n);
  if (const auto* psi = TestRecord<WaveFunctionType>(L, 1)) return RotateState(L, *psi);
  if (const auto* O = TestRecord<OperatorType>(L, 1)) return RotateOperator(L, *O);
  if (QMatrixOrTable(L, 1)) return LuaMatrixRotate(L);
  return luaL_error(
      L,
      "Rotate called unrecognized type. Can only rotate wavefunctions operators and tight binding objects\n");
}

}  // namespace fermix
