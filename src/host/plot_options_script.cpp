#include "host/plot_options_script.h"

#include <cmath>

namespace fermix {

namespace {

void ReadFrame(lua_State* L, int index, FramePlotOptions& frame) {
  LuaCheckOptions(L, index,
                  {Option("Xmin", &frame.Xmin),
                   Option("Ymin", &frame.Ymin),
                   Option("Xmax", &frame.Xmax),
                   Option("Ymax", &frame.Ymax),
                   Option("XLMargin", &frame.XLMargin),
                   Option("YLMargin", &frame.YLMargin),
                   Option("XRMargin", &frame.XRMargin),
                   Option("YRMargin", &frame.YRMargin),
                   Option("LineWidth", &frame.LineWidth),
                   Option("Color", &frame.Color),
                   Option("FontSize", &frame.FontSize),
                   Option("Font", &frame.Font),
                   Option("XLabel", &frame.XLabel),
                   Option("YLabel", &frame.YLabel),
                   Option("FirstXTick", &frame.FirstXTick),
                   Option("dXTick", &frame.dXTick),
                   Option("NMinorXTick", &frame.NMinorXTick),
                   Option("FirstYTick", &frame.FirstYTick),
                   Option("dYTick", &frame.dYTick),
                   Option("NMinorYTick", &frame.NMinorYTick),
                   Option("XFormat", &frame.XFormat),
                   Option("YFormat", &frame.YFormat),
                   Option("XAxis", &frame.XAxis),
                   Option("YAxis", &frame.YAxis)});
}

void ReadLine(lua_State* L, int index, LinePlotOptions& line) {
  LuaCheckOptions(L, index,
                  {Option("LineWidth", &line.LineWidth), Option("LineColor", &line.LineColor),
                   Option("PointSize", &line.PointSize), Option("PointColor", &line.PointColor)});
}

// The line number that the key at index stands for: a number, or a string that reads as one. Does not convert
// the key in its place, which would break a walk over its table.
std::size_t CheckLineNumber(lua_State* L, int index) {
  const double number = lua_isnumber(L, index) ? lua_tonumber(L, index) : -1;
  if (!(number >= 0 && number == std::floor(number)))
    luaL_error(L, "Error Options array for line types should only have integer keys\n");
  constexpr double most = 1 << 24;
  if (number > most) luaL_error(L, "Error realloc failed\nThis should not happen\n");
  return static_cast<std::size_t>(number);
}

void ReadLines(lua_State* L, int index, LinePlotOptionsArray& lines) {
  luaL_checktype(L, index, LUA_TTABLE);
  luaL_checkstack(L, 4, "table too deep");
  index = lua_absindex(L, index);
  std::size_t largest = 0;
  for (lua_pushnil(L); lua_next(L, index); lua_pop(L, 1)) largest = std::max(largest, CheckLineNumber(L, -2));
  if (lines.empty()) lines.emplace_back();
  if (lines.size() <= largest) lines.resize(largest + 1, LinePlotOptions(lines[0]));
  for (lua_pushnil(L); lua_next(L, index); lua_pop(L, 1)) ReadLine(L, -1, lines[CheckLineNumber(L, -2)]);
}

}  // namespace

LuaOptionsType Option(const char* name, FramePlotOptions* target) {
  return {name, "FramePlotOptions", [=](lua_State* L, int index) { ReadFrame(L, index, *target); }};
}

LuaOptionsType Option(const char* name, LinePlotOptionsArray* target) {
  return {name, "LinePlotOptionsArray", [=](lua_State* L, int index) { ReadLines(L, index, *target); }};
}

}  // namespace fermix
