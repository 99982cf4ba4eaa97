// Text that grows by printf, and numbers in a limited width.
#pragma once

#include <string>

#include "host/base/status.h"

namespace fermix {

using DynamicString = std::string;

// Appends formatted text.
void sprintfAdd(DynamicString& text, const char* format, ...) FERMIX_PRINTF(2, 3);

// The most precise text of x that fits into width characters; a non-negative x begins with a blank.
std::string numberToStringMaxWidth(double x, int width);

// A text of width - length blanks, empty when length is the larger.
std::string blankFill(int width, int length);

// At most 255 bytes of text: what the name of a record keeps.
std::string RecordName(const char* text);

}  // namespace fermix
