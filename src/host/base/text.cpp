#include "host/base/text.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>

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

namespace {

// The plain form of x with as many decimals as room allows, without zeros at its end; nothing when even the
// integer part is too long.
std::optional<std::string> PlainForm(double x, int room) {
  DynamicString integer;
  sprintfAdd(integer, "%.0f", x);
  const int length = static_cast<int>(integer.size());
  if (length > room) return {};
  for (int decimals = room; decimals > 0; --decimals) {
    DynamicString text;
    sprintfAdd(text, "%.*f", decimals, x);
    text.erase(text.find_last_not_of('0') + 1);
    if (text.back() == '.') text.pop_back();
    if (static_cast<int>(text.size()) <= room) return text;
  }
  return integer;
}

// The form "1.25e-7" with as many digits as room allows, without zeros at the end of the mantissa.
std::optional<std::string> ExponentForm(double x, int room) {
  for (int decimals = std::min(room, 17); decimals >= 0; --decimals) {
    DynamicString text;
    sprintfAdd(text, "%.*e", decimals, x);
    const std::size_t e = text.find('e');
    std::string mantissa = text.substr(0, e);
    if (decimals > 0) {
      mantissa.erase(mantissa.find_last_not_of('0') + 1);
      if (mantissa.back() == '.') mantissa.pop_back();
    }
    sprintfAdd(mantissa, "e%d", std::atoi(text.c_str() + e + 1));
    if (static_cast<int>(mantissa.size()) <= room) return mantissa;
  }
  return {};
}

double Deviation(const std::string& text, double x) {
  return std::fabs(std::strtod(text.c_str(), nullptr) - x);
}

}  // namespace

std::string numberToStringMaxWidth(double x, int width) {
  if (std::isnan(x)) return "nan";
  if (std::isinf(x)) return "inf";
  if (x == 0) return " 0";
  const std::string blank = std::signbit(x) ? "" : " ";
  const int room = width - static_cast<int>(blank.size());
  const auto plain = PlainForm(x, room), exponent = ExponentForm(x, room);
  if (!plain && !exponent) return std::fabs(x) < 1 ? "0" : "inf";
  // The plain form wins a tie.
  const std::string& best =
      !exponent || (plain && Deviation(*plain, x) <= Deviation(*exponent, x)) ? *plain : *exponent;
  return std::strtod(best.c_str(), nullptr) == 0 ? "0" : blank + best;
}

std::string blankFill(int width, int length) { return std::string(std::max(0, width - length), ' '); }

std::string RecordName(const char* text) { return std::string(text, strnlen(text, 255)); }

}  // namespace fermix
