// Script face of scalar response functions: their table forms.
#pragma once

#include "host/script.h"
#include "linalg/scalar_response.h"

namespace fermix {

// { {a0, a1, ..., aN}, {b0, ..., bN-1}, type = "Tri", mu = , name = }
int LuaPushTable_TriDiagonalMatrixType(lua_State* L, const TriDiagonalMatrixType& M);

// The same with type = "And".
int LuaPushTable_AndersonMatrixType(lua_State* L, const AndersonMatrixType& M);

// { {a0, e1, ..., eN}, {w1, ..., wN}, type = "ListOfPoles", mu = , name = }
int LuaPushTable_ListOfPoles(lua_State* L, const ListOfPoles& P);

// { {A0, B0}, type = "NaturalImpurityOrbital", val = chain, con = chain, mu = , epsilon = , name = }
int LuaPushTable_BADoubleTriDiagonalMatrixType(lua_State* L, const BADoubleTriDiagonalMatrixType& M);

// The function in the table at index, in the form that its field type tells ("Nat" is short for
// "NaturalImpurityOrbital"). No metamethod of the script runs.
ScalarResponse luaL_checkScalarResponse(lua_State* L, int index);

// The same in the form To, whatever form the script gave; w is the half width of the split at mu.
template <class To>
To luaL_checkScalarResponseAs(lua_State* L, int index, double w = DefaultSplitWidth) {
  To result;
  if (ConvertScalarResponse(luaL_checkScalarResponse(L, index), result, w))
    luaL_error(L, "Error: a response function can not be converted to the form that is needed here\n");
  return result;
}

}  // namespace fermix
