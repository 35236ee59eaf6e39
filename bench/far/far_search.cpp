#include "far/far_search.h"

#include <algorithm>
#include <cmath>
#include <memory>

#include "receiver/baseband.h"
#include "receiver/far/burst_decoder.h"
#include "receiver/far/burst_detector.h"
#include "receiver/far/far_receiver.h"
#include "receiver/far/path_message.h"
#include "receiver/far/steady_tones.h"

namespace tonelink::bench {

namespace {

constexpr std::size_t kMostCandidates = 4;

/// What the paths hold whose CRC agrees.
void try_paths(path_list &paths, std::size_t bits, std::uint64_t sent, const copy_set &copies,
               far_result &result)
{
    while (paths.next()) {
        if (!passes_crc_check(paths.bits(), bits)) continue;
        ++result.messages;
        if (message_of(paths.bits(), bits) != sent) continue;
        result.is_right = true;
        result.clock = copies.places[0].clock;
        result.first_sample = copies.places[0].first_sample();
        return;
    }
}

} // namespace

std::vector<float_complex> baseband_of(const sound &samples)
{
    const auto front = std::make_unique<baseband>();
    std::vector<float_complex> all;
    constexpr std::size_t kBlock = 441;
    for (std::size_t at = 0; at < samples.size(); at += kBlock) {
        front->put(std::span{samples}.subspan(at, std::min(kBlock, samples.size() - at)));
        while (std::ssize(all) < front->size()) all.push_back(front->at(std::ssize(all)));
    }
    return all;
}

far_result receive_scene(const far_scene &scene, std::size_t bits)
{
    constexpr std::size_t kTick = 44;
    const auto receiver = std::make_unique<far_receiver>(message_lengths::both);
    const auto samples = baseband_of(scene.samples);
    far_result result;
    const auto put = [&](std::span<const float_complex> tick) {
        receiver->put(tick);
        for (far_message heard; receiver->take(heard);) {
            ++result.messages;
            if (heard.length != bits || heard.bits != scene.message) continue;
            if (result.is_right) --result.messages; // the same once more
            result.is_right = true;
        }
    };
    const std::span all{samples};
    for (std::size_t at = 0; at < all.size(); at += kTick)
        put(all.subspan(at, std::min(kTick, all.size() - at)));
    receiver->end_stream();
    const std::vector<float_complex> silence(kTick);
    for (std::size_t n = 0; n < steady_tones::kDelay / kTick + 20 || !receiver->is_idle(); ++n)
        put(silence);
    result.trials = receiver->trials().trials();
    return result;
}

far_result search_scene(const far_scene &scene, std::size_t bits, std::size_t copies,
                        int search_ppm)
{
    const auto tones = std::make_unique<steady_tones>();
    const auto raw = baseband_of(scene.samples);
    const auto heard = std::make_unique<far_sound>();
    const auto detector = std::make_unique<burst_detector>();
    std::vector<detection> found;
    for (std::size_t n = 0; n < raw.size() + steady_tones::kDelay; ++n) {
        const float_complex cleaned = tones->put(n < raw.size() ? raw[n] : float_complex{});
        if (n < steady_tones::kDelay) continue;
        heard->put(cleaned);
        detector->put(cleaned);
        for (detection peak; detector->take(peak);) {
            const double ppm = 1e6 * offset_of(static_cast<std::size_t>(peak.first.offset));
            if (peak.copies == copies && std::abs(ppm) < search_ppm + 50) found.push_back(peak);
        }
    }
    std::ranges::sort(found, [](const detection &a, const detection &b) {
        return a.first.energy > b.first.energy;
    });
    if (found.size() > kMostCandidates) found.resize(kMostCandidates);
    far_result result;
    const auto decoder = std::make_unique<burst_decoder>();
    const auto paths = std::make_unique<path_list>();
    const cell_reader reader;
    for (const detection &peak : found) {
        const copy_set candidate = peak.places();
        const double apart = candidate.places[0].first_sample() - scene.first_sample;
        if (std::abs(apart) < 100) result.is_found = true;
        decoder->begin(candidate);
        while (!decoder->prepare(reader, *heard)) {
        }
        if (decoder->is_silent()) continue;
        decoder->look(bits);
        paths->begin(decoder->values(), 1);
        try_paths(*paths, bits, scene.message, decoder->copies(), result);
        if (result.is_right) break;
        decoder->look_again();
        decoder->look_again();
        paths->begin(decoder->values(), 64);
        try_paths(*paths, bits, scene.message, decoder->copies(), result);
        if (result.is_right) break;
    }
    return result;
}

} // namespace tonelink::bench
