// The last failure of the host platform, as a line for people.

#include <array>
#include <cstdio>
#include <cstring>
#include <mutex>

#include "log.h"
#include "result.h"
#include "tonelink_platform/host.h"

namespace tonelink::host {

namespace {

std::mutex mutex;
std::array<char, 512> last_error{};

} // namespace

void report_failure(const char *what) noexcept
{
    {
        const std::lock_guard lock{mutex};
        std::snprintf(last_error.data(), last_error.size(), "%s", what);
    }
    log_own(log_priority::error, what);
}

} // namespace tonelink::host

using namespace tonelink::host;

size_t tonelink_host_get_last_error(char *text, size_t size)
{
    const std::lock_guard lock{mutex};
    if (text != nullptr && size > 0) std::snprintf(text, size, "%s", last_error.data());
    return std::strlen(last_error.data());
}
