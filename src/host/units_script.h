// PhysicalConstants and EnergyUnits of the scripts.
#pragma once

#include "host/script.h"

namespace fermix {

// Makes both tables; energies start in electron volt.
void luaopen_units(lua_State* L);

}  // namespace fermix
