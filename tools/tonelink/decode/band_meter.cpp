#include "decode/band_meter.h"

#include <algorithm>
#include <cmath>

#include "burst_shape.h"

namespace tonelink::tool {
namespace {

constexpr std::size_t kWindow = 1024;

std::size_t bin_at(double hz)
{
    return static_cast<std::size_t>(std::lround(hz * kWindow / kAudioRate));
}

/// A Hann window spreads a sine over its neighbours: together they hold this much of its power.
constexpr double kSpread = 1.5;

} // namespace

band_meter::band_meter() : transform_{kWindow, kWindow} {}

void band_meter::put(std::span<const int16_t> samples)
{
    for (const int16_t sample : samples) {
        transform_.put(fill_++, static_cast<float>(sample) / 32768.0f);
        if (fill_ == kWindow) measure();
    }
}

void band_meter::measure()
{
    fill_ = 0;
    transform_.run();
    double sum = 0;
    for (std::size_t bin = bin_at(kBandLowHz); bin <= bin_at(kBandHighHz); ++bin)
        sum += static_cast<double>(transform_.power(bin));
    power_ += sum / kSpread;
    ++windows_;
}

double band_meter::take_level()
{
    if (windows_ > 0) level_ = 10 * std::log10(std::max(1e-10, power_ / windows_));
    power_ = 0;
    windows_ = 0;
    return level_;
}

} // namespace tonelink::tool
