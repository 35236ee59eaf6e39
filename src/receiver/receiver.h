// The receiver behind the C interface: from samples as they come to records and a report.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "modem/stream_receiver.h"
#include "receiver/baseband.h"
#include "receiver/burst_measuring.h"
#include "receiver/burst_watch.h"
#include "receiver/far/far_receiver.h"
#include "receiver/heard_bursts.h"
#include "receiver/message_queue.h"
#include "receiver/resampler.h"
#include "receiver/sound_levels.h"
#include "receiver/stream_places.h"
#include "receiver/told_bursts.h"
#include "tonelink/modem.h"
#include "tonelink/receiver.h"

namespace tonelink {

/// A receiver goes through the sound in ticks of 10 ms: what it does in one depends on the sound up
/// to there alone. So the stream may be cut anywhere, and the work is spread over time.
class receiver {
public:
    /// What lives as long as this object and is its own.
    struct parts {
        std::span<float> coefficients; ///< resampler::table_size(rate) of them
        far_receiver *far;             ///< null: not by the far method
        bool is_exact;                 ///< whether by the exact method
    };

    receiver(int32_t rate, message_lengths lengths, const parts &own);
    ~receiver();
    receiver(const receiver &) = delete;
    receiver &operator=(const receiver &) = delete;

    /// Whether all its memory could be had.
    bool is_open() const { return shifter_.delay.data != nullptr; }

    /// What is wrong with some frames.
    struct flaws {
        uint64_t clipped = 0;
        uint64_t invalid = 0;
    };

    /// Takes samples that lie within full scale, frames_to_tick() at most.
    void put(std::span<const float> samples, const flaws &found);

    /// How many frames there are until the next tick is complete; at least 1.
    std::size_t frames_to_tick() const;

    void put_lost(uint64_t frames);
    void settle();
    void finish();

    message_queue &heard() { return queue_; }
    void report(tonelink_reception &reception) const;

private:
    static constexpr std::size_t kTick = 441;
    static constexpr std::size_t kRecentSlots = 50;

    void begin_stream();
    void put_samples(std::span<const float> samples);
    void measure(int steps);
    void put_silence(uint64_t frames);
    bool is_at_work() const;
    void hear(std::span<const float> samples);
    void hear_far();
    void take_far();
    void conclude(const found_burst &burst, const burst_figures &figures);
    void tell_exact(const heard_burst &burst, const burst_figures &figures);
    void tell_far(const far_message &message, const burst_figures &figures);
    void tell(tonelink_heard &heard, const message_value &message, double sample, double length);
    void conclude_unread();
    void note_unread(const burst_figures &figures);
    void end_slot();

    // First what has lanes: this object begins with a cache line, as they do.
    stream_receiver exact_; // the exact method, with its shifter
    burst_watch watch_;
    BandShiftInfo shifter_{};
    heard_bursts bursts_;

    const int32_t rate_;
    const message_lengths lengths_;
    const bool is_exact_;      ///< whether by the exact method
    bool is_ended_ = false;    ///< what comes next is a new stream
    bool is_draining_ = false; ///< silence is put behind the stream: it is not part of it
    uint32_t dropped_ = 0;     ///< records, from the queue

    resampler resampler_;
    stream_places places_;
    std::array<float, kTick> tick_; // samples of the next one
    std::size_t tick_fill_ = 0;
    int64_t position_ = 0; // of the next sample at 44100 Hz to be heard
    uint64_t frames_ = 0;

    far_receiver *const far_; // null: not by this method
    int64_t far_heard_ = 0;   // baseband samples

    // What bursts are seen and measured by.
    symbol_reader reader_;
    baseband baseband_;
    burst_measuring measuring_{reader_};
    told_bursts told_;
    struct unread_burst {
        double sample;
        burst_figures figures;
    };
    std::array<unread_burst, 16> unread_; // that a method may still read
    std::size_t unread_count_ = 0;

    sound_levels levels_;
    sound_figures slot_;  // the one that is going on
    sound_figures whole_; // all slots
    std::array<sound_figures, kRecentSlots> recent_;
    message_queue queue_;
};

} // namespace tonelink
