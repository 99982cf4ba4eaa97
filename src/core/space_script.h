// Where a script combines records of two one-particle spaces: an error that says which counts differ.
#pragma once

#include "core/determinant.h"
#include "host/script.h"

namespace fermix {

// begin: what was being done, as in "Adding two operators with"; between: what stands between the numbers.
inline void CheckSameSpace(lua_State* L, const KeyLayout& a, const KeyLayout& b, const char* begin,
                           const char* format = "%s different number of %s (%d and %d)\n") {
  if (a.NFermion != b.NFermion)
    luaL_error(L, format, begin, "Fermions", static_cast<int>(a.NFermion), static_cast<int>(b.NFermion));
  if (a.NBoson != b.NBoson)
    luaL_error(L, format, begin, "Bosons", static_cast<int>(a.NBoson), static_cast<int>(b.NBoson));
}

}  // namespace fermix
