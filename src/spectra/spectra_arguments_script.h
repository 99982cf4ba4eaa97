// Arguments that the functions which compute spectra have in common.
#pragma once

#include <vector>

#include "core/operator_script.h"
#include "core/wave_function_script.h"
#include "host/script.h"

namespace fermix {

// The record at index, or those of the table there. Their userdata stay on the stack, so that the script
// can't lose them while they are in use.
template <class T>
std::vector<const T*> ReadRecords(lua_State* L, int index) {
  if (!lua_istable(L, index)) return {CheckRecord<T>(L, index)};
  std::vector<const T*> records;
  const int count = static_cast<int>(lua_rawlen(L, index));
  for (int i = 1; i <= count; ++i) {
    luaL_checkstack(L, 8, "too many elements");
    lua_rawgeti(L, index, i);
    records.push_back(CheckRecord<T>(L, -1));  // as other lists report an element
  }
  return records;
}

// The arguments from first on of a function that goes in two steps: T1, T2 and psi, each a record or a table.
struct TwoStepArguments {
  std::vector<const OperatorType*> T1, T2;
  std::vector<const WaveFunctionType*> psi;
};
// Raises an error about the function caller when one of them is empty.
TwoStepArguments ReadTwoStepArguments(lua_State* L, int first, const char* caller);

// Throws, with the text for the user, where they have another one-particle space than H.
void RequireSpaceOf(const OperatorType& H, const char* name, const TwoStepArguments& arguments);

}  // namespace fermix
