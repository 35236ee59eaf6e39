#include "modem/interpolator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "modem/channel_encoder.h"
#include "modem/filter_taps.h"
#include "modem/known_bursts.h"
#include "modem/modulator.h"
#include "modem/plain/interpolator.h"
#include "support/signals.h"

namespace tonelink {

namespace {

using burst_array = std::array<int16_t, kBurstSamples>;

frame_samples frame_of(const std::vector<int16_t> &values)
{
    frame_samples frame{};
    std::copy_n(values.begin(), frame.size(), frame.begin());
    return frame;
}

std::unique_ptr<burst_array> interpolated(const frame_samples &frame,
                                          const vector_stages &stages = fastest_stages())
{
    auto burst = std::make_unique<burst_array>();
    burst->fill(0x5555); // every sample must be written
    interpolate_by_10(frame, *burst, stages);
    return burst;
}

} // namespace

TEST(Interpolator, MeetsTheIndependentModel)
{
    for (const auto &known : test::kKnownBursts) {
        auto frame = modulate_symbols(encode_channel(test::bits_of(known.bits)));
        ramp_edges(frame);
        const auto burst = interpolated(frame);
        EXPECT_EQ(test::hash16(*burst), known.interpolated) << known.name;
        // The filter has run out of the last symbol before the burst ends.
        EXPECT_TRUE(std::all_of(burst->end() - 11, burst->end(), [](int16_t x) { return x == 0; }));
    }
}

TEST(Interpolator, AnswersAnImpulseWithItsFilter)
{
    for (const std::size_t at : {std::size_t{0}, std::size_t{1000}, kFrameSamples - 1}) {
        frame_samples frame{};
        frame[at] = 8192;
        const auto burst = interpolated(frame);
        for (std::size_t i = 0; i < kBurstSamples; ++i) {
            const bool inside = i >= 10 * at && i - 10 * at < b_flt_ups.size();
            EXPECT_EQ((*burst)[i], inside ? b_flt_ups[i - 10 * at] : 0) << at << " " << i;
        }
    }
}

TEST(Interpolator, FastFormsEqualThePlainOne)
{
    std::vector<frame_samples> frames;
    for (const uint32_t seed : {21u, 22u, 23u})
        frames.push_back(frame_of(test::noise(kFrameSamples, seed)));
    for (const uint32_t seed : {24u, 25u}) { // full scale of either sign: sums are largest
        auto frame = frame_of(test::noise(kFrameSamples, seed));
        for (auto &x : frame) x = x < 0 ? int16_t{-32768} : int16_t{32767};
        frames.push_back(frame);
    }
    frames.emplace_back().fill(-32768);
    for (std::size_t i = 0; i < frames.size(); ++i) {
        auto plain_burst = std::make_unique<burst_array>();
        plain::interpolate_by_10(frames[i], *plain_burst);
        for (const vector_stages *stages : available_stages())
            EXPECT_TRUE(*interpolated(frames[i], *stages) == *plain_burst)
                << stages->name << ", frame " << i;
    }
}

} // namespace tonelink
