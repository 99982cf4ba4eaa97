#include "host/base/large_pages.h"

#include <stdlib.h>
#include <sys/mman.h>

namespace fermix {

void* AllocateLargePages(std::size_t bytes) {
  void* memory = nullptr;
  if (posix_memalign(&memory, LargePage, bytes)) throw std::bad_alloc();
#ifdef MADV_HUGEPAGE
  static_cast<void>(madvise(memory, bytes, MADV_HUGEPAGE));  // only a wish
#endif
  return memory;
}

}  // namespace fermix
