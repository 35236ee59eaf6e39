#include "plot/sound_survey.h"

#include <algorithm>
#include <cmath>
#include <future>

#include "burst_shape.h"
#include "decode/decode_sound.h"

namespace tonelink::tool {
namespace {

/// A decoded burst's start is known to some 2 ms, less than half a symbol.
constexpr double kSamePlaceSeconds = kSymbolSeconds / 2;

/// Two bursts never begin closer than this: a burst, less what noise can move its ends.
constexpr double kOverlapSeconds = kBurstSeconds * 0.9;

double distance(const sound_burst &a, double start_s) { return std::abs(a.start_s - start_s); }

std::vector<tonelink_heard> bursts_in(const sound_source &source)
{
    std::vector<tonelink_heard> bursts;
    sound_reader sound{source};
    decode_sound(sound, {},
                 {.heard = [&](const tonelink_heard &heard) { bursts.push_back(heard); }});
    return bursts;
}

} // namespace

std::size_t sound_survey::decoded() const
{
    return static_cast<std::size_t>(std::ranges::count_if(bursts, &sound_burst::is_decoded));
}

sound_survey survey_sound(const sound_source &source, const std::function<void(double)> &progressed)
{
    sound_reader sound{source};
    sound_survey survey{sound.sample_rate(), sound.channels(), 0, {}};
    std::future<std::vector<tonelink_heard>> heard;
    if (sound.sample_rate() >= TONELINK_RECEIVER_LOWEST_RATE) {
        require_rate(sound); // before anything takes its time
        heard = std::async(std::launch::async, [&] { return bursts_in(source); });
    }
    burst_finder finder{static_cast<double>(sound.sample_rate())};
    for (auto block = sound.read(); !block.empty(); block = sound.read()) {
        finder.put(block);
        survey.samples += static_cast<int64_t>(block.size());
        if (progressed && sound.length() > 0)
            progressed(static_cast<double>(survey.samples) / static_cast<double>(sound.length()));
    }
    survey.remark = sound.remark();
    const auto decoded = heard.valid() ? heard.get() : std::vector<tonelink_heard>{};
    survey.bursts = join_bursts(finder.finish(), decoded);
    return survey;
}

std::vector<sound_burst> join_bursts(std::span<const found_burst> found,
                                     std::span<const tonelink_heard> heard)
{
    std::vector<sound_burst> bursts;
    for (const tonelink_heard &next : heard) {
        sound_burst burst{next.seconds, 0, message_of(next)};
        const auto same = std::ranges::find_if(found, [&](const found_burst &other) {
            return distance(burst, other.start_s) < kSamePlaceSeconds;
        });
        if (same != found.end()) {
            burst.start_s = same->start_s;
            burst.fit = same->fit;
        }
        bursts.push_back(burst);
    }
    std::vector<sound_burst> others;
    for (const found_burst &next : found) {
        const bool is_overlapped = std::ranges::any_of(bursts, [&](const sound_burst &burst) {
            return distance(burst, next.start_s) < kOverlapSeconds;
        });
        if (!is_overlapped) others.push_back({next.start_s, next.fit, {}});
    }
    bursts.insert(bursts.end(), others.begin(), others.end());
    std::ranges::sort(bursts, {}, &sound_burst::start_s);
    return bursts;
}

} // namespace tonelink::tool
