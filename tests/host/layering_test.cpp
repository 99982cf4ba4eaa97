// Includes point downwards only, and Lua stays in its files: reads every #include line below src.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <string>

namespace fermix {
namespace {

namespace fs = std::filesystem;

// Each folder and what its numerical files may include.
const std::map<std::string, std::set<std::string>> standsOn = {
    {"host/base", {"host/base"}},
    {"linalg", {"host/base", "linalg"}},
    {"core", {"host/base", "linalg", "core"}},
    {"solvers", {"host/base", "linalg", "core", "solvers"}},
    {"spectra", {"host/base", "linalg", "core", "solvers", "spectra"}},
    {"atomic", {"host/base", "linalg", "core", "atomic"}},
    {"crystal", {"host/base", "linalg", "core", "atomic", "crystal"}},
    {"graphics", {"host/base", "linalg", "core", "solvers", "spectra", "graphics"}},
    {"host", {"host/base", "host"}}};

bool QScriptFile(const std::string& path) {
  return fs::path(path).stem().string().ends_with("_script") || path.starts_with("host/script_library/") ||
         path == "host/main.cpp";
}

// What is wrong with file's include of target; empty when nothing is.
std::string Complaint(const std::string& file, const std::string& target) {
  const std::string folder = fs::path(file).parent_path(), below = fs::path(target).parent_path();
  const bool lua = target == "lua.hpp" || target == "lua.h" || target == "lauxlib.h" || target == "lualib.h";
  if (QScriptFile(file)) return "";
  if (!standsOn.contains(folder)) return "unknown folder";
  if (lua) return folder == "host" ? "" : "Lua in a numerical file";
  if (below.empty()) return "";  // a header of the system
  if (QScriptFile(target)) return "bindings below the top layer";
  return standsOn.at(folder).contains(below) || !standsOn.contains(below) ? "" : "upward include";
}

// What the line includes; empty when it is no #include.
std::string IncludedFile(const std::string& line) {
  char target[256];
  return std::sscanf(line.c_str(), " # include %*1[<\"]%255[^>\"]", target) == 1 ? target : "";
}

TEST(Layering, TheRuleItself) {
  EXPECT_EQ(IncludedFile("  # include \"core/operator.h\"  // why"), "core/operator.h");
  EXPECT_EQ(Complaint("core/operator.cpp", "linalg/compact_matrix.h"), "");
  for (const char* upward : {"solvers/lanczos.h", "lua.hpp", "host/script.h", "core/operator_script.h"})
    EXPECT_NE(Complaint("core/operator.cpp", upward), "");
}

TEST(Layering, AllIncludesPointDownwards) {
  const fs::path src = fs::path(FERMIX_SOURCE_DIR) / "src";
  int files = 0;
  for (const auto& entry : fs::recursive_directory_iterator(src)) {
    if (!entry.is_regular_file()) continue;
    const std::string file = fs::relative(entry.path(), src);
    std::ifstream text(entry.path());
    ++files;
    for (std::string line; std::getline(text, line);) {
      const std::string target = IncludedFile(line);
      if (target.empty()) continue;
      EXPECT_EQ(Complaint(file, target), "") << file << " includes " << target;
    }
  }
  EXPECT_GT(files, 50);
}

}  // namespace
}  // namespace fermix
