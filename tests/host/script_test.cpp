// Check and push helpers, option lists and errors, through a Lua state.
#include "host/script.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "host/script_fixture.h"

namespace fermix {

namespace {

template <class T>
int Check(lua_State* L) {
  T value{};
  lua_check(L, 1, value);
  return lua_push(L, static_cast<double>(value));
}

TEST_F(Script, NumbersAreRoundedAndBounded) {
  Function("uint32", Entry<Check<std::uint32_t>>);
  Function("int32", Entry<Check<int>>);
  Function("uint16", Entry<Check<std::uint16_t>>);
  Function("uint8", Entry<Check<std::uint8_t>>);
  const struct {
    const char *call, *result;
  } cases[] = {{"uint32('1.5')", "2"}, {"uint32(-1)", "0"},          {"uint32(1e300)", "4294967295"},
               {"int32(-1.6)", "-2"},  {"int32(3e9)", "2147483647"}, {"uint8(257.4)", "1"},
               {"uint16(65537)", "1"}};
  for (const auto& c : cases) EXPECT_EQ(Run("return " + std::string(c.call)), c.result) << c.call;
  for (const char* bad : {"nil", "'a'", "", "0/0"})
    EXPECT_NE(Run("return uint32(" + std::string(bad) + ")").find("bad argument #1 to '?' (number expected"),
              std::string::npos);
}

template <class T>
int Round(lua_State* L) {
  T value;
  lua_check(L, 1, value);
  return lua_push(L, std::move(value));
}

TEST_F(Script, ArraysNestAndSingleValuesCount) {
  Function("array", Entry<Round<std::vector<std::vector<double>>>>);
  const auto call = [&](const char* argument) {
    return Run("local t = array(" + std::string(argument) +
               ") for i, row in ipairs(t) do t[i] = table.concat(row, ',') end return table.concat(t, ';')");
  };
  EXPECT_EQ(call("{{1, 2}, {'3'}}"), "1,2;3");
  EXPECT_EQ(call("{1, {2, 3}}"), "1;2,3");
  EXPECT_EQ(call("7"), "7");
  EXPECT_NE(call("{{1}, {2, false}}").find("bad argument #-1 to '?' (number expected, got boolean)"),
            std::string::npos);
}

int ReadOptions(lua_State* L) {
  std::string text = "default";
  int integer = 0;
  std::uint32_t unsigned32 = 0, other = 0;
  std::uint16_t unsigned16 = 0;
  double number = 0;
  bool flag = false;
  std::optional<std::array<std::uint32_t, 3>> three{{7, 7, 7}};
  std::vector<Complex16> vector;
  LuaCheckOptions(L, 1,
                  {Option("Text", &text), Option("Integer", &integer), Option("Count", &unsigned32),
                   Option("Count", &other), Option("Short", &unsigned16), Option("Number", &number),
                   Option("Flag", &flag), Option("Vector", &vector), Option("Three", &three)});
  char line[200];
  std::snprintf(line, sizeof line, "%s %d %u %u %d %g %s", text.c_str(), integer, unsigned32, other,
                unsigned16, number, flag ? "yes" : "no");
  std::string all = line;
  for (const Complex16 z : vector) {
    std::snprintf(line, sizeof line, " %g:%g", z.re, z.im);
    all += line;
  }
  const auto [a, b, c] = three.value_or(std::array<std::uint32_t, 3>{});
  if (a + b + c != 21) {
    std::snprintf(line, sizeof line, " %u%u%u", a, b, c);
    all += line;
  }
  return lua_push(L, all);
}

TEST_F(Script, OptionListsFillTheirTargets) {
  Function("options", Entry<ReadOptions>);
  const struct {
    const char *list, *result;
  } cases[] = {
      {"{{'TEXT', 'a'}, {'number', 1.5}}", "a 0 0 0 0 1.5 no"},
      {"{{'text', 12}, {'Integer', 2.9}, {'Count', '3'}}", "12 2 3 3 0 0 no"},  // both rows of one name
      {"{{'Integer', -2.9}, {'Short', 65537}}", "default -2 0 0 1 0 no"},  // truncates, where arguments round
      {"{{'Flag', 0}}", "default 0 0 0 0 0 yes"},
      {"{{'Three', {1, '2', 3.6}}}", "default 0 0 0 0 0 no 124"},
      {"{{'Three', {1, 2}}}", "default 0 0 0 0 0 no 000"},                   // none
      {"{{'Vector', {1, 1 + 1e-15 * I}}}", "default 0 0 0 0 0 no 1:0 1:0"},  // rounding only
      {"{{'Vector', {1e-306 * I}}}", "default 0 0 0 0 0 no 0:1e-306"}};
  for (const auto& c : cases)
    EXPECT_EQ(Run("return options(" + std::string(c.list) + ")"), c.result) << c.list;
}

TEST_F(Script, BadOptionsAreNamed) {
  Function("options", Entry<ReadOptions>);
  const std::string possible =
      "Possible values for options are:\nText [char*]\nInteger [int]\nCount [uint32_t]\nCount "
      "[uint32_t]\nShort "
      "[uint16_t]\nNumber [double]\nFlag [bool]\nVector [Vector]\nThree [array-uint32_t-3]\n";
  const struct {
    const char* list;
    std::string message;
  } cases[] = {
      {"{{'Flag', 1}, 2}",
       "Error in option 2, Options should be a LIST of two elements of the form {\"name\",value}\n"},
      {"{{'Flag'}}",
       "Error in option 1, Options should be a list of TWO elements of the form {\"name\",value}\n"},
      {"{{1, 2}}",
       "Error in option 1, Options should be a list of two elements of the form {\"NAME\",value}\n"},
      {"{{'Flag', 1}, {'Flags', 1}}", "Error in option 2, Unrecognized option \"Flags\"\n " + possible},
      {"1", "bad argument #1 to '?' (table expected, got number)"}};
  for (const auto& c : cases)
    EXPECT_EQ(Run("return select(2, pcall(options, " + std::string(c.list) + "))"), c.message) << c.list;
}

int TestOptions(lua_State* L) { return lua_pushboolean(L, LuaTestOptionsList(L, 1)), 1; }

TEST_F(Script, KnowsTheFormOfAnOptionList) {
  Function("test", Entry<TestOptions>);
  for (const char* list : {"{}", "{x = 1}", "{{'a', {}}, {'b', false}}"})
    EXPECT_EQ(Run("return test(" + std::string(list) + ")"), "true") << list;
  for (const char* list : {"nil", "{{}}", "{{'a'}}", "{{'a', 1, 2}}", "{{0, 0}, {1, 1}}", "{{'a', 1}, 'b'}"})
    EXPECT_EQ(Run("return test(" + std::string(list) + ")"), "false") << list;
}

template <class Exception>
int Throw(lua_State*) {
  if constexpr (std::is_same_v<Exception, std::bad_alloc>)
    throw Exception();
  else
    throw Exception("what it says\n");
}
int RaiseFormatted(lua_State* L) { ScriptError(L, "%5.2f|%-4s|%d", 1.0, "ab", 3); }

TEST_F(Script, ErrorsReachTheScript) {
  Function("no_memory", Entry<Throw<std::bad_alloc>>);
  Function("refuse", Entry<Throw<std::invalid_argument>>);
  Function("formatted", Entry<RaiseFormatted>);
  EXPECT_EQ(Run("return select(2, pcall(no_memory))"), "not enough memory");
  EXPECT_EQ(Run("return select(2, pcall(refuse))"), "what it says\n");
  EXPECT_EQ(Run("formatted()"), "[string \"formatted()\"]:1:  1.00|ab  |3");
}

int attempts = 0;
int FailOnce(lua_State* L) {
  lua_pushnil(L);  // what the failed attempt leaves on the stack goes
  if (++attempts == 1) throw std::bad_alloc();
  return lua_push(L, double(lua_gettop(L)));
}
int FailAlways(lua_State*) { throw OutOfMemory("a text\n"); }

TEST_F(Script, ReadersHaveASecondAttemptAtMemory) {
  Function("once", Entry<TwoAttempts<FailOnce>>);
  Function("always", Entry<TwoAttempts<FailAlways>>);
  EXPECT_EQ(Run("setmetatable({}, {__gc = function() collected = 1 end}) return once(1, 2) + collected"),
            "4");
  EXPECT_EQ(Run("always()"), "[string \"always()\"]:1: a text\n");
}

}  // namespace
}  // namespace fermix
