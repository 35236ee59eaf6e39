#include "standard_streams.h"

#include <initializer_list>

#include <fcntl.h>
#include <unistd.h>

namespace tonelink::tool {

void hold_standard_streams()
{
    for (const int number : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(number, F_GETFD) >= 0) continue;
        // It takes the lowest free number, and lets through nothing in the direction that counts.
        if (open("/dev/null", number == STDIN_FILENO ? O_WRONLY : O_RDONLY) != number) return;
    }
}

} // namespace tonelink::tool
