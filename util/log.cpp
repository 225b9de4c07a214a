#include "log.h"

#include <sys/syscall.h>
#include <unistd.h>

namespace util {

long threadId()
{
    return syscall(SYS_gettid);
}

} // namespace util
