// The host platform's own lines in the log.
#pragma once

namespace tonelink::host {

enum class log_priority { verbose = 2, debug, information, warning, error, fatal };

/// Writes one line under the host platform's tag.
void log_own(log_priority priority, const char *text) noexcept;

} // namespace tonelink::host
