// How a plot looks: its frame, and its lines.
//
// Lengths are shares of the canvas; colours are alpha, red, green and blue, a byte each.
#pragma once

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace fermix {

// Limits that are infinite are taken from the data, ticks that are infinite begin at the lower limit.
struct FramePlotOptions {
  double Xmin = -std::numeric_limits<double>::infinity(), Ymin = Xmin;
  double Xmax = std::numeric_limits<double>::infinity(), Ymax = Xmax;
  double XLMargin = 0.08, YLMargin = 0.11313708498984762;  // left and bottom
  double XRMargin = 0.01, YRMargin = 0.014142135623730952;
  double LineWidth = 0.001;
  std::uint32_t Color = 0xFF000000;
  double FontSize = 0.04;
  std::string Font = "TimesNewRomanPSMT", XLabel, YLabel;
  double FirstXTick = -std::numeric_limits<double>::infinity(), dXTick = 1;
  int NMinorXTick = 9;
  double FirstYTick = -std::numeric_limits<double>::infinity(), dYTick = 1;
  int NMinorYTick = 9;
  std::string XFormat = "%.0f", YFormat = "%.0f";  // as printf takes them
  double XAxis = 0, YAxis = 0;
};

// A width or size of 0 draws nothing.
struct LinePlotOptions {
  double LineWidth = 0.002;
  std::uint32_t LineColor = 0xFF000000;
  double PointSize = 0;
  std::uint32_t PointColor = 0xFF000000;
};

// Element 0 is the style of a line that has none of its own, element k that of line k.
using LinePlotOptionsArray = std::vector<LinePlotOptions>;

}  // namespace fermix
