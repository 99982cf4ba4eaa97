#include "linalg/matrix_script.h"

#include <cfloat>

namespace fermix {

namespace {

// Noise in the imaginary part that a real matrix may carry, relative to the real part.
bool QNumericallyReal(Complex16 z) { return std::fabs(z.im) <= DBL_EPSILON * std::fabs(z.re); }

}  // namespace

CompactMatrixType luaL_checkCompactMatrix(lua_State* L, int index) {
  luaL_checktype(L, index, LUA_TTABLE);
  luaL_checkstack(L, 3, "table too deep");
  const auto Ni = static_cast<std::uint32_t>(lua_rawlen(L, index));
  std::vector<Complex16> elements, row;
  std::size_t Nj = 0;
  bool real = true;
  for (std::uint32_t i = 0; i < Ni; ++i) {
    lua_rawgeti(L, index, static_cast<int>(i) + 1);
    luaL_checkarray_complex16(L, lua_gettop(L), row);
    lua_pop(L, 1);
    if (i == 0) Nj = row.size();
    if (row.size() != Nj)
      ScriptError(L,
                  "Error while reading matrix. Dimensions of rows not constant. %d at first row %d at row %d",
                  static_cast<int>(Nj), static_cast<int>(row.size()), static_cast<int>(i) + 1);
    for (const Complex16 z : row) real &= QNumericallyReal(z);
    elements.insert(elements.end(), row.begin(), row.end());
  }
  CompactMatrixType m = InitCompactMatrix(Ni, static_cast<std::uint32_t>(Nj), !real);
  std::visit(
      [&](auto& data) {
        for (std::size_t k = 0; k < elements.size(); ++k)
          data[k] = ToKind<std::decay_t<decltype(data[0])>>(elements[k]);
      },
      m.Data);
  return m;
}

int LuaPushTable_CompactMatrixType(lua_State* L, const CompactMatrixType& m) {
  luaL_checkstack(L, 4, "table too deep");
  lua_createtable(L, static_cast<int>(m.Ni), 0);
  for (std::uint32_t i = 0; i < m.Ni; ++i) {
    lua_createtable(L, static_cast<int>(m.Nj), 0);
    for (std::uint32_t j = 0; j < m.Nj; ++j) {
      lua_push(L, CompactMatrixElement(m, i, j));
      lua_rawseti(L, -2, static_cast<int>(j) + 1);
    }
    lua_rawseti(L, -2, static_cast<int>(i) + 1);
  }
  lua_getglobal(L, "MatrixMeta");
  if (lua_istable(L, -1)) {
    lua_setmetatable(L, -2);
  } else {
    lua_pop(L, 1);
  }
  return 1;
}

}  // namespace fermix
