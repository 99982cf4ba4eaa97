// Options of plots through a Lua state.
#include "host/plot_options_script.h"

#include <gtest/gtest.h>

#include <cmath>

#include "host/script_fixture.h"

namespace fermix {
namespace {

FramePlotOptions frame;
LinePlotOptionsArray lines;

// Reads into what a caller has set up.
int ReadPlot(lua_State* L) {
  LuaCheckOptions(L, 1, {Option("Frame", &frame), Option("Axis", &frame), Option("LineStyle", &lines)});
  return 0;
}

class PlotOptions : public Script {
 protected:
  PlotOptions() {
    Function("plot", Entry<ReadPlot>);
    frame = {};
    lines = {};
  }
  std::string Error(const std::string& options) {
    return Run("return select(2, pcall(plot, " + options + "))");
  }
};

TEST_F(PlotOptions, EveryFieldOfAFrameHasItsKey) {
  std::string source = "plot{{'Frame', {", list;
  double value = 0;
  for (const char* key : {"Xmin",     "Ymin",        "Xmax",       "Ymax",    "XLMargin",    "YLMargin",
                          "XRMargin", "YRMargin",    "LineWidth",  "Color",   "FontSize",    "Font",
                          "XLabel",   "YLabel",      "FirstXTick", "dXTick",  "NMinorXTick", "FirstYTick",
                          "dYTick",   "NMinorYTick", "XFormat",    "YFormat", "XAxis",       "YAxis"})
    source += "{'" + std::string(key) + "', " + std::to_string(static_cast<int>(++value)) + "},";
  EXPECT_EQ(Run(source + "}}}"), "nil");
  const FramePlotOptions& f = frame;
  const std::vector<double> numbers = {f.Xmin,
                                       f.Ymin,
                                       f.Xmax,
                                       f.Ymax,
                                       f.XLMargin,
                                       f.YLMargin,
                                       f.XRMargin,
                                       f.YRMargin,
                                       f.LineWidth,
                                       double(f.Color),
                                       f.FontSize,
                                       std::stod(f.Font),
                                       std::stod(f.XLabel),
                                       std::stod(f.YLabel),
                                       f.FirstXTick,
                                       f.dXTick,
                                       double(f.NMinorXTick),
                                       f.FirstYTick,
                                       f.dYTick,
                                       double(f.NMinorYTick),
                                       std::stod(f.XFormat),
                                       std::stod(f.YFormat),
                                       double(f.XAxis),
                                       double(f.YAxis)};
  for (int i = 0; i < 24; ++i) EXPECT_EQ(numbers[i], i + 1);
}

TEST_F(PlotOptions, WhatIsNotGivenStays) {
  EXPECT_EQ(Run("plot{{'axis', {{'xmin', -2}, {'Color', 4278190335}}}, {'Frame', {}}}"), "nil");
  EXPECT_EQ(frame.Xmin, -2);
  EXPECT_EQ(frame.Color, 0xFF0000FFu);
  EXPECT_TRUE(std::isinf(frame.Ymin) && frame.Ymin < 0 && std::isinf(frame.Xmax) && frame.Xmax > 0);
  EXPECT_EQ(frame.XFormat, "%.0f");
}

TEST_F(PlotOptions, LinesGrowToTheLargestKey) {
  lines = {LinePlotOptions{0.5, 1, 2, 3}, LinePlotOptions{0.25, 4, 5, 6}};
  EXPECT_EQ(Run("plot{{'LineStyle', {[4] = {{'PointSize', 9}}, ['1'] = {{'linewidth', 8}}, [0] = "
                "{{'LineColor', 7}}}}}"),
            "nil");
  ASSERT_EQ(lines.size(), 5u);
  EXPECT_EQ(lines[0].LineColor, 7u);
  EXPECT_EQ(lines[1].LineWidth, 8);
  EXPECT_EQ(lines[1].PointColor, 6u);
  for (int i : {2, 3, 4}) {  // copies of the first one as it was
    EXPECT_EQ(lines[i].LineWidth, 0.5);
    EXPECT_EQ(lines[i].LineColor, 1u);
    EXPECT_EQ(lines[i].PointSize, i == 4 ? 9 : 2);
  }
  EXPECT_EQ(Run("plot{{'LineStyle', {}}}"), "nil");
  EXPECT_EQ(lines.size(), 5u);
}

TEST_F(PlotOptions, RefusesWhatIsWrong) {
  const char* key = "Error Options array for line types should only have integer keys\n";
  const struct {
    const char *options, *message;
  } cases[] = {
      {"{{'LineStyle', {x = {}}}}", key},
      {"{{'LineStyle', {[-1] = {}}}}", key},
      {"{{'LineStyle', {[1e300] = {}}}}", "Error realloc failed\nThis should not happen\n"},
      {"{{'LineStyle', {2}}}", "bad argument #-1 to '?' (table expected, got number)"},
      {"{{'LineStyle', {{{'Width', 1}}}}}",
       "Error in option 1, Unrecognized option \"Width\"\n Possible values for options are:\nLineWidth "
       "[double]\nLineColor [uint32_t]\nPointSize [double]\nPointColor [uint32_t]\n"},
      {"{{'Frame', {{'Xmin', 'a'}}}}", "bad argument #-1 to '?' (number expected, got string)"},
      {"{{'Style', {}}}",
       "Error in option 1, Unrecognized option \"Style\"\n Possible values for options are:\nFrame "
       "[FramePlotOptions]\nAxis [FramePlotOptions]\nLineStyle [LinePlotOptionsArray]\n"}};
  for (const auto& c : cases) EXPECT_EQ(Error(c.options), c.message) << c.options;
}

}  // namespace
}  // namespace fermix
