#include "check/quiet_noise.h"

#include <algorithm>
#include <cmath>

#include "check/probe.h"

namespace tonelink::tool {
namespace {

constexpr double kFrameSeconds = 0.04;
constexpr double kBinsOfASine = 1.5; // through a Hann window

/// Power in each Hz that samples of 16 bits have at least: -98 dB over 22050 Hz.
constexpr double kLeastDensity = 7e-15;

} // namespace

double median(std::vector<double> values)
{
    if (values.empty()) return 0;
    const auto middle = values.begin() + std::ssize(values) / 2;
    std::ranges::nth_element(values, middle);
    return *middle;
}

std::vector<time_range> quiet_parts(double seconds, const std::optional<probe_place> &place)
{
    constexpr double kBegin = 0.1;             // a device's first samples may be anything
    constexpr double kMost = 2, kEnough = 0.3; // before the probe
    constexpr double kBeforeChirp = 0.05, kEcho = 0.25;
    if (!place) return {{std::min(kBegin, seconds / 4), seconds}};
    const double before = place->at(0) - kBeforeChirp;
    std::vector<time_range> parts{{std::max({0.0, kBegin, before - kMost}), before}};
    if (before - parts[0].from > kEnough) return parts;
    // A recording that begins with the probe: what there is at all.
    parts[0].from = 0;
    parts.push_back({place->at(probe_time::kTones - 0.1), place->at(probe_time::kTones)});
    parts.push_back({place->at(probe_time::kEnd) + kEcho, seconds});
    return parts;
}

quiet_noise::quiet_noise(std::span<const float> samples, double rate,
                         std::span<const time_range> quiet)
{
    frame_spectrum frame{samples, rate, kFrameSeconds};
    bin_hz_ = frame.bin_hz();
    frame_seconds_ = frame.seconds();
    mean_.resize(frame.bins());
    std::vector<double> low;
    for (const time_range &part : quiet) {
        const double frames = std::floor((part.to - part.from) / frame_seconds_);
        for (int i = 0; i < static_cast<int>(frames); ++i) {
            frame.look(part.from + i * frame_seconds_);
            for (std::size_t bin = 0; bin < mean_.size(); ++bin) mean_[bin] += frame.bin_power(bin);
            low.push_back(frame.power(kLowFromHz, kLowToHz));
        }
    }
    for (double &power : mean_)
        power = std::max(power / std::max(1.0, static_cast<double>(low.size())),
                         kLeastDensity * kBinsOfASine * bin_hz_);
    usual_low_power_ = median(std::move(low));
}

double quiet_noise::power(double low_hz, double high_hz) const
{
    double sum = 0;
    for (std::size_t bin = 0; bin < mean_.size(); ++bin) {
        const double hz = static_cast<double>(bin) * bin_hz_;
        if (hz >= low_hz && hz <= high_hz) sum += mean_[bin];
    }
    return sum / kBinsOfASine;
}

double quiet_noise::tone_power(double hz, double seconds) const
{
    constexpr double kAround = 100; // Hz to each side, for a steadier mean
    constexpr double kBinsOfATone = 3;
    const double density = power(hz - kAround, hz + kAround) / (2 * kAround + bin_hz_);
    return density * kBinsOfATone / seconds;
}

} // namespace tonelink::tool
