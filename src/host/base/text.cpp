#include "host/base/text.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace fermix {

void sprintfAdd(DynamicString& text, const char* format, ...) {
  std::va_list arguments, again;
  va_start(arguments, format);
  va_copy(again, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, arguments);
  va_end(arguments);
  if (length > 0) {
    const std::size_t old = text.size();
    text.resize(old + length + 1);  // vsnprintf writes its terminator behind the text
    std::vsnprintf(text.data() + old, length + 1, format, again);
    text.pop_back();
  }
  va_end(again);
}

std::string blankFill(int width, int length) { return std::string(std::max(0, width - length), ' '); }

std::string RecordName(const char* text) { return std::string(text, strnlen(text, 255)); }

}  // namespace fermix
