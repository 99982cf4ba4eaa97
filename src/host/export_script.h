// Export: numbers of a table as plain text, for other programs.
#pragma once

#include "host/script.h"

namespace fermix {

int LuaExport(lua_State* L);  // Kestor.Export(table of numbers or of rows, path)

}  // namespace fermix
