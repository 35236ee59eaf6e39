#include "receiver/far/waiting_detections.h"

#include <algorithm>
#include <utility>

namespace tonelink {

namespace {

/// More energy over the threshold than this says nothing more, but which of several peaks of a loud
/// burst comes first: the burst itself, rather than what surrounds it; and alone, rather than in a
/// sum.
constexpr float kMostExcess = 15;
constexpr float kOfEnergy = 1e-3f;
constexpr float kOfCopies = 1e-2f;

/// A sum over ten copies is for messages that nothing else has found: it can wait. And so can what
/// looks like a part of a burst that was heard.
constexpr float kTenLater = 8;
constexpr float kSideLater = 12;

constexpr int64_t kSecond = kAudioRate / int64_t{kInterpolation}; // baseband samples

} // namespace

float waiting_detection::rank() const
{
    const auto copies = static_cast<float>(found.copies);
    return std::min(found.excess(), kMostExcess) + kOfEnergy * found.first.energy / copies -
           kOfCopies * copies - (found.copies == kMostCopies ? kTenLater : 0) -
           (is_side_peak ? kSideLater : 0);
}

bool waiting_detections::put(const waiting_detection &waiting, waiting_detection &gone)
{
    const float rank = waiting.rank();
    if (count_ < waiting_.size()) {
        ranks_[count_] = rank;
        waiting_[count_++] = waiting;
        return false;
    }
    gone = waiting;
    const auto least = std::min_element(ranks_.begin(), ranks_.end());
    if (*least < rank) {
        *least = rank;
        std::swap(gone, waiting_[static_cast<std::size_t>(least - ranks_.begin())]);
    }
    return true;
}

bool waiting_detections::take(waiting_detection &waiting)
{
    if (count_ == 0) return false;
    const auto end = ranks_.begin() + static_cast<std::ptrdiff_t>(count_);
    const auto best =
        static_cast<std::size_t>(std::max_element(ranks_.begin(), end) - ranks_.begin());
    waiting = waiting_[best];
    waiting_[best] = waiting_[--count_];
    ranks_[best] = ranks_[count_];
    return true;
}

std::size_t candidate_rate::second_of(int64_t now) const
{
    return static_cast<std::size_t>(now / kSecond) % counts_.size();
}

float candidate_rate::per_second() const
{
    unsigned sum = 0;
    for (const uint16_t count : counts_) sum += count;
    return static_cast<float>(sum) / static_cast<float>(std::max<std::size_t>(seconds_, 1));
}

} // namespace tonelink
