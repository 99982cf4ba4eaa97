// What a call prints.
#pragma once

#include <gtest/gtest.h>

#include <string>

namespace fermix {

// What f writes to standard output.
template <class F>
std::string Printed(F&& f) {
  testing::internal::CaptureStdout();
  f();
  return testing::internal::GetCapturedStdout();
}

}  // namespace fermix
