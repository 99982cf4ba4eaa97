// How much memory the process may really use, and a limit of its own at that.
//
// The operating system hands out memory that it does not have and kills who touches it. With a limit an
// allocation that can't be served fails as an allocation, and the solvers trade accuracy for it.
#pragma once

#include <cstdint>
#include <string>

namespace fermix {

// Bytes that a process could still touch: the smallest of what the machine has available and what each
// enclosing control group leaves, file cache that can be dropped counted as free. UINT64_MAX when unknown.
//
// root is put before the paths that are read (/proc/..., /sys/fs/cgroup/...): "" for this machine.
std::uint64_t AvailableMemory(const std::string& root = "");

// Whether the process has a limit on its addresses or its data segment.
bool MemoryIsLimited();

// Lowers the soft limit of the data segment to what is in use plus what is available. A lower limit stays.
void LimitOwnMemory();

}  // namespace fermix
