#include "host/export_script.h"

#include <cstdio>

namespace fermix {

// A table of numbers gives one a line; a table of rows a line for each row, with tabulators between its
// elements. All is read before the file is opened.
int LuaExport(lua_State* L) {
  luaL_checktype(L, 1, LUA_TTABLE);
  std::string path;
  lua_check(L, 2, path);
  std::vector<std::vector<double>> rows;
  lua_check(L, 1, rows);
  std::FILE* stream = std::fopen(path.c_str(), "w");
  if (!stream) ScriptError(L, "ERROR\nCan't open %s for writing with mode %s.\n", path.c_str(), "w");
  for (const std::vector<double>& row : rows)
    for (std::size_t k = 0; k < row.size(); ++k)
      std::fprintf(stream, k + 1 < row.size() ? "%E\t" : "%E\n", row[k]);
  const bool written = !std::ferror(stream);
  if (std::fclose(stream) != 0 || !written) ScriptError(L, "ERROR\nCan't write to %s.\n", path.c_str());
  return 0;
}

}  // namespace fermix
