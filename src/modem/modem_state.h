// What all operations on a modem state share.
#pragma once

#include <cstddef>
#include <cstdint>

#include "tonelink/modem.h"

namespace tonelink {

/// Result codes of the modem's operations.
namespace modem_result {
inline constexpr int32_t success = 1;
inline constexpr int32_t no_state = -2; // open_snfc: a state already
inline constexpr int32_t bad_length = -3;
inline constexpr int32_t no_memory = -4;
} // namespace modem_result

inline constexpr std::size_t kFrameHistory =
    271; // hops from a burst's first symbol to its last, and 1
inline constexpr std::size_t kDecimationTaps = 37;

/// Held, in any thread, while sound goes through one of the process's band shifters, and while they
/// are opened or closed.
class shifters_lock {
public:
    shifters_lock();
    shifters_lock(const shifters_lock &) = delete;
    shifters_lock &operator=(const shifters_lock &) = delete;
    ~shifters_lock();
};

/// Gives a state the receive buffers that it lacks, or has in another length, with zeros in them,
/// so that nothing depends on old memory. Returns whether it has all now.
bool restore_receive_buffers(snfc_state &state);

} // namespace tonelink
