// One transmission by one of the library's players: started by the constructor, ended by stop() or
// at the end of the scope, whichever comes first. And what a program sees of the host platform
// meanwhile.
#pragma once

#include <cstdint>
#include <string>

#include "burst_shape.h"
#include "errors.h"
#include "message.h"

namespace tonelink::tool {

/// Who writes the burst to the audio output: the service's writer thread, the output's own
/// callback, or the standalone transmitter, which neither filters nor looks after volumes.
enum class player { thread, callback, standalone };

struct transmission_plan {
    message_bits message;
    player by = player::thread;
    int32_t rate = kAudioRate;
    uint64_t copies = 0;                      ///< 0: until it is stopped
    exit_status failed_output = kDeviceError; ///< the status of a failure of what it plays into
};

/// The Bluetooth address of this machine. Throws failure, with the reason, when there is none.
bluetooth_address own_address();

struct volumes {
    int master; ///< 0 to 100
    int sound;  ///< of sound type 1, which the bursts are played with, 0 to 15
    int floor;  ///< under the ultrasound, -1 when there is none
    int heard;  ///< what becomes of `sound` and `floor`, 0 to 15

    bool operator==(const volumes &) const = default;
};
volumes read_volumes();

/// What the host platform last warned of, in a line, or nothing.
std::string last_warning();

/// Turns the master volume up or down, as far as it goes.
void turn_master_volume(int step);

/// Puts volumes back to what they were, as a transmission does when it ends: for a program that
/// ends without waiting for that.
void put_volumes_back(const volumes &before);

class transmission {
public:
    /// Throws failure, with the reason, when it does not start, and wrong_usage for a message that
    /// the player cannot send.
    explicit transmission(const transmission_plan &plan);
    ~transmission();
    transmission(const transmission &) = delete;
    transmission &operator=(const transmission &) = delete;

    const transmission_plan &plan() const { return plan_; }

    /// Whether the output has taken its first samples.
    bool has_begun() const { return samples_played() > 0; }

    /// Samples that the output has taken.
    uint64_t samples_played() const;

    /// Copies of the burst that the output has taken, the one at hand not counted.
    uint64_t copies_played() const;

    /// Whether the write that completes the plan's copies is at hand or done: a stop lets it finish
    /// and no other begin.
    bool is_at_last_write() const;

    /// Throws failure when the output has failed since the start: the players go on all the same.
    void check_output() const;

    /// Ends it, once: waits until the write at hand has been played, and the volumes are put back.
    /// Throws failure when that went wrong.
    void stop();

private:
    void start_service();
    void start_standalone();

    transmission_plan plan_;
    uint64_t samples_before_;
    std::string error_before_;
    bool running_ = false;
};

/// How many samples must have been played for the last of the writes that hold `copies` to have
/// begun; each write holds `copies_a_write`.
uint64_t samples_before_last_write(uint64_t copies, uint64_t copies_a_write);

} // namespace tonelink::tool
