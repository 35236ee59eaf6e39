// Who plays a handle, and what is still open for it. Callbacks of the stream player and its stops
// meet here and settle which of them came first; a stop that fails half-way leaves a note of how
// far it has come, so that whoever tries next goes on from there.
#pragma once

#include "tonelink/transmit.h"

#include <atomic>
#include <cstdint>

namespace tonelink {

/// What `player` says.
namespace player {
inline constexpr int32_t none = 0;
inline constexpr int32_t writer_thread = 1;
inline constexpr int32_t armed = 2;  // the stream player, before its first callback
inline constexpr int32_t stream = 3; // the stream player, playing
inline constexpr int32_t halted = 4; // a stop is under way or has failed: callbacks do nothing
} // namespace player

/// What `output_stage` says to be open; each stage includes those before it.
namespace output_stage {
inline constexpr int32_t closed = 0;
inline constexpr int32_t created = 1;
inline constexpr int32_t prepared = 2;
inline constexpr int32_t called_back = 3; // the stream callback is set
} // namespace output_stage

/// The fields on which threads meet.
inline auto running(tonelink_tx_h &handle) { return std::atomic_ref{handle.is_running}; }
inline auto player_of(tonelink_tx_h &handle) { return std::atomic_ref{handle.player}; }
inline auto keep_writing(tonelink_tx_h &handle) { return std::atomic_ref{handle.keep_writing}; }

/// Whether a player plays the handle or is armed to.
bool is_taken(tonelink_tx_h &handle);

/// Marks the handle as running, as every callback does, unless a stop has come first: false then.
bool begin_callback(tonelink_tx_h &handle);

/// One step each, down from the stage that its name says; false when the platform refuses it.
bool remove_callback(tonelink_tx_h &handle);
bool unprepare_output(tonelink_tx_h &handle);
bool close_output(tonelink_tx_h &handle);

/// Closes an output that has its callback but could not be started, and undoes what a callback may
/// have done already.
void disarm(tonelink_tx_h &handle);

/// Ends by force what a stop has refused to end or has left half-way: afterwards no callback
/// touches the handle, and its output is closed as far as the platform lets it.
void abandon_playing(tonelink_tx_h &handle);

} // namespace tonelink

extern uint8_t b_audio_write_; ///< 1 once the first callback after a start has set the volume
extern int32_t vol_aud_write;  ///< volume of sound type 1 that this callback found
