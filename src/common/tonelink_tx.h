// What the transmitter handle's operations share with the service.
#pragma once

#include "tonelink/transmit.h"

#include <cstddef>
#include <cstdint>
#include <pthread.h>

namespace tonelink {

/// The record is no larger than its documented fields make it, on 64-bit machines and on 32-bit
/// ones: callers may declare it from its documentation.
constexpr bool is_at(std::size_t offset, std::size_t on_64_bits, std::size_t on_32_bits)
{
    return offset == (sizeof(void *) == 8 ? on_64_bits : on_32_bits);
}
static_assert(is_at(offsetof(tonelink_tx_h, thread), 0, 0));
static_assert(is_at(offsetof(tonelink_tx_h, is_running), 8, 4));
static_assert(is_at(offsetof(tonelink_tx_h, modem), 16, 8));
static_assert(is_at(offsetof(tonelink_tx_h, burst), 24, 12));
static_assert(is_at(offsetof(tonelink_tx_h, message), 32, 16));
static_assert(is_at(offsetof(tonelink_tx_h, burst_length), 80, 64));
static_assert(is_at(offsetof(tonelink_tx_h, keep_writing), 88, 68));
static_assert(is_at(offsetof(tonelink_tx_h, audio_out), 96, 72));
static_assert(is_at(offsetof(tonelink_tx_h, sample_rate), 104, 76));
static_assert(is_at(sizeof(tonelink_tx_h), 112, 80));

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
