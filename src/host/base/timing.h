// Named wall-clock timers with a resolution of one second: TimeStart, TimeEnd and TimePrint of the scripts,
// and the solvers' own timings when the script sets the matching bit with TimeSet.
#pragma once

#include <cstdint>
#include <cstdio>
#include <ctime>
#include <string>
#include <vector>

namespace fermix {

struct TimerType {
  std::string Name;
  std::int32_t Total = 0;  // seconds
  std::time_t Start = 0;
  std::int32_t Runs = 0;
  bool Running = false;
};

using TimeType = std::vector<TimerType>;

extern TimeType GlobalTime;
extern std::uint32_t GlobalTimeOn;  // bit mask, set by TimeSet

// Both print why they ignore a call, and then return 1.
int BeginTiming(const char* name, TimeType& T);
int EndTiming(const char* name, TimeType& T);

// A table of all timers.
void StreamPrintTiming(const TimeType& T, std::FILE* stream);

// Times a scope under name when flag is set in GlobalTimeOn.
class ScopedTiming {
 public:
  ScopedTiming(std::uint32_t flag, const char* name) : name_(GlobalTimeOn & flag ? name : nullptr) {
    if (name_) BeginTiming(name_, GlobalTime);
  }
  ~ScopedTiming() {
    if (name_) EndTiming(name_, GlobalTime);
  }
  ScopedTiming(const ScopedTiming&) = delete;
  ScopedTiming& operator=(const ScopedTiming&) = delete;

 private:
  const char* name_;
};

}  // namespace fermix
