// Options of plots through a Lua state.
#include "host/plot_options_script.h"

#include <gtest/gtest.h>

#include <sstream>

#include "host/script_fixture.h"

namespace fermix {
namespace {

FramePlotOptions frame;
LinePlotOptionsArray lines;

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
};

template <class... T>
std::string Words(const T&... values) {
  std::ostringstream text;
  ((text << values << ' '), ...);
  return text.str();
}

TEST_F(PlotOptions, EveryFieldOfAFrameHasItsKey) {
  std::string source = "plot{{'Frame', {";
  int value = 0;
  for (const char* key : {"Xmin",     "Ymin",        "Xmax",       "Ymax",    "XLMargin",    "YLMargin",
                          "XRMargin", "YRMargin",    "LineWidth",  "Color",   "FontSize",    "Font",
                          "XLabel",   "YLabel",      "FirstXTick", "dXTick",  "NMinorXTick", "FirstYTick",
                          "dYTick",   "NMinorYTick", "XFormat",    "YFormat", "XAxis",       "YAxis"})
    source += "{'" + std::string(key) + "', " + std::to_string(++value) + "},";
  EXPECT_EQ(Run(source + "}}}"), "nil");
  const FramePlotOptions& f = frame;
  EXPECT_EQ(Words(f.Xmin, f.Ymin, f.Xmax, f.Ymax, f.XLMargin, f.YLMargin, f.XRMargin, f.YRMargin, f.LineWidth,
                  f.Color, f.FontSize, f.Font, f.XLabel, f.YLabel, f.FirstXTick, f.dXTick, f.NMinorXTick,
                  f.FirstYTick, f.dYTick, f.NMinorYTick, f.XFormat, f.YFormat, f.XAxis, f.YAxis),
            "1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 20 21 22 23 24 ");
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
}

TEST_F(PlotOptions, RefusesWhatIsWrong) {
  const char* key = "Error Options array for line types should only have integer keys\n";
  const struct {
    const char *options, *message;
  } cases[] = {
      {"{{'LineStyle', {x = {}}}}", key},
      {"{{'LineStyle', {[1e300] = {}}}}", "Error realloc failed\nThis should not happen\n"},
      {"{{'LineStyle', {2}}}", "bad argument #-1 to '?' (table expected, got number)"},
      {"{{'LineStyle', {{{'Width', 1}}}}}",
       "Error in option 1, Unrecognized option \"Width\"\n Possible values for options are:\nLineWidth "
       "[double]\nLineColor [uint32_t]\nPointSize [double]\nPointColor [uint32_t]\n"},
      {"{{'Style', {}}}",
       "Error in option 1, Unrecognized option \"Style\"\n Possible values for options are:\nFrame "
       "[FramePlotOptions]\nAxis [FramePlotOptions]\nLineStyle [LinePlotOptionsArray]\n"}};
  for (const auto& c : cases)
    EXPECT_EQ(Run("return select(2, pcall(plot, " + std::string(c.options) + "))"), c.message);
}

}  // namespace
}  // namespace fermix
