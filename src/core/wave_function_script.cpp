// NewWavefunction and the metatable of states.
#include "core/wave_function_script.h"

#include "core/determinant_script.h"
#include "core/method_script.h"
#include "core/product_script.h"
#include "core/wave_function_arithmetic_script.h"
#include "core/wave_function_fields_script.h"
#include "host/base/text.h"

namespace fermix {

namespace {

constexpr DeterminantTexts texts = {
    "Error in LuaWavefunctionNew, length of string(%d) different from NFermion(%d)+2*NBoson(%d)\n",
    "Error in LuaWavefunctionNew, determinant number %d should be a table of %d words\n"};

// Adds the pair {determinant, prefactor} on the stack top, number i of its list. True when its prefactor is
// of Complex_Type.
bool AddPair(lua_State* L, WaveFunctionType& psi, int i) {
  if (!lua_istable(L, -1) || lua_rawlen(L, -1) != 2)
    luaL_error(L,
               "Error in LuaWavefunctionNew, determinant number %d is not of the form "
               "{Determinant,prefactor}\n",
               i);
  lua_rawgeti(L, -1, 1);
  const Key key = CheckDeterminant(L, -1, Layout(psi), i, texts);
  lua_rawgeti(L, -2, 2);
  Complex16 prefactor;
  lua_check(L, -1, prefactor);
  if (QNaN(prefactor))
    luaL_error(L, "Error in LuaWavefunctionNew, prefactor of determinant number %d is not a number\n", i);
  const bool complex = TestRecord<Complex16>(L, -1) != nullptr;
  lua_pop(L, 2);
  ComplexWaveFunctionAddElement(psi, key.data(), prefactor);
  return complex;
}

// A state, if need be after a collection has made room.
WaveFunctionType NewState(lua_State* L, KeyLayout layout, std::uint32_t NBitsKey) {
  try {
    return WaveFunctionType(layout, true, NBitsKey);
  } catch (const std::bad_alloc&) {
  }
  lua_gc(L, LUA_GCCOLLECT, 0);
  return OrScriptError("WaveFunctionInit failed, your most probably out of memory",
                       [&] { return WaveFunctionType(layout, true, NBitsKey); });
}

constexpr luaL_Reg metamethods[] = {{"__add", Entry<TwoAttempts<LuaWavefunctionAdd>>},
                                    {"__sub", Entry<TwoAttempts<LuaWavefunctionSubMin>>},
                                    {"__mul", Entry<TwoAttempts<LuaProduct>>},
                                    {"__div", Entry<TwoAttempts<LuaWavefunctionDiv>>},
                                    {"__unm", Entry<TwoAttempts<LuaWavefunctionUnm>>},
                                    {"__eq", Entry<LuaWavefunctionEq>},
                                    {"__index", Entry<LuaWavefunctionIndex>},
                                    {"__newindex", Entry<LuaWavefunctionNewIndex>},
                                    {"__tostring", Entry<LuaWavefunctionToString>},
                                    {"__gc", Entry<CollectRecord<WaveFunctionType>>},
                                    {nullptr, nullptr}};

}  // namespace

void RegisterWaveFunctionType(lua_State* L) {
  RegisterMetatable(L, ScriptType<WaveFunctionType>::name, metamethods);
}

// NewWavefunction(NF, NB, determinants [, options])
int LuaNewWavefunction(lua_State* L) {
  const int n = lua_gettop(L);
  if (n >= 2 && lua_isnumber(L, 2) && lua_tonumber(L, 2) != 0)
    return luaL_error(L, "Bosons not included in this version\n Sorry\n");
  if (n < 3 || n > 4)
    return luaL_error(L, "ERROR: LuaNewWaveFunction called with %d arguments, expectd 3 or 4\n", n);
  const double NF = luaL_checknumber(L, 1);
  luaL_checknumber(L, 2);
  if (!(NF > -0.5 && NF <= MaxStateParticles))
    return luaL_error(
        L,
        "ERROR: LuaNewWaveFunction called with to many particles in the one particle basis NF= %d, NB=%d\n",
        CheckRounded(L, 1), 0);
  luaL_checktype(L, 3, LUA_TTABLE);
  std::string Name = "Wave Function";
  std::uint32_t NBitsKey = 16;
  if (n == 4) LuaCheckOptions(L, 4, {Option("Name", &Name), Option("NBitsKey", &NBitsKey)});

  if (NBitsKey > MaxNBitsKey)
    return luaL_error(L, "WaveFunctionInit failed, your most probably out of memory");
  WaveFunctionType psi = NewState(L, {static_cast<std::uint32_t>(CheckRounded(L, 1)), 0}, NBitsKey);
  psi.Name = RecordName(Name.c_str());
  const int count = static_cast<int>(lua_rawlen(L, 3));
  bool complex = false;
  for (int i = 1; i <= count; ++i) {
    lua_rawgeti(L, 3, i);
    complex |= AddPair(L, psi, i);
    lua_pop(L, 1);
  }
  if (!complex) DropImaginaryParts(psi);  // prefactors that are numbers have none

  return lua_push(L, std::move(psi));
}

}  // namespace fermix
