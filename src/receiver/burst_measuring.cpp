#include "receiver/burst_measuring.h"

#include <algorithm>
#include <cmath>

#include "receiver/told_bursts.h"

namespace tonelink {

namespace {

/// Where a clock is looked for; each guess reaches 800 ppm to either side. That of a burst that was
/// heard is within the first.
constexpr std::array<double, 3> kClockGuesses = {0, 1000e-6, -1000e-6};

} // namespace

void burst_measuring::add(const found_burst &burst)
{
    if (count_ == waiting_.size()) {
        if (!burst.is_heard()) return;
        const auto seen = std::find_if(waiting_.begin() + 1, waiting_.end(),
                                       [](const found_burst &other) { return !other.is_heard(); });
        if (seen == waiting_.end()) return;
        remove(static_cast<std::size_t>(seen - waiting_.begin()));
    }
    waiting_[count_++] = burst;
}

bool burst_measuring::covers(double sample) const
{
    return std::any_of(waiting_.data(), waiting_.data() + count_, [&](const found_burst &burst) {
        return burst.is_heard() && std::abs(burst.sample - sample) < kSameBurst;
    });
}

void burst_measuring::advance(int steps, const baseband &sound,
                              function_ref<void(const found_burst &, const burst_figures &)> sink)
{
    for (; steps > 0 && count_ > 0; --steps) {
        if (!is_measuring_) meter_.begin(waiting_[0].sample, kClockGuesses[guess_]);
        is_measuring_ = !meter_.step(sound);
        if (is_measuring_ || !finish_guess(waiting_[0].is_heard())) continue;
        const found_burst measured = waiting_[0];
        remove(0);
        sink(measured, best_figures_);
    }
}

/// Keeps the better figures; returns whether there is nothing more to guess.
bool burst_measuring::finish_guess(bool is_heard)
{
    if (guess_ == 0 || meter_.figures().snr_db > best_figures_.snr_db)
        best_figures_ = meter_.figures();
    guess_ = is_heard ? 0 : (guess_ + 1) % kClockGuesses.size();
    return guess_ == 0;
}

void burst_measuring::remove(std::size_t index)
{
    auto *const removed = waiting_.data() + index;
    std::copy(removed + 1, waiting_.data() + count_, removed);
    --count_;
}

void burst_measuring::restart()
{
    count_ = 0;
    is_measuring_ = false;
    guess_ = 0;
}

} // namespace tonelink
