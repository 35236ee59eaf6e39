// How a command ends when it cannot do its work: what it throws, and the exit status that becomes
// of it.
#pragma once

#include <stdexcept>

namespace tonelink::tool {

/// The caller asked for something that cannot be. The text says what would be right.
struct wrong_usage : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// The request was right, but it could not be carried out.
struct failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// The exit statuses, as the manual page lists them.
enum exit_status { kDone = 0, kFailed = 1, kWrongUsage = 2 };

} // namespace tonelink::tool
