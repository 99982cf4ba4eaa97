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
  const std::pair<const char*, const char*> cases[] = {
      {"{x = {}}", "Error Options array for line types should only have integer keys\n"},
      {"{[1e300] = {}}", "Error realloc failed\nThis should not happen\n"},
      {"{{{'Width', 1}}}",
       "Error in option 1, Unrecognized option \"Width\"\n Possible values for options are:\nLineWidth "
       "[double]\nLineColor [uint32_t]\nPointSize [double]\nPointColor [uint32_t]\n"}};
  for (const auto& [style, message] : cases)
    EXPECT_EQ(Run("return select(2, pcall(plot, {{'LineStyle', " + std::string(style) + "}}))"), message);
}

}  // namespace
}  // namespace fermix
