// Option lists: {{"Name", value}, ...} at the end of a call, read into the settings of the function.
#include <strings.h>

#include <cmath>
#include <limits>

#include "host/base/text.h"
#include "host/script.h"

namespace fermix {

namespace {

// Integers of options are cut towards 0 (luaL_checkinteger) and then to the width of the target; what does
// not even fit 64 bits saturates.
template <class T>
T CheckOptionInteger(lua_State* L, int index) {
  const double x = luaL_checknumber(L, index);
  constexpr double range = 9.2e18;
  if (std::isnan(x)) luaL_argerror(L, index, "number expected, got nan");
  if (std::fabs(x) < range) return static_cast<T>(static_cast<std::int64_t>(x));
  return x < 0 ? std::numeric_limits<T>::min() : std::numeric_limits<T>::max();
}

// Real unless some element has an imaginary part that is more than rounding.
void MakeVectorReal(std::vector<Complex16>& v) {
  constexpr double tolerance = 10 * std::numeric_limits<double>::epsilon();
  for (const Complex16& z : v)
    if (std::fabs(z.im) > tolerance * std::fabs(z.re) + NumericalZero) return;
  for (Complex16& z : v) z.im = 0;
}

bool SameKey(const char* a, const char* b) { return *a && *b && strcasecmp(a, b) == 0; }

std::string PossibleOptions(const std::vector<LuaOptionsType>& rows) {
  std::string text;
  for (const LuaOptionsType& row : rows) sprintfAdd(text, "%s [%s]\n", row.name, row.type);
  return text;
}

// Checks the pair on the stack top, leaves its name and its value above it and returns the name.
const char* CheckPair(lua_State* L, int position) {
  if (!lua_istable(L, -1))
    ScriptError(L,
                "Error in option %d, Options should be a LIST of two elements of the form {\"name\",value}\n",
                position);
  if (lua_rawlen(L, -1) != 2)
    ScriptError(L,
                "Error in option %d, Options should be a list of TWO elements of the form {\"name\",value}\n",
                position);
  lua_rawgeti(L, -1, 1);
  if (lua_type(L, -1) != LUA_TSTRING)
    ScriptError(L,
                "Error in option %d, Options should be a list of two elements of the form {\"NAME\",value}\n",
                position);
  lua_rawgeti(L, -2, 2);
  return lua_tostring(L, -2);
}

}  // namespace

LuaOptionsType Option(const char* name, std::string* target) {
  return {name, "char*", [=](lua_State* L, int index) { lua_check(L, index, *target); }};
}
LuaOptionsType Option(const char* name, int* target) {
  return {name, "int", [=](lua_State* L, int index) { *target = CheckOptionInteger<int>(L, index); }};
}
LuaOptionsType Option(const char* name, std::uint32_t* target) {
  return {name, "uint32_t",
          [=](lua_State* L, int index) { *target = CheckOptionInteger<std::uint32_t>(L, index); }};
}
LuaOptionsType Option(const char* name, std::uint16_t* target) {
  return {name, "uint16_t",
          [=](lua_State* L, int index) { *target = CheckOptionInteger<std::uint16_t>(L, index); }};
}
LuaOptionsType Option(const char* name, std::uint8_t* target) {
  return {name, "uint8_t",
          [=](lua_State* L, int index) { *target = CheckOptionInteger<std::uint8_t>(L, index); }};
}
LuaOptionsType Option(const char* name, double* target) {
  return {name, "double", [=](lua_State* L, int index) { lua_check(L, index, *target); }};
}
LuaOptionsType Option(const char* name, bool* target) {
  return {name, "bool", [=](lua_State* L, int index) { lua_check_bool(L, index, *target); }};
}
LuaOptionsType Option(const char* name, std::vector<Complex16>* target) {
  return {name, "Vector", [=](lua_State* L, int index) {
            luaL_checkarray_complex16(L, index, *target);
            MakeVectorReal(*target);
          }};
}
LuaOptionsType Option(const char* name, std::optional<std::array<std::uint32_t, 3>>* target) {
  return {name, "array-uint32_t-3", [=](lua_State* L, int index) {
            std::vector<std::uint32_t> values;
            luaL_checkarray(L, index, values);
            target->reset();
            if (values.size() == 3) *target = {values[0], values[1], values[2]};
          }};
}

bool LuaTestOptionsList(lua_State* L, int index) {
  if (!lua_istable(L, index) || !lua_checkstack(L, 3)) return false;
  const int length = ListLength(L, index);
  for (int i = 1; i <= length; ++i) {
    PushListElement(L, index, i);
    bool pair = lua_istable(L, -1) && lua_rawlen(L, -1) == 2;
    if (pair) {
      lua_rawgeti(L, -1, 1);
      pair = lua_type(L, -1) == LUA_TSTRING;
      lua_pop(L, 1);
    }
    lua_pop(L, 1);
    if (!pair) return false;
  }
  return true;
}

void LuaCheckOptions(lua_State* L, int index, const std::vector<LuaOptionsType>& rows) {
  luaL_checktype(L, index, LUA_TTABLE);
  luaL_checkstack(L, 6, "too many values");
  index = lua_absindex(L, index);
  const int length = ListLength(L, index);
  for (int i = 1; i <= length; ++i) {
    PushListElement(L, index, i);
    const char* name = CheckPair(L, i);
    bool known = false;
    for (const LuaOptionsType& row : rows) {
      if (!SameKey(row.name, name)) continue;
      known = true;
      row.read(L, -1);
    }
    if (!known)
      ScriptError(L, "Error in option %d, Unrecognized option \"%s\"\n Possible values for options are:\n%s",
                  i, name, PossibleOptions(rows).c_str());
    lua_pop(L, 3);
  }
}

void RequireFinite(lua_State* L, const char* caller, std::initializer_list<NamedNumber> options) {
  for (const NamedNumber& option : options)
    if (!std::isfinite(option.value))
      luaL_error(L, "%s called with a value of %s that is not finite\n", caller, option.name);
}

void RequireAtLeast(lua_State* L, const char* caller, int least, std::initializer_list<NamedNumber> options) {
  for (const NamedNumber& option : options)
    if (option.value < least)
      ScriptError(L, "%s called with %s equal to %g, at least %d is needed\n", caller, option.name,
                  option.value, least);
}

}  // namespace fermix
