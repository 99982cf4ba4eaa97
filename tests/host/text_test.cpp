#include "host/base/text.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>
#include <random>

namespace fermix {
namespace {

TEST(NumberToStringMaxWidth, TakesTheFormThatFits) {
  const struct {
    double x;
    int width;
    const char* text;
  } cases[] = {{0, 7, " 0"},
               {NAN, 7, "nan"},
               {1e-300, 4, "0"},
               {-2.0 / 3, 7, "-0.6667"},
               {1234567, 7, " 1.23e6"},
               {1234567, 8, " 1234567"},
               {0.00012345, 7, " 1.2e-4"},
               {-1.24e-100, 9, "-1.2e-100"},
               {9.96e99, 6, " 1e100"},  // rounding carries into the exponent
               {99999.6, 6, " 1e5"},
               {9.99996, 6, " 10"}};
  for (const auto& c : cases)
    EXPECT_EQ(numberToStringMaxWidth(c.x, c.width), c.text) << c.x << " in " << c.width;
}

TEST(NumberToStringMaxWidth, NeverOutgrowsTheWidthAndImprovesWithIt) {
  std::mt19937 random(1);
  std::uniform_real_distribution<double> mantissa(-1, 1), exponent(-30, 30);
  for (int i = 0; i < 300; ++i) {
    const double x = mantissa(random) * std::pow(10, exponent(random));
    double last = std::numeric_limits<double>::infinity();
    for (int width = 6; width < 26; ++width) {
      const std::string text = numberToStringMaxWidth(x, width);
      EXPECT_LE(text.size(), static_cast<std::size_t>(width)) << text;
      const double deviation = std::fabs(std::strtod(text.c_str(), nullptr) - x);
      EXPECT_LE(deviation, last) << x << " in " << width;
      last = deviation;
    }
    EXPECT_LE(last, 1e-15 * std::fabs(x)) << x;
  }
}

}  // namespace
}  // namespace fermix
