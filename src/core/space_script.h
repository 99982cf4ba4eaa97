// Where a script combines records of two one-particle spaces: an error that says which counts differ; and
// where it changes a space.
#pragma once

#include "core/determinant.h"
#include "core/method_script.h"

namespace fermix {

// begin: what was being done, as in "Adding two operators with"; between: what stands between the numbers.
inline void CheckSameSpace(lua_State* L, const KeyLayout& a, const KeyLayout& b, const char* begin,
                           const char* format = "%s different number of %s (%d and %d)\n") {
  if (a.NFermion != b.NFermion)
    luaL_error(L, format, begin, "Fermions", static_cast<int>(a.NFermion), static_cast<int>(b.NFermion));
  if (a.NBoson != b.NBoson)
    luaL_error(L, format, begin, "Bosons", static_cast<int>(a.NBoson), static_cast<int>(b.NBoson));
}

// The most particles in a space, and how a message writes it.
struct ParticleLimit {
  int most;
  const char* text;
};

// The new number of particles of a kind, at index 3; old of them are there, and others of the other kind.
inline std::uint32_t CheckCount(lua_State* L, const ParticleLimit& limit, const char* kind, std::uint32_t old,
                                const char* otherKind, std::uint32_t others) {
  const double x = luaL_checknumber(L, 3);
  const int count = CheckRounded(L, 3);
  if (!(x > -0.5 && double(count) + others <= limit.most))
    ScriptError(
        L,
        "Maximum number of fermions + bosons allowed is %s\nTrying to change the number of %s from %d "
        "to %d with %d %s\n",
        limit.text, kind, static_cast<int>(old), count, static_cast<int>(others), otherKind);
  return static_cast<std::uint32_t>(count);
}

}  // namespace fermix
