#include "debugtools.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <execinfo.h>

namespace util {

void printTrace()
{
    puts("\n ********* print_trace *********");
    void *frames[100];
    const int count = backtrace(frames, 100);
    char **symbols = backtrace_symbols(frames, count);
    if (!symbols) {
        perror("backtrace_symbols");
        exit(1);
    }
    for (int i = 0; i < count; ++i)
        puts(symbols[i]);
    puts(" ********* print_trace end *********\n\n");
    free(symbols);
}

int32_t monotonicMs()
{
    timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    // Unsigned arithmetic wraps like the 32-bit signed original without undefined behaviour.
    return int32_t(uint32_t(ts.tv_sec) * 1000u + uint32_t(ts.tv_nsec / 1000000));
}

} // namespace util
