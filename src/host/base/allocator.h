// Settings of the C library's allocator.
#pragma once

#include <cstddef>

namespace fermix {

// Keeps memory that was freed. States grow in blocks of 128 KiB, just the size from which the allocator would
// map each block anew and hand it back on release: every product would pay the faults of fresh pages again.
// Call once, at the start of the program.
void ConfigureAllocator();

// Whether so many bytes could be had in one piece now. Touches none of them.
[[nodiscard]] bool QRoomFor(std::size_t bytes) noexcept;

}  // namespace fermix
