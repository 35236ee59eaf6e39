// What the far receiver makes of a few sounds, in numbers: how many candidates it turned to, how
// probable it took their paths to be, and what it told of bursts. None of these is right by itself:
// they are what they were. A change that was not meant to change what is heard leaves them as they
// are; one that was puts those that this test prints in their place, after a look at each.
#include <gtest/gtest.h>

#include <iomanip>
#include <memory>
#include <ostream>

#include "receiver/far/far_receiver.h"
#include "receiver/far/far_signals.h"

namespace tonelink::test {

namespace {

/// Bursts on a way through a room.
struct far_scene {
    sent_bursts sent;
    double snr_db = 0;
    double clock = 0;
    float echo = 0;           // of 7 ms
    float tone = 0;           // beside the bursts' 0.01
    std::size_t tone_at = 40; // the subcarrier
    float last_gain = 1;      // of the last copy
    int writes = 1;           // with silence between them

    std::vector<float> samples() const
    {
        std::vector<float> straight;
        for (int write = 0; write < writes; ++write) {
            const auto next = sent.samples();
            straight.insert(straight.end(), next.begin(), next.end());
        }
        auto sound = straight;
        const std::size_t last = sent.first_sample + (sent.copies - 1) * kBurstSamples;
        for (std::size_t n = last; n < sound.size(); ++n) sound[n] *= last_gain;
        constexpr std::size_t kLate = 309;
        for (std::size_t n = kLate; n < sound.size(); ++n) sound[n] += echo * straight[n - kLate];
        if (clock != 0) sound = resampled(sound, clock);
        for (std::size_t n = 0; n < sound.size(); ++n)
            sound[n] += tone * from_turns(subcarrier_hz(tone_at) / 44100 * double(n)).re;
        generator random{77};
        add_noise(sound, snr_db, random);
        return sound;
    }
};

struct far_result {
    uint32_t candidates = 0;
    int64_t trials = 0;
    double expected = 0; ///< right ones among the paths that were tried
    int64_t samples = 0; ///< that had come when the last burst was told; and more of that
    double snr_db = 0;
    double clock_ppm = 0;
    double first_sample = 0;
    std::size_t copies = 0;
};

std::ostream &operator<<(std::ostream &out, const far_result &is)
{
    const auto precision = out.precision(8);
    return out << '{' << is.candidates << ", " << is.trials << ", " << is.expected << ", "
               << is.samples << ", " << is.snr_db << ", " << is.clock_ppm << ", " << is.first_sample
               << ", " << is.copies << '}' << std::setprecision(static_cast<int>(precision));
}

far_result result_of(const far_scene &scene)
{
    const auto receiver = std::make_unique<far_receiver>(message_lengths::both);
    far_result result;
    int64_t put_samples = 0;
    const auto put = [&](std::span<const float_complex> tick) {
        receiver->put(tick);
        put_samples += std::ssize(tick);
        for (far_message told; receiver->take(told);) {
            EXPECT_EQ(told.bits, value_of(scene.sent.message));
            result.samples = put_samples;
            result.snr_db = double{told.snr_db};
            result.clock_ppm = double{told.clock_ppm};
            result.first_sample = told.first_sample;
            result.copies = told.copies;
        }
    };
    constexpr std::size_t kTick = 44;
    const auto samples = baseband_of(scene.samples());
    for (std::size_t at = 0; at < samples.size(); at += kTick)
        put(std::span{samples}.subspan(at, std::min(kTick, samples.size() - at)));
    receiver->end_stream();
    const std::vector<float_complex> silence(kTick);
    for (int tick = 0; tick < 60 || !receiver->is_idle(); ++tick) put(silence);
    result.candidates = receiver->candidates();
    result.trials = receiver->trials().trials();
    for (const auto &tally : receiver->trials().tallies()) result.expected += tally.expected;
    return result;
}

} // namespace

TEST(FarResults, AreWhatTheyWere)
{
    const std::pair<far_scene, far_result> cases[] = {
        {{.sent = {kShortMessage, 1}, .snr_db = 20},
         {16, 39, 1.1294999, 6840, 28.816532, 1, 20002, 1}},
        {{.sent = {kShortMessage, 1}, .snr_db = -15},
         {9, 325, 1.1383633, 7280, -5.2391462, 1, 20002, 1}},
        {{.sent = {kLongMessage, 1}, .snr_db = -13, .clock = 300e-6},
         {7, 9, 1.0014256, 7103, -3.0530348, 299, 19992, 1}},
        {{.sent = {kShortMessage, 1}, .snr_db = -17},
         {6, 60, 1.0173907, 7280, -7.3326311, 1, 20002, 1}},
        {{.sent = {kShortMessage, 5}, .snr_db = -21, .clock = -200e-6},
         {31, 57, 0.3179608, 16243, -11.81525, -199, 112702, 1}},
        {{.sent = {kLongMessage, 5}, .snr_db = -20},
         {31, 600, 0.64526283, 16108, -10.059175, -16, 112677, 1}},
        {{.sent = {kShortMessage, 2}, .snr_db = -12, .echo = 0.8f},
         {29, 107, 1.0663043, 8981, -2.1532705, -1, 43167, 1}},
        {{.sent = {kShortMessage, 2}, .snr_db = -10, .tone = 0.1f},
         {26, 469, 1.7029162, 9113, -0.21281478, -4, 43172, 1}},
        {{.sent = {kShortMessage, 1}, .snr_db = -14, .tone = 0.1f, .tone_at = 2},
         {10, 325, 1.215155, 7280, -4.1474161, 1, 20002, 1}},
        {{.sent = {kShortMessage, 3},
          .snr_db = -19,
          .clock = 100e-6,
          .echo = 0.5f,
          .tone = 0.02f,
          .last_gain = 2},
         {28, 201, 0.56525903, 11253, -2.7278397, 99, 66332, 1}},
        {{.sent = {kLongMessage, 4, 1000}, .snr_db = -19.5},
         {23, 479, 1.531521, 11671, -8.6713743, 4, 70512, 1}},
        {{.sent = {kLongMessage, 4, 1000}, .snr_db = -19, .clock = 500e-6},
         {25, 11, 0.12040376, 12370, -9.3876152, 510, 70472, 1}},
        {{.sent = {kShortMessage, 5, 6000}, .snr_db = -25.5, .clock = 300e-6, .writes = 2},
         {35, 65, 0.38541093, 20988, -14.49692, 290, 136807, 2}},
        {{.sent = {kLongMessage, 5, 6000}, .snr_db = -24.5, .clock = -100e-6, .writes = 2},
         {44, 647, 0.53618813, 28104, -14.094017, -90, 206382, 2}},
        {{.sent = {kLongMessage, 5, 3000}, .snr_db = -19.5, .echo = 0.6f},
         {32, 558, 1.8539228, 14496, -7.723546, -1, 95682, 1}},
    };
    for (const auto &[scene, was] : cases) {
        const far_result is = result_of(scene);
        SCOPED_TRACE(testing::Message() << is);
        EXPECT_EQ(is.candidates, was.candidates);
        EXPECT_EQ(is.trials, was.trials);
        EXPECT_EQ(is.samples, was.samples);
        EXPECT_NEAR(is.expected, was.expected, 1e-4 * was.expected);
        EXPECT_NEAR(is.snr_db, was.snr_db, 1e-3);
        EXPECT_NEAR(is.clock_ppm, was.clock_ppm, 0.01);
        EXPECT_NEAR(is.first_sample, was.first_sample, 0.01);
        EXPECT_EQ(is.copies, was.copies);
    }
}

} // namespace tonelink::test
