#pragma once

#include <cstdint>

namespace util {

// Prints the calling thread's stack to standard output; nothing in the plugin calls it.
void printTrace();

// CLOCK_MONOTONIC in milliseconds, in signed 32-bit arithmetic: wraps after about 24.8 days.
int32_t monotonicMs();

} // namespace util
