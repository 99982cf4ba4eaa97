// Rows of option lists that hold the options of plots.
#pragma once

#include "host/base/plot_options.h"
#include "host/script.h"

namespace fermix {

// "FramePlotOptions": a nested option list whose keys are the names of the fields.
LuaOptionsType Option(const char* name, FramePlotOptions* target);

// "LinePlotOptionsArray": a table from line numbers to nested option lists. The array grows to the largest
// number; new elements begin as copies of element 0.
LuaOptionsType Option(const char* name, LinePlotOptionsArray* target);

}  // namespace fermix
