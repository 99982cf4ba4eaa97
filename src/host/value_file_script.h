// Values of scripts in files: io.put and io.get.
//
// A file of values is a directory. Each variable has a text file in it, a script that reads "name = value",
// so that plain execution of it restores the variable. Capitals of the variable's name become "^" and the
// small letter in the file's name, for file systems that do not tell them apart.
#pragma once

#include "host/script.h"

namespace fermix {

// Writes the value at index as source text that rebuilds it. Tables are written whole, also where two share a
// third one; metatables and metamethods do not count. Raises what can't be written, after what stood before
// it.
void LuaASCIIStreamPrint(lua_State* L, int index, std::FILE* stream);

// Adds get and put to the table io.
void RegisterValueFiles(lua_State* L);

}  // namespace fermix
