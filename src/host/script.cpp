#include "host/script.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <limits>

#include "host/base/text.h"

namespace fermix {

namespace {

// Bytes owned by records of living userdata; of those, the bytes made since the last full collection; and
// what lived right after it.
std::size_t living = 0, madeSinceCollection = 0, livedAfterCollection = 0;

constexpr std::size_t freeAllowance = std::size_t{64} << 20;

// The number at index to the nearest integer, ties to even as lua_tounsigned does, within the range of T.
template <class T>
T CheckRounded(lua_State* L, int index) {
  using Limits = std::numeric_limits<T>;
  const double x = luaL_checknumber(L, index);
  if (std::isnan(x)) luaL_argerror(L, index, "number expected, got nan");
  const double rounded = std::nearbyint(x);
  if (rounded <= static_cast<double>(Limits::min())) return Limits::min();
  if (rounded >= static_cast<double>(Limits::max())) return Limits::max();
  return static_cast<T>(rounded);
}

std::string FormatText(const char* format, std::va_list arguments) {
  std::va_list again;
  va_copy(again, arguments);
  std::string text(std::max(0, std::vsnprintf(nullptr, 0, format, arguments)) + 1, '\0');
  std::vsnprintf(text.data(), text.size(), format, again);
  va_end(again);
  text.pop_back();
  return text;
}

}  // namespace

void CollectDeadRecords(lua_State* L) {
  if (!lua_gc(L, LUA_GCISRUNNING, 0)) return;
  lua_gc(L, LUA_GCCOLLECT, 0);
  livedAfterCollection = living;
  madeSinceCollection = 0;
}

void AccountNewRecord(lua_State* L, std::size_t bytes) {
  const std::size_t allowance = std::max(freeAllowance, livedAfterCollection);
  if (madeSinceCollection + bytes > allowance) CollectDeadRecords(L);
  living += bytes;
  madeSinceCollection += bytes;
}

void AccountDeadRecord(std::size_t bytes) { living -= std::min(living, bytes); }

// --- Reading

void lua_check(lua_State* L, int index, double& value) { value = luaL_checknumber(L, index); }
void lua_check(lua_State* L, int index, int& value) { value = CheckRounded<int>(L, index); }
void lua_check(lua_State* L, int index, std::uint32_t& value) {
  value = CheckRounded<std::uint32_t>(L, index);
}
void lua_check(lua_State* L, int index, std::uint16_t& value) {
  value = static_cast<std::uint16_t>(CheckRounded<std::int64_t>(L, index));
}
void lua_check(lua_State* L, int index, std::uint8_t& value) {
  value = static_cast<std::uint8_t>(CheckRounded<std::int64_t>(L, index));
}

// A number is written here and not by Lua, which would make a string, and that may run the collector.
void lua_check(lua_State* L, int index, std::string& value) {
  if (lua_type(L, index) == LUA_TNUMBER) {
    char text[LUAI_MAXNUMBER2STR];
    lua_number2str(text, lua_tonumber(L, index));
    value = text;
    return;
  }
  std::size_t length = 0;
  const char* text = luaL_checklstring(L, index, &length);
  value.assign(text, length);
}

std::string CheckText(lua_State* L, int index) {
  std::string text;
  lua_check(L, index, text);
  return text;
}

void lua_check(lua_State* L, int index, Complex16& value) {
  value = lua_isnumber(L, index) ? Complex16(lua_tonumber(L, index)) : *CheckRecord<Complex16>(L, index);
}

void lua_check_bool(lua_State* L, int index, bool& value) { value = lua_toboolean(L, index); }

void luaL_checkarray_complex16(lua_State* L, int index, std::vector<Complex16>& value) {
  luaL_checktype(L, index, LUA_TTABLE);
  luaL_checkstack(L, 3, "table too deep");
  value.clear();
  const int length = ListLength(L, index);
  for (int i = 1; i <= length; ++i) {
    PushListElement(L, index, i);
    if (!luaL_isType<Complex16>(L, -1))
      luaL_error(L, "Error in reading complex table in luaL_checkarray_complex16\n");
    lua_check(L, -1, value.emplace_back());
    lua_pop(L, 1);
  }
}

// --- Pushing

int lua_pushcomplex(lua_State* L, Complex16 value) {
  luaL_checkstack(L, 3, "too many values");
  void* memory = lua_newuserdata(L, sizeof(Payload<Complex16>));
  new (memory) Payload<Complex16>{value, 0};
  luaL_setmetatable(L, ScriptType<Complex16>::name);
  return 1;
}

int lua_push(lua_State* L, Complex16 value) {
  return value.im == 0.0 ? lua_push(L, value.re) : lua_pushcomplex(L, value);
}

// --- Registration

void RegisterMetatable(lua_State* L, const char* name, const luaL_Reg* metamethods) {
  luaL_newmetatable(L, name);
  luaL_setfuncs(L, metamethods, 0);
  lua_pop(L, 1);
}

void RegisterTable(lua_State* L, const char* name, const luaL_Reg* functions) {
  lua_newtable(L);
  luaL_setfuncs(L, functions, 0);
  lua_setglobal(L, name);
}

// --- Messages

int CheckArgumentCount(lua_State* L, int least, int most, const char* format) {
  const int n = lua_gettop(L);
  if (n < least || n > most) luaL_error(L, format, n);
  return n;
}

void luaL_warning(lua_State* L, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const std::string text = FormatText(format, arguments);
  va_end(arguments);
  luaL_where(L, 1);
  Say("warning: %s%s\n", lua_tostring(L, -1), text.c_str());
  lua_pop(L, 1);
}

void PushErrorText(lua_State* L, const char* text) {
  luaL_where(L, 1);
  lua_pushstring(L, text);
  lua_concat(L, 2);
}

void ScriptError(lua_State* L, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  std::string text = FormatText(format, arguments);
  va_end(arguments);
  luaL_where(L, 1);
  lua_pushlstring(L, text.data(), text.size());
  std::string().swap(text);
  lua_concat(L, 2);
  lua_error(L);
  std::abort();  // lua_error does not return
}

}  // namespace fermix
