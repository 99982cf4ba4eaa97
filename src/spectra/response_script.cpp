#include "spectra/response_script.h"

namespace fermix {

namespace {

int PushForm(lua_State* L, const char* type, const std::vector<double>& a, const std::vector<double>& b,
             double mu, const std::string& name) {
  luaL_checkstack(L, 6, "table too deep");
  lua_createtable(L, 2, 3);
  lua_push(L, a);
  lua_rawseti(L, -2, 1);
  lua_push(L, b);
  lua_rawseti(L, -2, 2);
  lua_pushstring(L, type);
  lua_setfield(L, -2, "type");
  lua_pushnumber(L, mu);
  lua_setfield(L, -2, "mu");
  lua_push(L, name);
  lua_setfield(L, -2, "name");
  lua_getglobal(L, "ResponseFunctionMeta");
  if (lua_istable(L, -1)) {
    lua_setmetatable(L, -2);
  } else {
    lua_pop(L, 1);
  }
  return 1;
}

}  // namespace

int LuaPushTable_TriDiagonalMatrixType(lua_State* L, const TriDiagonalMatrixType& M) {
  return PushForm(L, "Tri", M.a, M.b, M.mu, M.name);
}

int LuaPushTable_ListOfPoles(lua_State* L, const ListOfPoles& P) {
  std::vector<double> a{P.a0};
  a.insert(a.end(), P.a.begin(), P.a.end());
  return PushForm(L, "ListOfPoles", a, P.b, P.mu, P.name);
}

}  // namespace fermix
