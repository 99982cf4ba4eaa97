// Between script values and records: how a binding function reads its arguments, pushes its results and
// fails.
//
// lua_check(L, index, value) fills a typed value or raises the standard argument error; lua_push(L, value)
// pushes one; luaL_isType<T>(L, index) answers without raising whether lua_check would succeed. A record
// lives in a full userdata whose metatable names its type (ScriptType); pushing moves it in, the collector
// owns it from there.
//
// Lua is linked in its C++ build: a script error is an exception that unwinds our frames, and no
// std::exception.
#pragma once

#include <array>
#include <cstring>
#include <exception>
#include <functional>
#include <initializer_list>
#include <lua.hpp>
#include <map>
#include <new>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "host/base/complex16.h"

namespace fermix {

// Runs a full collection, unless the script stopped the collector: what died holds memory that is missed.
void CollectDeadRecords(lua_State* L);

// Pushes text behind the place in the script, as luaL_error does.
void PushErrorText(lua_State* L, const char* text);

// Memory that ran out where the script is owed a text of its own (255 characters of it).
struct OutOfMemory : std::bad_alloc {
  explicit OutOfMemory(const char* message) { std::strncpy(text, message, sizeof text - 1); }
  const char* what() const noexcept override { return text; }
  char text[256] = "";
};

// Wraps every registered function: exhausted memory and other exceptions of ours become script errors, script
// errors pass.
template <lua_CFunction F>
int Entry(lua_State* L) {
  bool memory = false;
  try {
    return F(L);
  } catch (const OutOfMemory& e) {
    CollectDeadRecords(L);
    PushErrorText(L, e.what());
  } catch (const std::bad_alloc&) {
    memory = true;
  } catch (const std::exception& e) {
    PushErrorText(L, e.what());
  }
  if (memory) {
    CollectDeadRecords(L);
    lua_pushstring(L, "not enough memory");
  }
  return lua_error(L);
}

// F, a function that only reads its arguments; when memory runs out, the collector releases what the script
// has dropped, and F has a second attempt.
template <lua_CFunction F>
int TwoAttempts(lua_State* L) {
  const int arguments = lua_gettop(L);
  try {
    return F(L);
  } catch (const std::bad_alloc&) {
  }
  lua_settop(L, arguments);
  CollectDeadRecords(L);
  return F(L);
}

// The metatable name of the script type that holds T: specialised next to the bindings of T as
//   template <> struct ScriptType<OperatorType> { static constexpr const char* name = "Operator_Type"; };
template <class T>
struct ScriptType;

template <class T, class = void>
inline constexpr bool IsScriptRecord = false;
template <class T>
inline constexpr bool IsScriptRecord<T, std::void_t<decltype(ScriptType<T>::name)>> = true;

// The payload of a userdata. bytes is what the record owned on the heap when it was pushed. __gc empties the
// record, so that a second call is harmless and a later use is a clear error.
template <class T>
struct Payload {
  std::optional<T> record;
  std::size_t bytes = 0;
};

// The collector does not see the memory that records own. These count it, and run a full collection before a
// new record when those made since the last one outgrow max(64 MiB, what lived after it), unless the script
// stopped the collector.
void AccountNewRecord(lua_State* L, std::size_t bytes);
void AccountDeadRecord(std::size_t bytes);

// The record at index, or the standard argument error "%s expected, got %s".
template <class T>
T* CheckRecord(lua_State* L, int index) {
  auto* payload = static_cast<Payload<T>*>(luaL_checkudata(L, index, ScriptType<T>::name));
  if (!payload->record) luaL_argerror(L, index, "object has been released");
  return &*payload->record;
}

// The record at index, null if it is something else.
template <class T>
T* TestRecord(lua_State* L, int index) {
  auto* payload = static_cast<Payload<T>*>(luaL_testudata(L, index, ScriptType<T>::name));
  return payload && payload->record ? &*payload->record : nullptr;
}

// Bytes a record owns on the heap; records with large memory overload it next to their definition.
inline std::size_t OwnedBytes(const Complex16&) { return 0; }

// What a record must fulfil to reach a script, a script error otherwise; records that have such a rule
// overload it next to their ScriptType.
template <class T>
void CheckNewRecord(lua_State*, const T&) {}

// Moves record into a new userdata on the stack top; returns 1, the number of results.
template <class T>
requires IsScriptRecord<T>
int lua_push(lua_State* L, T record) {
  static_assert(alignof(Payload<T>) <= 8, "Lua aligns userdata to 8 bytes");
  static_assert(std::is_nothrow_move_constructible_v<T>);
  luaL_checkstack(L, 3, "too many values");
  CheckNewRecord(L, record);
  const std::size_t bytes = OwnedBytes(record);
  AccountNewRecord(L, bytes);
  void* memory = lua_newuserdata(L, sizeof(Payload<T>));
  new (memory) Payload<T>{std::optional<T>(std::move(record)), bytes};
  luaL_setmetatable(L, ScriptType<T>::name);
  return 1;
}

// The __gc metamethod of T.
template <class T>
int CollectRecord(lua_State* L) {
  auto* payload = static_cast<Payload<T>*>(luaL_checkudata(L, 1, ScriptType<T>::name));
  if (payload->record) {
    payload->record.reset();
    AccountDeadRecord(payload->bytes);
  }
  return 0;
}

// --- Reading
// -------------------------------------------------------------------------------------------------------
//
// Reading makes no Lua values, so that the collector stands still: a finaliser of the script could release a
// record that the caller holds.

// Numbers are numbers or numeric strings; integers are rounded to the nearest as lua_tounsigned does, what
// does not fit 32 bits saturates (uint32_t, int) or is cut (uint16_t, uint8_t); "number expected, got nan".
void lua_check(lua_State* L, int index, double& value);
void lua_check(lua_State* L, int index, int& value);
void lua_check(lua_State* L, int index, std::uint32_t& value);
void lua_check(lua_State* L, int index, std::uint16_t& value);
void lua_check(lua_State* L, int index, std::uint8_t& value);
// A string, or a number by "%.14g".
void lua_check(lua_State* L, int index, std::string& value);
std::string CheckText(lua_State* L, int index);
// Number, numeric string (imaginary part 0) or Complex_Type; otherwise "Complex_Type expected, got ...".
void lua_check(lua_State* L, int index, Complex16& value);
// Anything: nil and false are false, all else true.
void lua_check_bool(lua_State* L, int index, bool& value);

// A pointer to the payload of a userdata; the userdata owns it.
template <class T>
requires IsScriptRecord<T>
void lua_check(lua_State* L, int index, T*& value) { value = CheckRecord<T>(L, index); }
// A copy of the payload.
template <class T>
requires(IsScriptRecord<T> && !std::is_same_v<T, Complex16>) void lua_check(lua_State* L, int index,
                                                                            T& value) {
  value = *CheckRecord<T>(L, index);
}

// The length of the list at index, a table, and its element i, counted from 1, which is pushed. Both are raw:
// no metamethod of the script runs while a caller holds on to records. A row view of a matrix (defined there:
// linalg/matrix_index_script.cpp) is the list of the elements that it shows.
int ListLength(lua_State* L, int index);
void PushListElement(lua_State* L, int index, int i);

// Arrays. Anything but a table is read as one element. Nested arrays work by recursion. A failing element
// raises the argument error about index -1.
template <class T>
void lua_check(lua_State* L, int index, std::vector<T>& value) {
  value.clear();
  if (!lua_istable(L, index)) {
    T element{};
    lua_check(L, index, element);
    value.push_back(std::move(element));
    return;
  }
  luaL_checkstack(L, 3, "table too deep");
  const int length = ListLength(L, index);
  value.reserve(std::min(length, 1 << 20));
  for (int i = 1; i <= length; ++i) {
    PushListElement(L, index, i);
    T element{};
    lua_check(L, -1, element);
    value.push_back(std::move(element));
    lua_pop(L, 1);
  }
}

// A table with string keys.
template <class T>
void lua_check(lua_State* L, int index, std::map<std::string, T>& value) {
  luaL_checktype(L, index, LUA_TTABLE);
  luaL_checkstack(L, 4, "table too deep");
  index = lua_absindex(L, index);
  value.clear();
  lua_pushnil(L);
  while (lua_next(L, index)) {
    if (lua_type(L, -2) != LUA_TSTRING) {
      lua_pop(L, 1);  // the key is what the error is about
      luaL_checktype(L, -1, LUA_TSTRING);
    }
    std::string key;
    lua_check(L, -2, key);
    lua_check(L, -1, value[key]);
    lua_pop(L, 1);
  }
}

// The luaL_checkarray_ family: as above, but the value must be a table ("table expected").
template <class T>
void luaL_checkarray(lua_State* L, int index, std::vector<T>& value) {
  luaL_checktype(L, index, LUA_TTABLE);
  lua_check(L, index, value);
}
// As luaL_checkarray for Complex16, with its own text for an element that is neither number nor complex:
// "Error in reading complex table in luaL_checkarray_complex16\n".
void luaL_checkarray_complex16(lua_State* L, int index, std::vector<Complex16>& value);

// Whether lua_check would succeed. A scalar counts as an array; an empty table does not.
template <class T>
bool luaL_isType(lua_State* L, int index);

// --- Pushing
// -------------------------------------------------------------------------------------------------------

inline int lua_push(lua_State* L, double value) { return lua_pushnumber(L, value), 1; }
inline int lua_push(lua_State* L, const std::string& value) {
  return lua_pushlstring(L, value.data(), value.size()), 1;
}
// A plain number when the imaginary part equals 0, else a Complex_Type userdata.
int lua_push(lua_State* L, Complex16 value);
// Always a Complex_Type userdata.
int lua_pushcomplex(lua_State* L, Complex16 value);

// A sequence table.
template <class T>
int lua_push(lua_State* L, std::vector<T> values) {
  luaL_checkstack(L, 3, "table too deep");
  lua_createtable(L, static_cast<int>(values.size()), 0);
  for (std::size_t i = 0; i < values.size(); ++i) {
    lua_push(L, std::move(values[i]));
    lua_rawseti(L, -2, static_cast<int>(i) + 1);
  }
  return 1;
}

// A table with string keys.
template <class T>
int lua_push(lua_State* L, std::map<std::string, T> values) {
  luaL_checkstack(L, 3, "table too deep");
  lua_createtable(L, 0, static_cast<int>(values.size()));
  for (auto& [key, value] : values) {
    lua_push(L, key);
    lua_push(L, std::move(value));
    lua_rawset(L, -3);
  }
  return 1;
}

// --- Options
// -------------------------------------------------------------------------------------------------------

// One row of an option list: the key as scripts give it, its type as messages name it, and how its value
// reaches the target. Made by Option(name, &target); a target keeps its default when its key is absent.
struct LuaOptionsType {
  const char* name;
  const char* type;
  std::function<void(lua_State*, int index)> read;
};
LuaOptionsType Option(const char* name, std::string* target);             // "char*"
LuaOptionsType Option(const char* name, int* target);                     // "int"
LuaOptionsType Option(const char* name, std::uint32_t* target);           // "uint32_t"
LuaOptionsType Option(const char* name, std::uint16_t* target);           // "uint16_t"
LuaOptionsType Option(const char* name, std::uint8_t* target);            // "uint8_t"
LuaOptionsType Option(const char* name, double* target);                  // "double"
LuaOptionsType Option(const char* name, bool* target);                    // "bool"
LuaOptionsType Option(const char* name, std::vector<Complex16>* target);  // "Vector"
// "array-uint32_t-3": three numbers; a table of any other length counts as not given.
LuaOptionsType Option(const char* name, std::optional<std::array<std::uint32_t, 3>>* target);
// Option(name, DeterminantRestrictionType*) stands in core/restriction_script.h, those of plots in
// host/plot_options_script.h.

// True when the value at index has the form of an option list: a table of length 0, or one whose elements are
// all tables of length 2 that begin with a string (a value of exactly that type).
bool LuaTestOptionsList(lua_State* L, int index);

// Reads the option list at index into the targets. Keys are compared without regard to case; every row of a
// name gets the value. Raises the texts that name the position of a bad option.
void LuaCheckOptions(lua_State* L, int index, const std::vector<LuaOptionsType>& rows);

// A number and the name of its option.
struct NamedNumber {
  const char* name;
  double value;
};

// What a script wrote for a count: options keep 32 bits, in which the upper half are the negative numbers.
inline double WrittenCount(std::uint32_t bits) { return static_cast<std::int32_t>(bits); }

// Script errors about the function caller unless all are finite, or none is below the least.
void RequireFinite(lua_State* L, const char* caller, std::initializer_list<NamedNumber> options);
void RequireAtLeast(lua_State* L, const char* caller, int least, std::initializer_list<NamedNumber> options);

// --- Registration
// --------------------------------------------------------------------------------------------------

// Files a metatable under the type's name and fills it; pops it again.
void RegisterMetatable(lua_State* L, const char* name, const luaL_Reg* metamethods);
// Makes a global table of functions.
void RegisterTable(lua_State* L, const char* name, const luaL_Reg* functions);

// Prints "warning: %s\n" with the place in the script; the script goes on.
void luaL_warning(lua_State* L, const char* format, ...) __attribute__((format(printf, 2, 3)));

// How many arguments the function was called with; a script error by format, which has one %d for them,
// unless they are least .. most.
int CheckArgumentCount(lua_State* L, int least, int most, const char* format);

// luaL_error with the C library's printf formats (Lua's own knows neither widths nor precision).
[[noreturn]] void ScriptError(lua_State* L, const char* format, ...) __attribute__((format(printf, 2, 3)));

template <>
struct ScriptType<Complex16> {
  static constexpr const char* name = "Complex_Type";
};

}  // namespace fermix

#include "host/script_is_type.h"
