#include "spectra/response_script.h"

#include <cmath>

namespace fermix {

namespace {

// What all forms have; the table stands on the stack top.
int FinishForm(lua_State* L, const char* type, double mu, const std::string& name) {
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

int PushTwoLists(lua_State* L, const char* type, const std::vector<double>& a, const std::vector<double>& b,
                 double mu, const std::string& name) {
  luaL_checkstack(L, 6, "table too deep");
  lua_createtable(L, 2, 3);
  lua_push(L, a);
  lua_rawseti(L, -2, 1);
  lua_push(L, b);
  lua_rawseti(L, -2, 2);
  return FinishForm(L, type, mu, name);
}

}  // namespace

int LuaPushTable_TriDiagonalMatrixType(lua_State* L, const TriDiagonalMatrixType& M) {
  return PushTwoLists(L, "Tri", M.a, M.b, M.mu, M.name);
}

int LuaPushTable_AndersonMatrixType(lua_State* L, const AndersonMatrixType& M) {
  return PushTwoLists(L, "And", M.a, M.b, M.mu, M.name);
}

int LuaPushTable_ListOfPoles(lua_State* L, const ListOfPoles& P) {
  std::vector<double> a{P.a0};
  a.insert(a.end(), P.a.begin(), P.a.end());
  return PushTwoLists(L, "ListOfPoles", a, P.b, P.mu, P.name);
}

int LuaPushTable_BADoubleTriDiagonalMatrixType(lua_State* L, const BADoubleTriDiagonalMatrixType& M) {
  luaL_checkstack(L, 6, "table too deep");
  lua_createtable(L, 1, 6);
  lua_push(L, std::vector<double>{M.A0, M.B0});
  lua_rawseti(L, -2, 1);
  LuaPushTable_TriDiagonalMatrixType(L, M.val);
  lua_setfield(L, -2, "val");
  LuaPushTable_TriDiagonalMatrixType(L, M.con);
  lua_setfield(L, -2, "con");
  lua_pushnumber(L, M.Epsilon);
  lua_setfield(L, -2, "epsilon");
  return FinishForm(L, "NaturalImpurityOrbital", M.Mu, M.name);
}

namespace {

// What the readers say of a form.
struct FormTexts {
  const char *noLists, *noMu, *noName, *noConstant;
};

constexpr FormTexts ChainTexts = {
    "Error a Green's function represented as a tri-diagonal matrix should be a list of two lists "
    "{{a0,a1,a2,...,an},{b0,b1,b2,...,bn",
    "Reading Green's function represented as a tri-diagonal matrix without mu defined",
    "Reading Green's function represented as a tri-diagonal matrix without name defined",
    "Errorr reading Greens function with lenght of a equal to zero"};
constexpr FormTexts StarTexts = {
    "Error a Green's function represented as an Anderson matrix should be a list of two lists "
    "{{a0,a1,a2,...,an},{b0,b1,b2,...,bn",
    "Reading Green's function represented as an Anderson matrix without mu defined",
    "Reading Green's function represented as an Anderson matrix without name defined", ChainTexts.noConstant};
constexpr FormTexts PolesTexts = {
    "Error a list of pole should be a list of two lists {{a0,a1,a2,...,an},{b1^2,b2^2,...,bn^2}}",
    "Reading List of poles without mu defined", "Reading List of poles without name defined",
    "Errorr reading Greens function in list of poles format with lenght of a equal to zero.\n"
    "One must specify at least a0\n"};
constexpr FormTexts OrbitalsTexts = {
    "Error Green's function of format NaturalImpurityOrbital should have the table {a0, b0} at position 1",
    "Reading Green's function represented as natural impurity orbitals without mu defined",
    "Reading Green's function represented as natural impurity orbitals without name defined", nullptr};

// The raw field of the table at index; pushes one value.
void RawField(lua_State* L, int index, const char* key) {
  lua_pushstring(L, key);
  lua_rawget(L, index);
}

void ReadMuAndName(lua_State* L, int index, const FormTexts& texts, double& mu, std::string& name) {
  RawField(L, index, "mu");
  if (!lua_isnumber(L, -1)) luaL_error(L, "%s", texts.noMu);
  lua_check(L, -1, mu);
  RawField(L, index, "name");
  if (!lua_isstring(L, -1)) luaL_error(L, "%s", texts.noName);
  lua_check(L, -1, name);
  lua_pop(L, 2);
}

template <class Form>
Form ReadTwoLists(lua_State* L, int index, const FormTexts& texts) {
  Form M;
  lua_rawgeti(L, index, 1);
  lua_rawgeti(L, index, 2);
  if (!lua_istable(L, -2) || !lua_istable(L, -1)) luaL_error(L, "%s", texts.noLists);
  ReadMuAndName(L, index, texts, M.mu, M.name);
  lua_check(L, -2, M.a);
  lua_check(L, -1, M.b);
  lua_pop(L, 2);
  if (M.a.empty()) luaL_error(L, "%s", texts.noConstant);
  if (M.a.size() != M.b.size() + 1)
    luaL_error(L, "Error Reading List of poles. Length of a (%d) should be one more than length of b (%d)",
               static_cast<int>(M.a.size()), static_cast<int>(M.b.size()));
  if (!QFinite(M) || !std::isfinite(M.mu))
    luaL_error(L, "Error reading Green's function: a number is not finite");
  return M;
}

std::string TypeOf(lua_State* L, int index) {
  RawField(L, index, "type");
  if (!lua_isstring(L, -1)) luaL_error(L, "Error Reading Green's function without type declaration.");
  std::string type;
  lua_check(L, -1, type);
  lua_pop(L, 1);
  return type;
}

// One of the two chains; not any other form, which could hold itself.
TriDiagonalMatrixType ReadSide(lua_State* L, int index, const char* side) {
  RawField(L, index, side);
  const int chain = lua_gettop(L);
  if (!lua_istable(L, chain) || TypeOf(L, chain) != "Tri")
    luaL_error(L, "Error Green's function of format NaturalImpurityOrbital should have a field %s", side);
  TriDiagonalMatrixType M = ReadTwoLists<TriDiagonalMatrixType>(L, chain, ChainTexts);
  lua_pop(L, 1);
  return M;
}

BADoubleTriDiagonalMatrixType ReadOrbitals(lua_State* L, int index) {
  BADoubleTriDiagonalMatrixType M;
  M.val = ReadSide(L, index, "val");
  M.con = ReadSide(L, index, "con");
  std::vector<double> first;
  lua_rawgeti(L, index, 1);
  if (!lua_istable(L, -1) || lua_rawlen(L, -1) != 2) luaL_error(L, "%s", OrbitalsTexts.noLists);
  lua_check(L, -1, first);
  M.A0 = first[0];
  M.B0 = first[1];
  ReadMuAndName(L, index, OrbitalsTexts, M.Mu, M.name);
  RawField(L, index, "epsilon");
  if (!lua_isnil(L, -1)) lua_check(L, -1, M.Epsilon);
  lua_pop(L, 2);
  if (!std::isfinite(M.A0) || !std::isfinite(M.B0) || !std::isfinite(M.Mu) || !std::isfinite(M.Epsilon))
    luaL_error(L, "Error reading Green's function: a number is not finite");
  CompleteNaturalOrbitals(M);
  return M;
}

}  // namespace

ScalarResponse luaL_checkScalarResponse(lua_State* L, int index) {
  luaL_checkstack(L, 8, "table too deep");
  index = lua_absindex(L, index);
  if (!lua_istable(L, index)) luaL_error(L, "Error Green's function should be represented by a table");
  const std::string type = TypeOf(L, index);
  if (type == "Tri") return ReadTwoLists<TriDiagonalMatrixType>(L, index, ChainTexts);
  if (type == "And") return ReadTwoLists<AndersonMatrixType>(L, index, StarTexts);
  if (type == "NaturalImpurityOrbital" || type == "Nat") return ReadOrbitals(L, index);
  if (type != "ListOfPoles")
    luaL_error(L, "Errorr reading Greens function of unknown type (%s)", type.c_str());
  ListOfPoles P = ReadTwoLists<ListOfPoles>(L, index, PolesTexts);
  P.a0 = P.a[0];
  P.a.erase(P.a.begin());
  return P;
}

}  // namespace fermix
