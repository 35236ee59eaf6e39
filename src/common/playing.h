// Who plays a handle, and what is still open for it. Callbacks of the stream player and its stops
// meet here and settle which of them came first; a stop that fails half-way leaves a note of how
// far it has come, so that whoever tries next goes on from there.
#pragma once

#include "tonelink/transmit.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace tonelink {

/// Which player has a handle.
enum class player : uint8_t {
    none,
    writer_thread,
    joined, // none any more: the thread that `thread` names has been joined
    armed,  // the stream player, before its first callback
    stream, // the stream player, playing
    halted, // a stop is under way or has failed: callbacks do nothing
};

/// What is open for a handle; each stage includes those before it.
enum class output_stage : uint8_t {
    closed,
    created,
    prepared,
    called_back, // the stream callback is set
};

/// The two as they lie in a handle: one byte and its complement, once or twice, in the padding
/// behind `keep_writing`, so that the record has its documented fields and no others. A caller may
/// fill those by hand, with anything in the padding: what is no such word says that no player has
/// the handle and nothing is open. Any thread may use it at any time.
class playing_state {
public:
    /// As much as there is room for: not every processor exchanges less than 32 bits.
    using word = std::conditional_t<sizeof(void *) == 8, uint32_t, uint16_t>;

    explicit playing_state(tonelink_tx_h &handle)
        : word_{*reinterpret_cast<word *>(reinterpret_cast<std::byte *>(&handle) + kOffset)}
    {
    }

    player has_handle() const;
    output_stage stage() const;

    /// Says that nobody has the handle and nothing is open.
    void clear() const;
    void set_player(player next) const { exchange_player(next); }
    /// Return the player before; the second sets `next` only if that was `expected`.
    player exchange_player(player next) const;
    player replace_player(player expected, player next) const;
    void set_stage(output_stage next) const;

private:
    static constexpr std::size_t kOffset = offsetof(tonelink_tx_h, keep_writing) + sizeof(word);
    static_assert(kOffset % alignof(word) == 0);
    static_assert(kOffset + sizeof(word) <= offsetof(tonelink_tx_h, audio_out));

    std::atomic_ref<word> word_;
};

/// The documented fields on which threads meet.
inline auto running(tonelink_tx_h &handle) { return std::atomic_ref{handle.is_running}; }
inline auto keep_writing(tonelink_tx_h &handle) { return std::atomic_ref{handle.keep_writing}; }

/// Whether a player plays the handle or is armed to.
bool is_taken(tonelink_tx_h &handle);

/// What a callback is to a handle.
enum class callback_turn { refused, first, later };

/// Marks the handle as running, as every callback does, unless a stop has come first: refused then.
callback_turn begin_callback(tonelink_tx_h &handle);

/// Whether it is this callback's turn to save the volume: the first one's since a stop, but of no
/// callback that a stop under way has overtaken.
bool takes_volume(tonelink_tx_h &handle, callback_turn turn);

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

/// abandon_playing() for a start or a close. What the platform does not give up is left to
/// destroy_left_outputs(), but for an output whose callback is still set: false then, as that
/// callback would play again with a new player, and needs the record.
bool make_way(tonelink_tx_h &handle);

} // namespace tonelink

extern int32_t b_audio_write_; ///< 1 while a callback has set the volume and no stop put it back
extern int32_t vol_aud_write;  ///< volume of sound type 1 that this callback found
