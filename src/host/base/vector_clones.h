// FERMIX_VECTOR_CLONES before a function: the compiler makes one copy of it for each vector extension, and
// the loader takes the one that fits the machine. One source, no hand-written assembly, portable binaries.
// FERMIX_POPCOUNT_CLONES: the same for loops that count bits and gather: vectors do not help them.
#pragma once

// Sanitizers can't run before the loader has resolved the copies.
#if defined(__x86_64__) && defined(__linux__) && !defined(FERMIX_SANITIZE)
#define FERMIX_VECTOR_CLONES __attribute__((target_clones("default", "avx2", "avx512f")))
#define FERMIX_POPCOUNT_CLONES __attribute__((target_clones("default", "popcnt")))
#else
#define FERMIX_VECTOR_CLONES
#define FERMIX_POPCOUNT_CLONES
#endif
