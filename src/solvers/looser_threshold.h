// What a solver pays when memory runs out: accuracy.
#pragma once

#include <algorithm>
#include <cfloat>

namespace fermix {

// The next threshold of truncation: twice the last one. Elements below DBL_EPSILON of a state are rounding,
// and a threshold of 0 would stay what it is: from both the way starts at DBL_EPSILON, so that it has an end.
inline double LooserThreshold(double epsilon) { return std::max(DBL_EPSILON, 2 * epsilon); }

}  // namespace fermix
