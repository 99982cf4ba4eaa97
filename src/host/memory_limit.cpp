#include "host/memory_limit.h"

#include <sys/resource.h>

#include <algorithm>
#include <fstream>
#include <limits>
#include <optional>
#include <sstream>

namespace fermix {

namespace {

constexpr std::uint64_t unknown = std::numeric_limits<std::uint64_t>::max();

// The number behind key in a file of "key value" lines; keys are whole words.
std::optional<std::uint64_t> ReadKey(const std::string& path, const std::string& key) {
  std::ifstream file(path);
  std::string line, word;
  while (std::getline(file, line)) {
    std::istringstream words(line);
    std::uint64_t value = 0;
    if (words >> word && word == key && words >> value) return value;
  }
  return {};
}

// The number in a file; nothing when it is missing or says "max".
std::optional<std::uint64_t> ReadNumber(const std::string& path) {
  std::ifstream file(path);
  std::uint64_t value = 0;
  if (file >> value) return value;
  return {};
}

// The names under which the two versions of control groups keep the same facts. File cache, read once or
// often, goes when memory is asked for.
struct GroupFiles {
  const char *mount, *limit, *usage, *inactiveCache, *activeCache;
};
constexpr GroupFiles version2 = {"/sys/fs/cgroup", "memory.max", "memory.current", "inactive_file",
                                 "active_file"};
constexpr GroupFiles version1 = {"/sys/fs/cgroup/memory", "memory.limit_in_bytes", "memory.usage_in_bytes",
                                 "total_inactive_file", "total_active_file"};

std::uint64_t LeftInGroup(const std::string& directory, const GroupFiles& files) {
  const auto limit = ReadNumber(directory + "/" + files.limit);
  if (!limit) return unknown;
  const std::uint64_t usage = ReadNumber(directory + "/" + files.usage).value_or(0);
  const std::string statistics = directory + "/memory.stat";
  const std::uint64_t cache = ReadKey(statistics, files.inactiveCache).value_or(0) +
                              ReadKey(statistics, files.activeCache).value_or(0);
  const std::uint64_t taken = usage - std::min(usage, cache);
  return *limit - std::min(*limit, taken);
}

// The smallest of a group and all groups around it.
std::uint64_t LeftInGroupAndParents(const std::string& root, std::string group, const GroupFiles& files) {
  std::uint64_t left = unknown;
  while (true) {
    left = std::min(left, LeftInGroup(root + files.mount + group, files));
    if (group.empty()) return left;
    const std::size_t slash = group.rfind('/');
    group.resize(slash == std::string::npos ? 0 : slash);
  }
}

// Each line of /proc/self/cgroup is number:controllers:path; version 2 has no controllers.
std::uint64_t LeftInControlGroups(const std::string& root) {
  std::ifstream groups(root + "/proc/self/cgroup");
  std::string number, controllers, path;
  std::uint64_t left = unknown;
  while (std::getline(groups, number, ':') && std::getline(groups, controllers, ':') &&
         std::getline(groups, path)) {
    if (path == "/") path.clear();
    if (controllers.empty()) left = std::min(left, LeftInGroupAndParents(root, path, version2));
    if (("," + controllers + ",").find(",memory,") != std::string::npos)
      left = std::min(left, LeftInGroupAndParents(root, path, version1));
  }
  return left;
}

std::uint64_t InBytes(std::optional<std::uint64_t> kilobytes) {
  return kilobytes ? *kilobytes * 1024 : unknown;
}

}  // namespace

std::uint64_t AvailableMemory(const std::string& root) {
  return std::min(InBytes(ReadKey(root + "/proc/meminfo", "MemAvailable:")), LeftInControlGroups(root));
}

bool MemoryIsLimited() {
  for (const auto resource : {RLIMIT_AS, RLIMIT_DATA})
    if (rlimit limit{}; !getrlimit(resource, &limit) && limit.rlim_cur != RLIM_INFINITY) return true;
  return false;
}

void LimitOwnMemory() {
  const std::uint64_t available = AvailableMemory(), used = InBytes(ReadKey("/proc/self/status", "VmData:"));
  rlimit limit{};
  if (available == unknown || used == unknown || getrlimit(RLIMIT_DATA, &limit)) return;
  const rlim_t wanted = used + available;
  if (limit.rlim_cur != RLIM_INFINITY && limit.rlim_cur <= wanted) return;
  limit.rlim_cur = wanted;
  setrlimit(RLIMIT_DATA, &limit);
}

}  // namespace fermix
