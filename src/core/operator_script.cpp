// NewOperator, and the metatable of operators. A term of a script reads as the product does on paper: ladder
// operators from left to right, then the value; { 3, -1, 0.5 } is 0.5 a+_3 a_1. The sign decides, also that
// of zero: -0 annihilates orbital 0.
#include "core/operator_script.h"

#include <algorithm>
#include <cmath>

#include "atomic/operator_factory_script.h"
#include "core/method_script.h"
#include "core/operator_algebra.h"
#include "core/operator_arithmetic_script.h"
#include "core/operator_fields_script.h"
#include "core/product_script.h"
#include "core/restriction_script.h"
#include "host/base/text.h"

namespace fermix {

namespace {

// A longer product would sort for longer than anybody waits, and contract deeper than the stack reaches.
constexpr int MaxTermLength = 1024;

// The table on whose top the numbers of bits for the hash tables stand: entry i for strings of length i. The
// longest first, which makes those below it.
void SetTableSizes(OperatorType& O, const std::vector<Complex16>& NBitsKey) {
  for (std::size_t i = NBitsKey.size(); i > 0; --i) {
    const double bits = NBitsKey[i - 1].re;
    if (std::fabs(bits) > 0.5)
      InitOperatorFixedLength(O, static_cast<std::uint32_t>(i),
                              static_cast<std::uint32_t>(std::clamp(std::nearbyint(bits), 0.0, 31.0)));
  }
}

void ReadOptions(lua_State* L, int index, OperatorType& O) {
  std::string Name = O.Name;
  std::vector<Complex16> NBitsKey;
  LuaCheckOptions(L, index,
                  {Option("restrictions", &O.Restrictions), Option("Restrictions", &O.Restrictions),
                   Option("Name", &Name), Option("NBitsKey", &NBitsKey)});
  if (NBitsKey.size() > MaxTermLength)
    luaL_error(L, "ERROR: LuaNewOperator called with %d entries in NBitsKey, at most %d are allowed\n",
               static_cast<int>(NBitsKey.size()), MaxTermLength);
  SetTableSizes(O, NBitsKey);
  O.Name = RecordName(Name.c_str());
  CheckRestrictionsFit(L, O.Restrictions, O.layout);
}

// The ladder operator that entry k of term t stands for.
LadderIndex ReadLadder(lua_State* L, const KeyLayout& layout, int t, int k) {
  const double x = luaL_checknumber(L, -1), index = std::fabs(x);
  const double particles = double(layout.NFermion) + layout.NBoson;
  const double orbital = QInteger(index) ? std::nearbyint(index) : std::floor(index);
  if (orbital > particles - 1)
    ScriptError(L,
                "ERROR: Opperator %d at position %d adding particle with index %d but there are only %d (%d "
                "Fermions + %d Bosons in the basis)\n)\n",
                t, k, static_cast<int>(std::min(orbital, 2147483647.0)), static_cast<int>(particles),
                static_cast<int>(layout.NFermion), static_cast<int>(layout.NBoson));
  if (!QInteger(index))
    ScriptError(L, "ERROR: Opperator %d at position %d addign particle with index %f should be integer", t, k,
                x);
  const auto i = static_cast<std::uint32_t>(orbital);
  return std::signbit(x) ? Annihilate(i) : Create(i);
}

// Adds term t, which is on the stack top.
void AddTerm(lua_State* L, OperatorType& O, int t) {
  luaL_checktype(L, -1, LUA_TTABLE);
  const int n = static_cast<int>(lua_rawlen(L, -1));
  if (n == 0) luaL_error(L, "ERROR: LuaNewOperator called an empty table as operator at position %d\n", t);
  if (n - 1 > MaxTermLength)
    luaL_error(L, "ERROR: Opperator %d is a product of %d lader operators, at most %d are allowed\n", t,
               n - 1, MaxTermLength);
  std::vector<LadderIndex> lader(static_cast<std::size_t>(n - 1));
  for (int k = 1; k < n; ++k) {
    lua_rawgeti(L, -1, k);
    lader[n - 1 - k] = ReadLadder(L, O.layout, t, k);
    lua_pop(L, 1);
  }
  Complex16 value;
  lua_rawgeti(L, -1, n);
  lua_check(L, -1, value);
  lua_pop(L, 1);
  if (QNaN(value)) luaL_error(L, "ERROR: Opperator %d has a prefactor that is not a number\n", t);
  const auto length = static_cast<std::uint32_t>(lader.size());
  if (length > MaxLength(O)) InitOperatorFixedLength(O, length, 6);
  OperatorAddLaderNormalOrder(O, lader, value, QDetNotOrderedFcFaBcBa);
}

// NewOperator(NF, NB, terms [, options])
int NewOperatorFromTerms(lua_State* L) {
  const int n =
      CheckArgumentCount(L, 3, 4, "ERROR: LuaNewOperator called with %d arguments, expectd 3 or 4\n");
  const double xF = luaL_checknumber(L, 1), xB = luaL_checknumber(L, 2);
  const int NF = CheckRounded(L, 1), NB = CheckRounded(L, 2);
  constexpr double MaxKeyBytes = 4096;
  if (!(xF > -0.5 && xB > -0.5 && std::ceil(NF / 8.0) + NB <= MaxKeyBytes))
    return luaL_error(
        L, "ERROR: LuaNewOperator called with to many particles in he one particle basis NF= %d, NB=%d\n", NF,
        NB);
  luaL_checktype(L, 3, LUA_TTABLE);

  OperatorType O = InitOperator(static_cast<std::uint32_t>(NF), static_cast<std::uint32_t>(NB));
  if (n == 4) ReadOptions(L, 4, O);
  const int terms = static_cast<int>(lua_rawlen(L, 3));
  for (int t = 1; t <= terms; ++t) {
    lua_rawgeti(L, 3, t);
    OrScriptError("Out of memory on place where it should not happen\n", [&] { AddTerm(L, O, t); });
    lua_pop(L, 1);
  }

  return lua_push(L, std::move(O));
}

// NewOperator(kind, ...)
int NewOperatorOfKind(lua_State* L) {
  const std::string kind = lua_tostring(L, 1);
  lua_remove(L, 1);
  const int results = LuaNewNamedOperator(L, kind.c_str());
  if (results >= 0) return results;
  ScriptError(L,
              "ERROR: first argument in NewOperator (%s) is not recognized as a known operatortype\n See "
              "Help(\"NewOperator\") for more information\n",
              kind.c_str());
}

constexpr luaL_Reg metamethods[] = {{"__add", Entry<TwoAttempts<LuaOperatorAdd>>},
                                    {"__sub", Entry<TwoAttempts<LuaOperatorSub>>},
                                    {"__mul", Entry<TwoAttempts<LuaProduct>>},
                                    {"__div", Entry<TwoAttempts<LuaOperatorDiv>>},
                                    {"__unm", Entry<TwoAttempts<LuaOperatorUnm>>},
                                    {"__eq", Entry<LuaOperatorEq>},
                                    {"__index", Entry<LuaOperatorIndex>},
                                    {"__newindex", Entry<LuaOperatorNewIndex>},
                                    {"__tostring", Entry<LuaOperatorToString>},
                                    {"__gc", Entry<CollectRecord<OperatorType>>},
                                    {nullptr, nullptr}};

}  // namespace

void CheckNewRecord(lua_State* L, const OperatorType& O) {
  if (!QFinite(O)) luaL_error(L, "Error, operator with a coefficient that is infinite or not a number\n");
}

void RegisterOperatorType(lua_State* L) { RegisterMetatable(L, ScriptType<OperatorType>::name, metamethods); }

int LuaNewOperator(lua_State* L) {
  if (lua_gettop(L) == 0)
    return luaL_error(L, "ERROR: LuaNewOperator called with 0 arguments, expect at least one\n");
  if (lua_type(L, 1) == LUA_TNUMBER) return NewOperatorFromTerms(L);
  if (lua_type(L, 1) == LUA_TSTRING) return NewOperatorOfKind(L);
  return luaL_error(L,
                    "ERROR: first argument in LuaNewOperator should be a string (use \"Oppname\" as first "
                    "argument)\n");
}

}  // namespace fermix
