// An audio output: a device that is prepared and stopped, takes writes at the pace of its rate, and
// can have a thread that asks the program for them.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <span>

#include "callback_thread.h"
#include "sink.h"
#include "stream_info.h"
#include "tonelink_platform/audio_out.h"

namespace tonelink::host {

/// Whom the device asks for sound.
struct stream_callback {
    audio_out_stream_cb function;
    audio_out_h out;
    void *user_data;
};

class audio_output {
public:
    /// @param rate  samples a second, at most kHighestRate
    explicit audio_output(int rate) : rate_{rate} {}

    int bind(std::shared_ptr<stream_info> info);
    int prepare();
    int unprepare();
    int set_callback(const stream_callback &callback);
    int unset_callback();
    int write(std::span<const std::byte> bytes);

    /// Stops it for good; -38 from inside its callback.
    int close();

    static constexpr int kLowestRate = 8000;
    static constexpr int kHighestRate = 192000;

private:
    callback_thread::duration request_samples();
    void stop_playing();
    void play_period(std::span<const std::byte> bytes);
    std::size_t period_bytes() const;

    const int rate_;

    // Lets through one call that changes the state at a time, also while it waits for a thread.
    std::mutex control_mutex_;
    bool prepared_ = false;
    bool closed_ = false;
    std::shared_ptr<stream_info> info_;

    std::mutex sink_mutex_; // one write at a time; guards the sink. Taken after control_mutex_.
    std::unique_ptr<sink> sink_;
    int failure_ = 0;                     // of the sink since it was opened
    std::atomic<bool> stopping_{false};   // writes end at the next period
    std::atomic<std::uint64_t> taken_{0}; // samples

    std::mutex callback_mutex_; // guards the callback, which its own call may remove. Taken last.
    std::optional<stream_callback> callback_;
    callback_thread thread_{"tonelink-audio", [this] { return request_samples(); }};
};

/// Samples that all outputs of the process together have played.
std::uint64_t samples_played() noexcept;

} // namespace tonelink::host
