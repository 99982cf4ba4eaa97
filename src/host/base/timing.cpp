#include "host/base/timing.h"

#include <algorithm>

#include "host/base/status.h"

namespace fermix {

TimeType GlobalTime;
std::uint32_t GlobalTimeOn = 15;

static TimerType* FindTimer(TimeType& T, const char* name) {
  const auto found = std::find_if(T.begin(), T.end(), [&](const TimerType& t) { return t.Name == name; });
  return found == T.end() ? nullptr : &*found;
}

int BeginTiming(const char* name, TimeType& T) {
  TimerType* timer = FindTimer(T, name);
  if (timer && timer->Running)
    return Fail("Trying to start a timing for %s\nBut timing still runs\nBeginTiming ignored\n", name);
  if (!timer)
    timer =
        OrSay("EnlargeTimingStructure failed\n", [&] { return &T.emplace_back(TimerType{.Name = name}); });
  timer->Start = std::time(nullptr);
  timer->Running = true;
  return 0;
}

int EndTiming(const char* name, TimeType& T) {
  TimerType* timer = FindTimer(T, name);
  if (!timer)
    return Fail("Trying to end a timing for %s\nBut timing never started\nEndTiming ignored\n", name);
  if (!timer->Running)
    return Fail("Trying to end a timing for %s\nBut timing already ended\nEndTiming ignored\n", name);
  timer->Total += static_cast<std::int32_t>(std::difftime(std::time(nullptr), timer->Start));
  timer->Runs += 1;
  timer->Running = false;
  return 0;
}

void StreamPrintTiming(const TimeType& T, std::FILE* stream) {
  constexpr std::int32_t minute = 60, hour = 60 * minute, day = 24 * hour;
  std::fprintf(stream, "Timing results\n   Total_time | NumberOfRuns | Running | Name\n");
  for (const TimerType& t : T) {
    if (t.Total >= day) {
      std::fprintf(stream, "%4i ", t.Total / day);
    } else {
      std::fprintf(stream, "     ");
    }
    std::fprintf(stream, "%2i:%02i:%02i | %12i | %7i | %s\n", t.Total / hour % 24, t.Total / minute % 60,
                 t.Total % 60, t.Runs, t.Running ? 1 : 0, t.Name.c_str());
  }
}

}  // namespace fermix
