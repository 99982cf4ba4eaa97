// Memory that runs out at a chosen allocation, to see that records then stand as they were.
#pragma once

#include <cstddef>
#include <memory>
#include <new>

namespace fermix::test {

// While it lives, allocation number n through operator new (from 0, counted from here on) throws
// std::bad_alloc; those before and after it succeed.
class FailingAllocation {
 public:
  explicit FailingAllocation(std::size_t n);
  ~FailingAllocation();
  FailingAllocation(const FailingAllocation&) = delete;
  FailingAllocation& operator=(const FailingAllocation&) = delete;
};
// Whether the allocation that the last FailingAllocation chose was reached.
bool QAllocationFailed();

// Runs step(record) on copies of original, each time with a later allocation failing, until one runs through
// without meeting its failure; after each step that threw, unchanged(record) is called. Returns how many
// steps threw.
template <class Record, class Step, class Check>
std::size_t FailEachAllocation(const Record& original, Step&& step, Check&& unchanged) {
  std::size_t thrown = 0;
  for (std::size_t n = 0;; ++n) {
    const auto copy = std::make_unique<Record>(original);
    Record& record = *copy;
    bool failed = false;
    {
      FailingAllocation failure(n);
      try {
        step(record);
      } catch (const std::bad_alloc&) {
        failed = true;
      }
    }
    if (failed) unchanged(record), ++thrown;
    if (!QAllocationFailed()) return thrown;
  }
}

}  // namespace fermix::test
