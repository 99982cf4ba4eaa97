#include "alloc_failure.h"

#include <cstdlib>

namespace {

bool armed = false, failed = false;
std::size_t remaining = 0;

void* Allocate(std::size_t size, std::size_t alignment) {
  if (armed && remaining-- == 0) {
    armed = false;
    failed = true;
    throw std::bad_alloc();
  }
  const std::size_t rounded = (size + alignment - 1) / alignment * alignment;
  void* p = alignment > __STDCPP_DEFAULT_NEW_ALIGNMENT__ ? std::aligned_alloc(alignment, rounded)
                                                         : std::malloc(size ? size : 1);
  if (!p) throw std::bad_alloc();
  return p;
}

}  // namespace

// All forms stand here, also those that the standard library derives from others: a sanitizer brings its own.
void* operator new(std::size_t size) { return Allocate(size, 1); }
void* operator new[](std::size_t size) { return Allocate(size, 1); }
void* operator new(std::size_t size, std::align_val_t alignment) {
  return Allocate(size, static_cast<std::size_t>(alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment) {
  return Allocate(size, static_cast<std::size_t>(alignment));
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  try {
    return Allocate(size, 1);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return operator new(size, std::nothrow);
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }
void operator delete(void* p, std::align_val_t) noexcept { std::free(p); }
void operator delete[](void* p, std::align_val_t) noexcept { std::free(p); }
void operator delete(void* p, std::size_t, std::align_val_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t, std::align_val_t) noexcept { std::free(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { std::free(p); }

namespace fermix::test {

FailingAllocation::FailingAllocation(std::size_t n) {
  remaining = n;
  failed = false;
  armed = true;
}
FailingAllocation::~FailingAllocation() { armed = false; }

bool QAllocationFailed() { return failed; }

}  // namespace fermix::test
