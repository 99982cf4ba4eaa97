// Matrices that the machine's memory can't hold: a script error, and the program goes on.
#include <gtest/gtest.h>

#include "host/program.h"

namespace fermix {
namespace {

TEST(MatrixSize, BeyondTheMemoryIsAScriptError) {
  const ProgramResult result = RunScriptText(R"(
    local m = Matrix.New({{1, 2}, {3, 4}})
    for _, f in ipairs {function() return Matrix.Zero(1e7) end, function() return Matrix.Expand(m, 1e7) end,
                        function() return Matrix.Random({0, 1}, {1e6, 1e7}) end, function() return Matrix.Enlarge(m, 5e6) end} do
      io.write(select(2, pcall(f)), "|")
    end
    print((m * m)[1][1]))");
  std::string expected;
  for (int k = 0; k < 4; ++k)
    expected += "Malloc failed in InitCompactMatrix for real allocation\nnot enough memory|";
  EXPECT_NE(result.out.find(expected + "7\n"), std::string::npos) << result.out;
  EXPECT_EQ(result.status, 0);
}

}  // namespace
}  // namespace fermix
