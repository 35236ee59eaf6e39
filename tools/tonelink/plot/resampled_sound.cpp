#include "plot/resampled_sound.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "burst_shape.h"
#include "errors.h"
#include "report_text.h"

namespace tonelink::tool {
namespace {

constexpr std::size_t kResampledBlock = 16384;

/// Exact for what was 16 bits in the file.
int16_t to_16_bits(float sample)
{
    if (std::isnan(sample)) return 0;
    return static_cast<int16_t>(std::lrint(std::clamp(sample * 32768.0f, -32768.0f, 32767.0f)));
}

double ratio_of(const sound_reader &sound) { return double{kAudioRate} / sound.sample_rate(); }

} // namespace

resampled_sound::resampled_sound(const sound_source &source)
    : sound_{source}, resampler_{nullptr, &src_delete}
{
    const double ratio = ratio_of(sound_);
    if (ratio == 1) return;
    if (!src_is_valid_ratio(ratio))
        throw file_failure{
            joined(0, "cannot resample ", sound_.name(), " from ", sound_.sample_rate(), " Hz")};
    int error = 0;
    resampler_.reset(src_new(SRC_SINC_BEST_QUALITY, 1, &error));
    if (!resampler_) throw std::runtime_error{src_strerror(error)};
    resampled_.resize(kResampledBlock);
}

std::span<const int16_t> resampled_sound::read()
{
    const auto block = resampler_ ? resample() : sound_.read();
    samples_.resize(block.size());
    std::ranges::transform(block, samples_.begin(), to_16_bits);
    return samples_;
}

/// The next samples at 44100 Hz, none at the end of what the converter holds back.
std::span<const float> resampled_sound::resample()
{
    for (;;) {
        if (pending_.empty() && !at_end_) {
            pending_ = sound_.read();
            at_end_ = pending_.empty();
        }
        SRC_DATA data{};
        data.data_in = pending_.data();
        data.input_frames = static_cast<long>(pending_.size());
        data.data_out = resampled_.data();
        data.output_frames = static_cast<long>(resampled_.size());
        data.end_of_input = at_end_ ? 1 : 0;
        data.src_ratio = ratio_of(sound_);
        if (const int error = src_process(resampler_.get(), &data))
            throw std::runtime_error{src_strerror(error)};
        pending_ = pending_.subspan(static_cast<std::size_t>(data.input_frames_used));
        const auto count = static_cast<std::size_t>(data.output_frames_gen);
        if (count > 0 || at_end_) return {resampled_.data(), count};
    }
}

} // namespace tonelink::tool
