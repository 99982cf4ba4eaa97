// Options of plots through a Lua state.
#include "host/plot_options_script.h"

#include <gtest/gtest.h>

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

TEST_F(PlotOptions, FramesTakeNumbersAndTexts) {
  EXPECT_EQ(Run("plot{{'Axis', {{'Xmin', 1}, {'YLabel', 'E'}, {'NMinorYTick', 3}, {'XAxis', 2}}}}"), "nil");
  EXPECT_EQ(frame.Xmin, 1);
  EXPECT_EQ(frame.YLabel, "E");
  EXPECT_EQ(frame.NMinorYTick, 3u);
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
  for (const char* style : {"{x = {}}", "{[1e300] = {}}", "{{{'Width', 1}}}"})
    EXPECT_EQ(Run("return pcall(plot, {{'LineStyle', " + std::string(style) + "}})"), "false");
}

}  // namespace
}  // namespace fermix
