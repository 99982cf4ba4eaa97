#include "linalg/tensor_script.h"

#include <climits>

namespace fermix {

namespace {

// Pushes the elements from data on, from index number level on; returns what comes behind them.
template <class T>
const T* PushLevel(lua_State* L, const CompactTensorType& t, std::size_t level, const T* data) {
  if (level == t.Dimensions.size()) {
    lua_push(L, *data);
    return data + 1;
  }
  luaL_checkstack(L, 3, "table too deep");
  const auto size = static_cast<int>(t.Dimensions[level]);
  lua_createtable(L, size, 0);
  for (int i = 1; i <= size; ++i) {
    data = PushLevel(L, t, level + 1, data);
    lua_rawseti(L, -2, i);
  }
  return data;
}

}  // namespace

int LuaPushTable_CompactTensorType(lua_State* L, const CompactTensorType& t) {
  for (const std::uint32_t size : t.Dimensions)
    if (size > INT_MAX) throw std::bad_alloc();
  std::visit([&](const auto& data) { PushLevel(L, t, 0, data.data()); }, t.Data);
  return 1;
}

}  // namespace fermix
