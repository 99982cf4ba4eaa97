// Arguments that are one record or a list of them.
#pragma once

#include "host/script.h"

namespace fermix {

// The records belong to the script, which holds them on the stack and in the list; hold a CollectorPause
// while they are in use.
template <class T>
struct RecordList {
  std::vector<const T*> records;
  bool single = false;
};

template <class T>
RecordList<T> CheckRecords(lua_State* L, int index) {
  if (!lua_istable(L, index)) return {{CheckRecord<T>(L, index)}, true};
  RecordList<T> list;
  const int count = static_cast<int>(lua_rawlen(L, index));
  for (int i = 1; i <= count; ++i) {
    lua_rawgeti(L, index, i);
    list.records.push_back(CheckRecord<T>(L, -1));
    lua_pop(L, 1);
  }
  return list;
}

}  // namespace fermix
