// Detections that wait to be looked at: a bounded number, the most promising one first.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "receiver/far/burst_detector.h"

namespace tonelink {

struct waiting_detection {
    detection found;
    int64_t since = 0;         ///< when it was detected, in baseband samples
    bool is_side_peak = false; ///< of what was heard

    /// How promising it is.
    float rank() const;
};

class waiting_detections {
public:
    void restart() { count_ = 0; }
    bool are_none() const { return count_ == 0; }

    /// Takes one in. Of too many, the least promising one goes; returns whether one did.
    bool put(const waiting_detection &waiting, waiting_detection &gone);

    /// Takes the most promising one out; false: none waits.
    bool take(waiting_detection &waiting);

    /// Decides anew which ones are side peaks.
    template <class Condition> void mark_side_peaks(const Condition &is_side_peak)
    {
        for (std::size_t n = 0; n < count_; ++n) {
            waiting_[n].is_side_peak = is_side_peak(waiting_[n].found);
            ranks_[n] = waiting_[n].rank();
        }
    }

private:
    static constexpr std::size_t kMost = 64;

    std::array<waiting_detection, kMost> waiting_;
    std::array<float, kMost> ranks_; // theirs
    std::size_t count_ = 0;
};

/// How many candidates there are a second, over the last ten: sounds that look like bursts all the
/// time make each of them less worth.
class candidate_rate {
public:
    void restart()
    {
        counts_.fill(0);
        seconds_ = 0;
    }
    void count(int64_t now) { ++counts_[second_of(now)]; }

    /// To be told of every second that begins.
    void begin_second(int64_t now)
    {
        counts_[second_of(now)] = 0;
        if (seconds_ < counts_.size()) ++seconds_;
    }

    float per_second() const;

private:
    std::size_t second_of(int64_t now) const;

    std::array<uint16_t, 10> counts_{};
    std::size_t seconds_ = 0; // that are counted
};

} // namespace tonelink
