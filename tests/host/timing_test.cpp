#include "host/base/timing.h"

#include <cstdio>

#include "printed.h"

namespace fermix {
namespace {

TEST(Timing, SaysWhyACallIsIgnored) {
  TimeType T;
  EXPECT_EQ(BeginTiming("a", T), 0);
  EXPECT_EQ(Printed([&] { EXPECT_EQ(BeginTiming("a", T), 1); }),
            "Trying to start a timing for a\nBut timing still runs\nBeginTiming ignored\n");
  T[0].Start -= 90000;
  EXPECT_EQ(EndTiming("a", T), 0);
  EXPECT_EQ(Printed([&] { EXPECT_EQ(EndTiming("a", T), 1); }),
            "Trying to end a timing for a\nBut timing already ended\nEndTiming ignored\n");
  EXPECT_EQ(T.size(), 1u);
  EXPECT_EQ(T[0].Runs, 1);
  EXPECT_NEAR(T[0].Total, 90000, 1);
}

TEST(Timing, PrintsATable) {
  const TimeType T = {
      {.Name = "short", .Total = 59, .Runs = 3},
      {.Name = "long", .Total = 2 * 86400 + 3 * 3600 + 4 * 60 + 5, .Runs = 12, .Running = true}};
  EXPECT_EQ(Printed([&] { StreamPrintTiming(T, stdout); }),
            "Timing results\n"
            "   Total_time | NumberOfRuns | Running | Name\n"
            "      0:00:59 |            3 |       0 | short\n"
            "   2  3:04:05 |           12 |       1 | long\n");
}

}  // namespace
}  // namespace fermix
