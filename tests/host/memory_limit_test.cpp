#include "host/memory_limit.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <limits>

namespace fermix {
namespace {

// A directory that stands for the root of a machine.
class Machine : public testing::Test {
 protected:
  void SetUp() override {
    root = testing::TempDir() + "fermix_machine_" + std::to_string(getpid());
    std::filesystem::remove_all(root);
  }
  void TearDown() override { std::filesystem::remove_all(root); }
  void File(const std::string& path, const std::string& text) {
    std::filesystem::create_directories(std::filesystem::path(root + path).parent_path());
    std::ofstream(root + path) << text;
  }
  std::string root;
};

TEST_F(Machine, GivesWhatIsAvailable) {
  EXPECT_EQ(AvailableMemory(root), std::numeric_limits<std::uint64_t>::max());  // it does not say
  File("/proc/meminfo", "MemTotal:       16000 kB\nMemFree: 10 kB\nMemAvailable:    8000 kB\n");
  EXPECT_EQ(AvailableMemory(root), 8000u * 1024);
}

TEST_F(Machine, KeepsToTheTightestGroupOfVersion2) {
  File("/proc/meminfo", "MemAvailable:    8000 kB\n");
  File("/proc/self/cgroup", "0::/outer/inner\n");
  File("/sys/fs/cgroup/outer/inner/memory.max", "max\n");
  EXPECT_EQ(AvailableMemory(root), 8000u * 1024);
  File("/sys/fs/cgroup/outer/memory.max", "3000000\n");
  EXPECT_EQ(AvailableMemory(root), 3000000u);
  // What is used counts, but for file cache that can go.
  File("/sys/fs/cgroup/outer/memory.current", "1000000\n");
  File("/sys/fs/cgroup/outer/memory.stat", "anon 1\ninactive_file 300000\nactive_file 100000\n");
  EXPECT_EQ(AvailableMemory(root), 2400000u);
  File("/sys/fs/cgroup/memory.max", "2000000\n");  // the container's own root
  EXPECT_EQ(AvailableMemory(root), 2000000u);
  File("/sys/fs/cgroup/memory.current", "3000000\n");
  EXPECT_EQ(AvailableMemory(root), 0u);
}

TEST_F(Machine, KeepsToAGroupOfVersion1) {
  File("/proc/meminfo", "MemAvailable:    8000 kB\n");
  File("/proc/self/cgroup", "9:cpu,cpuacct:/x\n4:memory:/job\n0::/\n");
  File("/sys/fs/cgroup/memory/job/memory.limit_in_bytes", "4000000\n");
  File("/sys/fs/cgroup/memory/job/memory.usage_in_bytes", "1500000\n");
  File("/sys/fs/cgroup/memory/job/memory.stat", "inactive_file 5\ntotal_inactive_file 500000\n");
  EXPECT_EQ(AvailableMemory(root), 3000000u);
}

}  // namespace
}  // namespace fermix
