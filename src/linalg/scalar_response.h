// A scalar response function in any of its four forms, and the way from each to each.
#pragma once

#include "host/base/copy_safe_variant.h"
#include "linalg/natural_orbitals.h"

namespace fermix {

using ScalarResponse =
    CopySafeVariant<TriDiagonalMatrixType, AndersonMatrixType, ListOfPoles, BADoubleTriDiagonalMatrixType>;

// The half width of the split at mu where a script gives none: the root of the smallest normal double, so
// that poles are split sharply.
inline constexpr double DefaultSplitWidth = 1.4916681462400413e-154;

// The function in the form To, one of the four: exact but for rounding. All levels or poles are kept, as far
// as they take part in the response. w is the half width of the split at mu of natural impurity orbitals; the
// other forms don't read it. Status 1 after a line; result then stays as it is.
template <class To>
[[nodiscard]] int ConvertScalarResponse(const ScalarResponse& source, To& result,
                                        double w = DefaultSplitWidth);

// G at the complex energy z.
Complex16 ResponseAt(const ScalarResponse& source, Complex16 z);

}  // namespace fermix
