#include "linalg/element_list.h"

#include <algorithm>
#include <cmath>

#include "host/base/text.h"

namespace fermix {

void ChopElements(ElementList& elements, double threshold) {
  const auto chop = [threshold](double x) { return std::fabs(x) < threshold ? 0 : x; };
  if (elements.index() == 0) {
    for (double& x : std::get<0>(elements)) x = chop(x);
    return;
  }
  auto& complex = std::get<1>(elements);
  bool imaginary = false;
  for (Complex16& z : complex) {
    z = {chop(z.re), chop(z.im)};
    imaginary |= z.im != 0;
  }
  if (imaginary) return;
  std::vector<double> reals(complex.size());
  std::transform(complex.begin(), complex.end(), reals.begin(), [](Complex16 z) { return z.re; });
  elements = std::move(reals);
}

std::string ElementText(double x) {
  constexpr int width = 8;
  const std::string text = numberToStringMaxWidth(x, width - 1);
  return text + blankFill(width, static_cast<int>(text.size()));
}

std::string ElementText(Complex16 z) {
  constexpr int width = 16;
  std::string text = numberToStringMaxWidth(z.re, 7);
  text += z.im < 0 ? " -" : " +";
  text += numberToStringMaxWidth(std::fabs(z.im), width - 1 - static_cast<int>(text.size()));
  text += " I";
  return text + blankFill(width, static_cast<int>(text.size()));
}

}  // namespace fermix
