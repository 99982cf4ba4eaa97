#include "host/base/work_vector.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>

namespace fermix {

void BringPagesIn(void* memory, std::size_t bytes) noexcept {
#ifdef MADV_POPULATE_WRITE
  constexpr std::size_t Long = 1 << 20;
  if (bytes < Long) return;
  const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
  const auto begin = reinterpret_cast<std::uintptr_t>(memory), first = begin / page * page;
  static_cast<void>(madvise(reinterpret_cast<void*>(first), begin + bytes - first, MADV_POPULATE_WRITE));
#else
  static_cast<void>(memory);
  static_cast<void>(bytes);
#endif
}

}  // namespace fermix
