#include "spectra/spectra_arguments_script.h"

#include <cmath>

namespace fermix {

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
