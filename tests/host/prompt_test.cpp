// The interactive mode, driven through pipes.
#include <gtest/gtest.h>

#include <csignal>

#include "host/program.h"

namespace fermix {
namespace {

TEST(Prompt, ReadsStatementsAndPrintsResults) {
  const struct {
    const char *input, *out;
  } cases[] = {{"", "F \n"},
               {"x = 3\n=x", "F F 3\nF \n"},  // a last line without a line end
               {"function f(x)\n  return x + I\nend\n= f(1)\n", "F >> >> F (1 + 1 I)\nF \n"},
               // Only at the first prompt is "=" short for return.
               {"x =\n7\n=x\n", "F >> F 7\nF \n"},
               // End of input in a statement drops it in silence.
               {"for i = 1, 2 do\n", "F >> \n"},
               {"_PROMPT = 3\n_PROMPT2 = '.. '\ndo\nend\n_PROMPT = {}\n", "F 33.. 3F \n"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.input);
    const ProgramResult result = RunProgram({}, c.input);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, c.out);
    EXPECT_EQ(result.err, "");
  }
}

TEST(Prompt, SurvivesErrors) {
  const struct {
    const char *input, *err;
  } cases[] = {
      {"x = {\n= 1}\n", "stdin:2: unexpected symbol near '='\n"},
      {"error('a', 0)\n",
       "a\nstack traceback:\n\t[C]: in function 'error'\n\tstdin:1: in main chunk\n\t[C]: in ?\n"},
      {"error(setmetatable({}, {__tostring = function() return 'own text' end}))\n", "own text\n"},
      {"print = function() error('broken', 0) end\n=1\n", "error calling 'print' (broken)\n"},
      // Globals that refuse undefined names, the prompt's own among them
      {"print = nil setmetatable(_G, {__index = function(t, k) error('undefined ' .. k, 0) end})\n=1\n",
       "undefined print\n"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.input);
    const ProgramResult result = RunProgram({}, std::string(c.input) + "io.write('alive\\n')\n");
    EXPECT_EQ(result.status, 0);
    EXPECT_NE(result.out.find("alive\n"), std::string::npos);
    EXPECT_EQ(result.err, c.err);
  }
}

TEST(Prompt, SurvivesFinalisersThatFail) {
  const ProgramResult result = RunProgram(
      {},
      "function fail() error('in gc', 0) end\nsetmetatable({}, {__gc = fail})\nerror('a', 0)\n"
      "setmetatable({}, {__gc = fail})\ncollectgarbage()\nfor i = 1, 100 do setmetatable({}, {__gc = fail}) "
      "end\n" +
          std::string(300, '\n') + "for i = 1, 200 do pcall(collectgarbage) end\nio.write('alive\\n')\n");
  EXPECT_EQ(result.status, 0);
  EXPECT_NE(result.out.find("alive\n"), std::string::npos) << result.out;
  EXPECT_NE(result.err.find("error in __gc metamethod (in gc)\n"), std::string::npos) << result.err;
}

TEST(Prompt, ReadsLongLinesInPieces) {
  // 511 characters fit the buffer; what follows is the next line.
  std::string line = "io.write('one ')";
  line.resize(511, ' ');
  EXPECT_EQ(RunProgram({}, line + "io.write('two ')\n").out, "F one F two F \n");
}

TEST(Prompt, RefusesMoreResultsThanTheStackHolds) {
  std::string input = "t = {}\nfor i = 1, 1000000 do t[i] = 0 end\nprint = function() end\n";
  // Somewhere here a statement can still return its results, but none can be put before them.
  for (int n = 999940; n < 1000000; ++n) input += "return table.unpack(t, 1, " + std::to_string(n) + ")\n";
  const ProgramResult result = RunProgram({}, input + "io.write('alive\\n')\n");
  EXPECT_EQ(result.status, 0);
  EXPECT_NE(result.out.find("alive\n"), std::string::npos);
  EXPECT_NE(result.err.find("stack overflow (too many results to print)\n"), std::string::npos) << result.err;
}

TEST(Prompt, InterruptsCanBeCaughtAndRepeated) {
  Program program({});
  program.Write("print(select(2, pcall(function() print('one') while true do end end)))\n");
  ASSERT_TRUE(program.WaitFor("one"));
  program.Interrupt();
  ASSERT_TRUE(program.WaitFor("interrupted!\n"));
  program.Write("x = 5 print('two') while true do end\n");
  ASSERT_TRUE(program.WaitFor("two"));
  program.Interrupt();
  program.Write("=x\n");  // only the statement has ended
  const ProgramResult result = program.Finish();
  EXPECT_EQ(result.status, 0);
  EXPECT_NE(result.out.find("F 5\nF \n"), std::string::npos) << result.out;
  EXPECT_NE(result.err.find("interrupted!\nstack traceback:"), std::string::npos) << result.err;
}

// Each with an endless loop around the coroutines, which has to end as well.
TEST(Prompt, InterruptsStopCoroutines) {
  const char* setups[] = {
      "co = coroutine.wrap(function() print('one') while true do end end) while true do pcall(co) end\n",
      "co = coroutine.wrap(function() print('one') while true do coroutine.yield(1) end end) while true do "
      "co() "
      "end\n"};
  for (const char* setup : setups) {
    Program program({});
    program.Write(setup);
    ASSERT_TRUE(program.WaitFor("one"));
    program.Interrupt();
    program.Write("=coroutine.wrap(function(x) return coroutine.yield(x) end)(7)\n");
    const ProgramResult result = program.Finish();
    EXPECT_EQ(result.status, 0);
    EXPECT_NE(result.out.find("F 7\nF \n"), std::string::npos) << result.out;
    EXPECT_NE(result.err.find("interrupted!"), std::string::npos) << result.err;
  }
}

TEST(Prompt, AnInterruptBetweenStatementsEndsTheProgram) {
  Program program({});
  ASSERT_TRUE(program.WaitFor("F "));
  program.Interrupt();
  EXPECT_EQ(program.Finish().status, -SIGINT);
}

}  // namespace
}  // namespace fermix
