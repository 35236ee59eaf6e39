#include "far/far_search.h"

#include <algorithm>
#include <cmath>
#include <memory>

#include "receiver/baseband.h"
#include "receiver/far/burst_decoder.h"
#include "receiver/far/burst_detector.h"
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

far_result search_scene(const far_scene &scene, std::size_t bits, std::size_t copies,
                        int search_ppm)
{
    const auto front = std::make_unique<baseband>();
    const auto tones = std::make_unique<steady_tones>();
    const auto heard = std::make_unique<far_sound>();
    const auto detector = std::make_unique<burst_detector>();
    std::vector<float_complex> raw;
    std::vector<detection> found;
    constexpr std::size_t kBlock = 441;
    for (std::size_t at = 0; at < scene.samples.size(); at += kBlock) {
        const auto count = std::min(kBlock, scene.samples.size() - at);
        front->put(std::span{scene.samples}.subspan(at, count));
        while (std::ssize(raw) < front->size()) raw.push_back(front->at(std::ssize(raw)));
    }
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
