// What dense records share: a list of real or complex elements, chopped and as text.
#pragma once

#include <string>
#include <vector>

#include "host/base/complex16.h"
#include "host/base/copy_safe_variant.h"

namespace fermix {

using ElementList = CopySafeVariant<std::vector<double>, std::vector<Complex16>>;

// Parts of magnitude strictly below threshold become 0; complex elements without imaginary parts left become
// real.
void ChopElements(ElementList& elements, double threshold);

// An element in a column of 8 characters, or 16 for a complex one, which shows both its parts.
std::string ElementText(double x);
std::string ElementText(Complex16 z);

}  // namespace fermix
