// What the transmitter handle's operations share with the service.
#pragma once

#include "tonelink/transmit.h"

#include <cstdint>
#include <pthread.h>

namespace tonelink {

/// Result codes of the operations on a handle.
namespace tx_result {
inline constexpr int32_t success = 0;
inline constexpr int32_t no_handle = 1;
inline constexpr int32_t wrong_state = 3;
inline constexpr int32_t bad_argument = 4;
inline constexpr int32_t no_modem = 5;
inline constexpr int32_t no_burst_made = 6;
inline constexpr int32_t no_burst = 7;
inline constexpr int32_t output_failed = 8;
inline constexpr int32_t thread_failed = 9;
inline constexpr int32_t null_handle = 10;
} // namespace tx_result

} // namespace tonelink

extern int32_t tx_sampleRate;            ///< rate of outputs to come, in Hz
extern pthread_mutex_t audio_stop_mutex; ///< held by both players' stops while they take down
