#include "core/restriction_script.h"

#include "core/determinant_script.h"

namespace fermix {

namespace {

constexpr const char* RestrictionFormat =
    "Restrictions should be given in the format "
    "{NFermion,NBoson,{\"determinant1\",minocc,maxocc},{\"determinant2\",minocc,maxocc},...}";

// Orbitals and modes together, so that sizes of keys can't overflow.
constexpr std::uint32_t MaxParticles = 65536;

// Entry i of the table on the stack top.
std::uint32_t CheckCount(lua_State* L, int i) {
  std::uint32_t value = 0;
  lua_rawgeti(L, -1, i);
  lua_check(L, -1, value);
  lua_pop(L, 1);
  return value;
}

// Mask r, on the stack top. A text that does not fit is no error: StringToDet says so and gives a mask that
// counts nothing.
Key CheckMask(lua_State* L, const KeyLayout& layout, int r) {
  if (!lua_isstring(L, -1))
    return CheckDeterminantBytes(
        L, lua_gettop(L), layout, r,
        "Error in Restrictions, determinant number %d should be a table of %d words\n", false);
  std::string text;
  lua_check(L, -1, text);
  return StringToDet(layout.NFermion, layout.NBoson, text);
}

}  // namespace

void luaL_setarray_DeterminatRestrictionType(lua_State* L, int index, DeterminantRestrictionType* out) {
  DeterminantRestrictionType R;
  if (!lua_isnoneornil(L, index)) {
    luaL_checktype(L, index, LUA_TTABLE);
    luaL_checkstack(L, 6, "table too deep");
    const int length = static_cast<int>(lua_rawlen(L, index));
    if (length < 3) luaL_error(L, "%s", RestrictionFormat);
    lua_pushvalue(L, index);
    R.layout = {CheckCount(L, 1), CheckCount(L, 2)};
    if (std::uint64_t{R.layout.NFermion} + R.layout.NBoson > MaxParticles)
      luaL_error(L, "Error in Restrictions, to many particles in the one particle basis NF= %d, NB=%d\n",
                 static_cast<int>(R.layout.NFermion), static_cast<int>(R.layout.NBoson));
    for (int r = 0; r < length - 2; ++r) {
      lua_rawgeti(L, -1, r + 3);
      luaL_checktype(L, -1, LUA_TTABLE);
      if (lua_rawlen(L, -1) != 3) luaL_error(L, "%s", RestrictionFormat);
      lua_rawgeti(L, -1, 1);
      R.Masks.push_back(CheckMask(L, R.layout, r));
      lua_pop(L, 1);
      R.MinOccupation.push_back(CheckCount(L, 2));
      R.MaxOccupation.push_back(CheckCount(L, 3));
      lua_pop(L, 1);
    }
    lua_pop(L, 1);
  }
  *out = std::move(R);
}

void CheckRestrictionsFit(lua_State* L, const DeterminantRestrictionType& R, const KeyLayout& layout) {
  if (NRestrictions(R) == 0) return;
  if (R.layout.NFermion != layout.NFermion)
    luaL_error(L,
               "Number of Fermions in definition of restrictions (%d) not the same as number of Fermions in "
               "operator (%d)\n",
               static_cast<int>(R.layout.NFermion), static_cast<int>(layout.NFermion));
  if (R.layout.NBoson != layout.NBoson)
    luaL_error(L,
               "Number of Bosons in definition of restrictions (%d) not the same as number of Bosons in "
               "operator (%d)\n",
               static_cast<int>(R.layout.NBoson), static_cast<int>(layout.NBoson));
}

int LuaPushTable_Restrictions(lua_State* L, DeterminantRestrictionType R) {
  luaL_checkstack(L, 4, "table too deep");
  if (NRestrictions(R) == 0) return lua_pushnil(L), 1;
  lua_createtable(L, static_cast<int>(NRestrictions(R)) + 2, 0);
  lua_push(L, double(R.layout.NFermion));
  lua_rawseti(L, -2, 1);
  lua_push(L, double(R.layout.NBoson));
  lua_rawseti(L, -2, 2);
  for (std::uint32_t r = 0; r < NRestrictions(R); ++r) {
    lua_createtable(L, 3, 0);
    lua_push(L, DetToString(R.layout.NFermion, R.layout.NBoson, R.Masks[r].data()));
    lua_rawseti(L, -2, 1);
    lua_push(L, double(R.MinOccupation[r]));
    lua_rawseti(L, -2, 2);
    lua_push(L, double(R.MaxOccupation[r]));
    lua_rawseti(L, -2, 3);
    lua_rawseti(L, -2, static_cast<int>(r) + 3);
  }
  return 1;
}

LuaOptionsType Option(const char* name, DeterminantRestrictionType* target) {
  return {name, "DeterminantRestrictionType",
          [=](lua_State* L, int index) { luaL_setarray_DeterminatRestrictionType(L, index, target); }};
}

}  // namespace fermix
