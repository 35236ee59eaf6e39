// What a thread has taken of the processor: other programs do not count.
#pragma once

#include <time.h>

namespace tonelink::bench {

inline double own_microseconds()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return double(now.tv_sec) * 1e6 + double(now.tv_nsec) * 1e-3;
}

} // namespace tonelink::bench
