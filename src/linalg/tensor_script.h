// Tensors in scripts: nested tables, one level for each index.
#pragma once

#include "host/script.h"
#include "linalg/compact_tensor.h"

namespace fermix {

// Pushes the elements as nested tables without metatable; numbers where the imaginary part is 0.
int LuaPushTable_CompactTensorType(lua_State* L, const CompactTensorType& t);

}  // namespace fermix
