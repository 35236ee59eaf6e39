#include "receiver/far/steady_tones.h"

#include <algorithm>
#include <cmath>

#include "modem/burst_format.h"

namespace tonelink {

namespace {

/// Bins to either side of the middle that are looked at: 1080 Hz, a little more than the band.
constexpr std::size_t kReach = 501;
constexpr std::size_t kLooked = 2 * kReach + 1;
static_assert(kReach * 4410.0 / 2048 < 1080);

/// A bin is a tone's when it holds so many times the mean of noise, which is the median over ln 2.
/// In noise that happens once in 9000 frames.
constexpr float kLoud = 16;
constexpr float kMedianOfNoise = 0.69f;

/// The window spreads a tone over so many bins to either side.
constexpr std::size_t kSpread = 2;

} // namespace

steady_tones::steady_tones()
{
    // Hann: the windows of frames that overlap by half add up to one.
    for (std::size_t n = 0; n < kFrame; ++n)
        window_[n] = 0.5f - 0.5f * from_turns(static_cast<double>(n) / kFrame).re;
}

void steady_tones::restart()
{
    older_.fill({});
    newer_.fill({});
    cleaned_.fill({});
    carried_.fill({});
    fill_ = 0;
}

float_complex steady_tones::put(float_complex sample)
{
    const float_complex out = cleaned_[fill_];
    newer_[fill_] = sample;
    if (++fill_ == kHop) {
        fill_ = 0;
        find_tones();
    }
    return out;
}

/// Leaves the tones of the older hop out, of which now all is known.
void steady_tones::find_tones()
{
    for (std::size_t n = 0; n < kHop; ++n) {
        frame_[n] = older_[n] * window_[n];
        frame_[kHop + n] = newer_[n] * window_[kHop + n];
    }
    transform_(std::span{frame_});

    const auto bin = [](std::size_t n) { return (n + kFrame - kReach) % kFrame; };
    std::array<float, kLooked> powers;
    for (std::size_t n = 0; n < kLooked; ++n) powers[n] = power_of(frame_[bin(n)]);
    std::array<float, kLooked> sorted = powers;
    std::nth_element(sorted.begin(), sorted.begin() + kReach, sorted.end());
    const float limit = sorted[kReach] * (kLoud / kMedianOfNoise);

    std::array<bool, kLooked + 2 * kSpread> is_tone{}; // the first entry is kSpread bins lower
    bool are_tones = false;
    for (std::size_t n = 0; n < kLooked; ++n) {
        if (limit <= 0 || powers[n] <= limit) continue;
        std::fill_n(is_tone.begin() + static_cast<std::ptrdiff_t>(n), 2 * kSpread + 1, true);
        are_tones = true;
    }
    // Backward by a forward transform of the conjugates.
    std::array<float_complex, kFrame> &tones = frame_;
    if (are_tones) {
        std::array<float_complex, kLooked> held;
        for (std::size_t n = 0; n < kLooked; ++n)
            held[n] = is_tone[n + kSpread] ? conjugate(frame_[bin(n)]) : float_complex{};
        tones.fill({});
        for (std::size_t n = 0; n < kLooked; ++n) tones[bin(n)] = held[n];
        transform_(std::span{tones});
    } else {
        tones.fill({});
    }
    for (std::size_t n = 0; n < kHop; ++n) {
        const float_complex tone = conjugate(tones[n]) * (1.0f / kFrame);
        cleaned_[n] = older_[n] - (carried_[n] + tone);
        carried_[n] = conjugate(tones[kHop + n]) * (1.0f / kFrame);
    }
    older_ = newer_;
}

} // namespace tonelink
