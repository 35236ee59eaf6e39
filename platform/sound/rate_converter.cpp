#include "sound/rate_converter.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <string>

namespace tonelink::sound {

namespace {

constexpr std::size_t kBlock = 4096;
/// Where no samples are: the converter does not flush for a null pointer.
constexpr float kNothing = 0;

/// Rates nearer to each other count as equal: two parts in a million, less than clocks differ by.
constexpr double kSameRate = 2e-6;

} // namespace

std::int16_t to_16_bits(float sample)
{
    return static_cast<std::int16_t>(
        std::lrint(std::clamp(sample * 32768.0f, -32768.0f, 32767.0f)));
}

rate_converter::rate_converter(double from, double to)
    : ratio_{to / from}, state_{nullptr, &src_delete}
{
    if (std::abs(ratio_ - 1) < kSameRate) return;
    if (src_is_valid_ratio(ratio_) == 0)
        throw std::invalid_argument{"cannot resample from " + std::to_string(from) + " Hz"};
    int error = 0;
    state_.reset(src_new(SRC_SINC_BEST_QUALITY, 1, &error));
    if (!state_) throw std::runtime_error{src_strerror(error)};
    block_.resize(kBlock);
}

std::span<const std::int16_t> rate_converter::convert(std::span<const std::int16_t> samples)
{
    if (!changes_samples()) return samples;
    samples_.resize(samples.size());
    std::ranges::transform(samples, samples_.begin(),
                           [](std::int16_t s) { return static_cast<float>(s) / 32768.0f; });
    converted_.clear();
    process(samples_, false);
    return converted_;
}

std::span<const std::int16_t> rate_converter::finish()
{
    converted_.clear();
    if (!changes_samples()) return {};
    process({&kNothing, 0}, true);
    src_reset(state_.get());
    return converted_;
}

void rate_converter::process(std::span<const float> samples, bool at_end)
{
    for (;;) {
        SRC_DATA data{};
        data.data_in = samples.data();
        data.input_frames = static_cast<long>(samples.size());
        data.data_out = block_.data();
        data.output_frames = static_cast<long>(block_.size());
        data.end_of_input = at_end ? 1 : 0;
        data.src_ratio = ratio_;
        if (const int error = src_process(state_.get(), &data))
            throw std::runtime_error{src_strerror(error)};
        samples = samples.subspan(static_cast<std::size_t>(data.input_frames_used));
        const auto made = std::span{block_}.first(static_cast<std::size_t>(data.output_frames_gen));
        std::ranges::transform(made, std::back_inserter(converted_), to_16_bits);
        if (samples.empty() && made.size() < block_.size()) return;
    }
}

} // namespace tonelink::sound
