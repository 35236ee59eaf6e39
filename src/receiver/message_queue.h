// Records that wait to be taken.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include "tonelink/receiver.h"

namespace tonelink {

/// The records of the bursts heard, the oldest first; a further one pushes out the oldest.
class message_queue {
public:
    static constexpr std::size_t kMost = 16;

    /// Returns how many records were pushed out: 0 or 1.
    uint32_t put(const tonelink_heard &heard)
    {
        const bool is_full = count_ == kMost;
        if (is_full) drop_oldest();
        records_[(first_ + count_++) % kMost] = heard;
        return is_full ? 1 : 0;
    }

    /// Adds what another method has heard of the same burst to a record that still waits.
    void confirm(const tonelink_heard &heard, int64_t tolerance)
    {
        for (std::size_t i = 0; i < count_; ++i) {
            tonelink_heard &known = records_[(first_ + i) % kMost];
            const int64_t distance = known.first_sample - heard.first_sample;
            if (known.nbits != heard.nbits || distance > tolerance || distance < -tolerance ||
                !std::ranges::equal(known.message, heard.message))
                continue;
            known.methods |= heard.methods;
            known.positions += heard.positions;
        }
    }

    bool empty() const { return count_ == 0; }
    const tonelink_heard &oldest() const { return records_[first_]; }

    void drop_oldest()
    {
        first_ = (first_ + 1) % kMost;
        --count_;
    }

private:
    std::array<tonelink_heard, kMost> records_{};
    std::size_t first_ = 0;
    std::size_t count_ = 0;
};

} // namespace tonelink
