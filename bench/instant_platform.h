// A platform that answers at once, and tells when the first samples reached it.
#pragma once

#include <chrono>

namespace tonelink::bench {

using clock = std::chrono::steady_clock;

/// The next write to an output is the first.
void await_first_write();

/// Waits for it.
clock::time_point time_of_first_write();

} // namespace tonelink::bench
