// The last failure of the host platform and its last warning, as lines for people.

#include <array>
#include <cstdio>
#include <cstring>
#include <mutex>

#include "log.h"
#include "result.h"
#include "tonelink_platform/host.h"

namespace tonelink::host {

namespace {

/// A line that any thread may set and read.
class kept_line {
public:
    void set(const char *text) noexcept
    {
        const std::lock_guard lock{mutex_};
        std::snprintf(line_.data(), line_.size(), "%s", text);
    }

    std::size_t get(char *text, std::size_t size) const noexcept
    {
        const std::lock_guard lock{mutex_};
        if (text != nullptr && size > 0) std::snprintf(text, size, "%s", line_.data());
        return std::strlen(line_.data());
    }

private:
    mutable std::mutex mutex_;
    std::array<char, 512> line_{};
};

kept_line last_error, last_warning;

} // namespace

void report_failure(const char *what) noexcept
{
    last_error.set(what);
    log_own(log_priority::error, what);
}

void report_warning(const char *what) noexcept
{
    last_warning.set(what);
    log_own(log_priority::warning, what);
}

} // namespace tonelink::host

using namespace tonelink::host;

size_t tonelink_host_get_last_error(char *text, size_t size) { return last_error.get(text, size); }

size_t tonelink_host_get_last_warning(char *text, size_t size)
{
    return last_warning.get(text, size);
}
