// How the numerical layers report: a line on standard output where it happens, then a status, or an
// exception.
//
// A task that can't be done:   return Fail("Error in dimensions\n");
// Memory ran out:              std::bad_alloc flies; OrSay adds the line that a place owes the user;
//                              FitsInMemory stops it, only around a step that can be repeated on less.
#pragma once

#include <cstdarg>
#include <new>
#include <utility>

#define FERMIX_PRINTF(text, first) __attribute__((format(printf, text, first)))

namespace fermix {

// Prints as printf and flushes standard output.
void Say(const char* format, ...) FERMIX_PRINTF(1, 2);

// As Say; always gives the status 1.
[[nodiscard]] int Fail(const char* format, ...) FERMIX_PRINTF(1, 2);

// The last resort of a solver that can't free any more memory: three lines, then the process ends with
// status 1.
[[noreturn]] void EndOfMemory();

// Runs step and tells whether memory sufficed. Below the script functions only it and OrSay catch bad_alloc.
template <class Step>
bool FitsInMemory(Step&& step) {
  try {
    step();
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

// Runs step; if memory runs out in it, prints line (whole, with its line end) and lets the exception fly on.
template <class Step>
decltype(auto) OrSay(const char* line, Step&& step) {
  try {
    return std::forward<Step>(step)();
  } catch (const std::bad_alloc&) {
    Say("%s", line);
    throw;
  }
}

}  // namespace fermix
