// A stream of mono sound from one sample rate to another, by libsamplerate's best converter: flat
// up to 97 % of the lower rate's half, so that the band of the bursts passes at 44100 Hz.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include <samplerate.h>

namespace tonelink::sound {

/// A sample of 16 bits from one of full scale 1, cut where it is louder; exact for what was one.
std::int16_t to_16_bits(float sample);

class rate_converter {
public:
    /// Rates in samples a second; equal ones leave the samples as they are. Throws
    /// std::invalid_argument where one is more than 256 times the other.
    rate_converter(double from, double to);

    /// Takes samples and returns those that are complete by now; a few milliseconds are held back.
    /// Valid until the next call.
    std::span<const std::int16_t> convert(std::span<const std::int16_t> samples);

    /// Returns what is held back, as silence follows, and begins anew. Valid until the next call.
    std::span<const std::int16_t> finish();

    bool changes_samples() const { return state_ != nullptr; }

private:
    void process(std::span<const float> samples, bool at_end);

    double ratio_;
    std::unique_ptr<SRC_STATE, decltype(&src_delete)> state_; // null at equal rates
    std::vector<float> samples_;
    std::vector<float> block_;
    std::vector<std::int16_t> converted_;
};

} // namespace tonelink::sound
