#include "host/base/allocator.h"

#include <cstdlib>  // brings __GLIBC__

#ifdef __GLIBC__
#include <malloc.h>
#endif

namespace fermix {

void ConfigureAllocator() {
#ifdef __GLIBC__
  constexpr int MiB = 1 << 20;
  mallopt(M_MMAP_THRESHOLD, 32 * MiB);  // the largest that is accepted
  mallopt(M_TRIM_THRESHOLD, 512 * MiB);
  mallopt(M_TOP_PAD, 4 * MiB);
#endif
}

bool QRoomFor(std::size_t bytes) noexcept {
  void* const memory = std::malloc(bytes);
  const bool room = memory != nullptr;
  if (room) *static_cast<char volatile*>(memory) = 0;  // so that the compiler keeps the pair of calls
  std::free(memory);
  return room;
}

}  // namespace fermix
