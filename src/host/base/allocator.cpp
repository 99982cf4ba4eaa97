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

}  // namespace fermix
