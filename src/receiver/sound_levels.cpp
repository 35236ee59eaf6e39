#include "receiver/sound_levels.h"

#include <algorithm>
#include <cmath>

#include "modem/burst_format.h"

namespace tonelink {

namespace {

/// A sound of less than this mean square, -84 dB of a full-scale sine, is next to nothing: some
/// steps of 16 bits.
constexpr double kQuiet = 0.5 * 4e-9;

} // namespace

void sound_figures::add(const sound_figures &other)
{
    if (other.unread > 0 && (unread == 0 || other.unread_snr_db > unread_snr_db)) {
        unread_snr_db = other.unread_snr_db;
        unread_ppm = other.unread_ppm;
    }
    slots += other.slots;
    quiet_slots += other.quiet_slots;
    power += other.power;
    band_power += other.band_power;
    for (std::size_t i = 0; i < powers.size(); ++i) powers[i] += other.powers[i];
    for (std::size_t i = 0; i < narrow_powers.size(); ++i)
        narrow_powers[i] += other.narrow_powers[i];
    peak = std::max(peak, other.peak);
    frames += other.frames;
    clipped_frames += other.clipped_frames;
    invalid_frames += other.invalid_frames;
    lost_frames += other.lost_frames;
    heard += other.heard;
    unread += other.unread;
}

sound_levels::sound_levels()
{
    for (std::size_t i = 0; i < kWindow; ++i)
        window_[i] = 0.5f - 0.5f * from_turns(static_cast<double>(i) / kWindow).re;
}

void sound_levels::restart()
{
    fill_ = 0;
    power_ = 0;
    peak_ = 0;
}

bool sound_levels::put(std::span<const float> samples, sound_figures &slot)
{
    constexpr std::size_t kSecondWindow = kSlotSamples / 2;
    for (const float sample : samples) {
        power_ += double{sample} * sample;
        peak_ = std::max(peak_, std::abs(sample));
        if (fill_ < kWindow)
            values_[fill_].re = sample * window_[fill_];
        else if (fill_ >= kSecondWindow && fill_ < kSecondWindow + kWindow)
            values_[fill_ - kSecondWindow].im = sample * window_[fill_ - kSecondWindow];
        ++fill_;
    }
    if (fill_ < kSlotSamples) return false;
    slot.slots = 1;
    slot.power = power_ / kSlotSamples;
    slot.quiet_slots = slot.power < kQuiet ? 1 : 0;
    slot.peak = peak_;
    measure_spectrum(slot);
    restart();
    return true;
}

void sound_levels::measure_spectrum(sound_figures &slot)
{
    transform_(std::span{values_});
    constexpr double kBinHz = static_cast<double>(kAudioRate) / kWindow;
    // A real sound's power is on both sides of the spectrum; the window's mean square is 3/8.
    constexpr double kScale = 2 / (0.375 * kWindow * kWindow);
    for (std::size_t k = 1; k < kWindow / 2; ++k) {
        // The mean of both windows: their spectra are the even and odd parts of this one.
        const double power =
            kScale * 0.25 * (power_of(values_[k]) + power_of(values_[kWindow - k]));
        const double hz = kBinHz * static_cast<double>(k);
        const auto band = static_cast<std::size_t>(hz / 1000);
        if (band < kLevelBands) slot.powers[band] += power;
        slot.narrow_powers[k * kNarrowBands / (kWindow / 2)] += static_cast<float>(power);
        if (hz >= kBandLowHz && hz <= kBandHighHz) slot.band_power += power;
    }
}

} // namespace tonelink
