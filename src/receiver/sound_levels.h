// What reaches the receiver, ten times a second: levels over all and in each kilohertz, and what is
// wrong with the samples.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "receiver/fourier_transform.h"

namespace tonelink {

inline constexpr std::size_t kLevelBands = 22;   // a kilohertz each
inline constexpr std::size_t kNarrowBands = 128; // of half the sample rate: 172 Hz each
inline constexpr float kNarrowBandHz = 44100.0f / 2 / kNarrowBands;

/// Sums over slots of a tenth of a second. Powers are of samples from -1 to 1.
struct sound_figures {
    uint32_t slots = 0;
    uint32_t quiet_slots = 0; ///< in which next to nothing arrived
    double power = 0;         ///< mean square of each slot, added up
    double band_power = 0;    ///< in the band of the bursts
    std::array<double, kLevelBands> powers{};
    std::array<float, kNarrowBands> narrow_powers{};
    float peak = 0;      ///< the largest sample
    uint64_t frames = 0; ///< of the input, without those that were lost
    uint64_t clipped_frames = 0;
    uint64_t invalid_frames = 0;
    uint64_t lost_frames = 0;
    uint32_t heard = 0;      ///< bursts
    uint32_t unread = 0;     ///< bursts seen, but not heard
    float unread_snr_db = 0; ///< of the clearest of them
    float unread_ppm = 0;

    void add(const sound_figures &other);
};

/// Measures slots.
class sound_levels {
public:
    static constexpr std::size_t kSlotSamples = 4410;

    sound_levels();

    /// How many samples are missing of a slot.
    std::size_t missing() const { return kSlotSamples - fill_; }

    /// Takes the next samples at 44100 Hz, missing() at most; returns whether a
    /// slot is complete. Its powers and peak then stand in `slot`, and the next one begins.
    bool put(std::span<const float> samples, sound_figures &slot);

    /// Begins a new stream.
    void restart();

private:
    static constexpr std::size_t kWindow = 1024;

    void measure_spectrum(sound_figures &slot);

    fourier_transform<kWindow> transform_;
    std::array<float, kWindow> window_;
    // Two windows of each slot, the second one in the imaginary parts: one transform serves both.
    std::array<float_complex, kWindow> values_{};
    std::size_t fill_ = 0;
    double power_ = 0;
    float peak_ = 0;
};

} // namespace tonelink
