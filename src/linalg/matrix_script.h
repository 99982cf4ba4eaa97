// Matrices in scripts. A matrix has two forms: a userdata (Matrix_Type), or a table of rows, with the
// metatable MatrixMeta where it comes from the program. Functions take both; a userdata among the arguments
// gives a userdata as result. The field IsUserdata of the record is the form that its push will take.
#pragma once

#include "host/script.h"
#include "linalg/compact_matrix.h"

namespace fermix {

template <>
struct ScriptType<CompactMatrixType> {
  static constexpr const char* name = "Matrix_Type";
};

// The matrix at index in either form; a userdata is referred to and not copied. Raises the argument error
// "table expected, got %s", or "Error while reading matrix. Dimensions of rows not constant. ...". The table
// form is real when no element has an imaginary part above the double epsilon times its real part.
class MatrixArgument {
 public:
  MatrixArgument(lua_State* L, int index);
  const CompactMatrixType& operator*() const { return userdata_ ? *userdata_ : table_; }
  const CompactMatrixType* operator->() const { return &**this; }
  // A record of one's own to work in: what was read from a table, or a copy of the userdata.
  CompactMatrixType Take() && { return userdata_ ? *userdata_ : std::move(table_); }

 private:
  const CompactMatrixType* userdata_;
  CompactMatrixType table_;
};

// A copy of the matrix at index.
inline CompactMatrixType luaL_checkCompactMatrix(lua_State* L, int index) {
  return MatrixArgument(L, index).Take();
}
inline void lua_check(lua_State* L, int index, CompactMatrixType& m) {
  m = luaL_checkCompactMatrix(L, index);
}

// Matrix_Type, or a table of one row or more, all of equal length, of numbers and complex numbers.
namespace detail {
template <>
struct ScriptTest<CompactMatrixType> {
  static bool Holds(lua_State* L, int index);
};
}  // namespace detail

// Whether the value at index can only be meant as a matrix: a userdata, or any table.
inline bool QMatrixOrTable(lua_State* L, int index) {
  return lua_istable(L, index) || TestRecord<CompactMatrixType>(L, index);
}

// Whether the value at index is a table with the metatable MatrixMeta.
bool QMatrixTable(lua_State* L, int index);

// Pushes a table of rows with the metatable MatrixMeta. Elements are numbers where the imaginary part is 0.
int LuaPushTable_CompactMatrixType(lua_State* L, const CompactMatrixType& m);

// Pushes m in the form that IsUserdata asks for.
int lua_push(lua_State* L, CompactMatrixType m);

// Replaces m by z times its inverse; raises the errors of an inversion.
void InvertOrError(lua_State* L, CompactMatrixType& m, Complex16 z = 1);

// Files Matrix_Type and the tables Matrix, MatrixMeta and MatrixRowMeta.
void RegisterMatrixType(lua_State* L);

}  // namespace fermix
