// What a call prints, and tests that do not look at it.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "host/base/verbosity.h"

namespace fermix {

// What f writes to standard output.
template <class F>
std::string Printed(F&& f) {
  testing::internal::CaptureStdout();
  f();
  return testing::internal::GetCapturedStdout();
}

// Progress is not printed while it lives.
class Quiet : public testing::Test {
 protected:
  void SetUp() override { GlobalVerbosity = 0; }
  void TearDown() override { GlobalVerbosity = verbosity_; }

 private:
  const std::uint32_t verbosity_ = GlobalVerbosity;
};

}  // namespace fermix
