// Where each limit lies beyond which a check tells of something, and which faults hide others:
// figures of a good path, of which one or a few are changed.

#include <functional>
#include <string>

#include <gtest/gtest.h>

#include "burst_shape.h"
#include "check/path_verdict.h"

namespace tonelink::tool {
namespace {

constexpr check_task kBoth{.output_rate = 48000, .input_rate = 48000};

path_figures good_figures()
{
    path_figures good;
    good.seconds = 7;
    good.level_dbfs = -30;
    good.noise_dbfs = -70;
    good.heard = true;
    good.clock_ppm = good.decay_db = good.change_db = good.late_loss_db = good.ducking_db = 0;
    good.compression_db = 0;
    good.image_hz = -3900;
    good.image_db = good.leak_db = -70;
    good.flat_share = 0.13;
    good.snr_db = 40;
    good.bursts_heard = 2;
    return good;
}

path_figures deaf_figures()
{
    path_figures deaf;
    deaf.seconds = 7;
    deaf.level_dbfs = -50;
    deaf.noise_dbfs = -70;
    return deaf;
}

std::string judged(const path_figures &figures, const check_task &task = kBoth)
{
    const path_verdict verdict = judge_path(figures, task);
    std::string words = word_for(verdict.state);
    for (const path_reason reason : verdict.reasons) words += ' ' + word_for(reason);
    return words;
}

/// A figure that may reach `within`, and is told of at `beyond`.
struct limit {
    std::function<void(path_figures &, double)> set;
    double within, beyond;
    const char *told;
};

template <class Figure> auto set_to(Figure path_figures::*figure)
{
    return [figure](path_figures &figures, double value) {
        figures.*figure = static_cast<Figure>(value);
    };
}

TEST(PathVerdict, TellsOfEachFigureBeyondItsLimit)
{
    using figures = path_figures;
    ASSERT_EQ(judged(good_figures()), "good");
    const auto loud = [](auto set) { // with noise that is heard
        return [set](path_figures &changed, double value) {
            changed.noise_dbfs = -50;
            set(changed, value);
        };
    };
    for (const auto &[set, within, beyond, told] : std::initializer_list<limit>{
             {set_to(&figures::lost_samples), 0, 1, "samples_lost"},
             {set_to(&figures::clock_ppm), 300, 301, "clock"},
             {set_to(&figures::clock_ppm), -300, -301, "clock"},
             {set_to(&figures::clock_ppm), 300, 2001, "samples_lost"},
             {set_to(&figures::clock_ppm), -300, -2001, "samples_lost"},
             {set_to(&figures::decay_db), 3, 3.1, "echo_cancelled"},
             {set_to(&figures::ducking_db), 10, 10.1, "echo_cancelled"},
             {set_to(&figures::late_loss_db), 10, 10.1, "echo_cancelled"},
             {set_to(&figures::change_db), -6, -6.1, "echo_cancelled"},
             {set_to(&figures::change_db), 20, -20, "echo_cancelled"},
             {set_to(&figures::edge_hz), kBandHighHz + 1, kBandHighHz - 1, "band_cut"},
             {set_to(&figures::image_db), -40, -39.9, "resampled"},
             {set_to(&figures::clipped_samples), 7 * 44, 7 * 44 + 1, "clipped"},
             {set_to(&figures::flat_share), 0.35, 0.36, "clipped"},
             {set_to(&figures::compression_db), 1.5, 1.6, "clipped"},
             {set_to(&figures::snr_db), 6, 5.9, "too_weak"},
             {loud(set_to(&figures::snr_db)), 6, 5.9, "noise"},
             {set_to(&figures::band_fall_db), 10, 10.1, "uneven"},
             {set_to(&figures::leak_db), -40, -39.9, "audible"}}) {
        path_figures changed = good_figures();
        set(changed, within);
        EXPECT_EQ(judged(changed), "good") << told << ' ' << within;
        set(changed, beyond);
        EXPECT_EQ(judged(changed), std::string{"limited "} + told) << beyond;
        changed.bursts_heard = 0;
        EXPECT_EQ(judged(changed), std::string{"bad "} + told) << beyond;
    }
    path_figures unread = good_figures();
    unread.bursts_heard = 0;
    EXPECT_EQ(judged(unread), "bad unread");
}

TEST(PathVerdict, TellsWhyTheProbeIsNotHeard)
{
    using figures = path_figures;
    for (const auto &[set, within, beyond, told] :
         std::initializer_list<limit>{{set_to(&figures::level_dbfs), -90, -91, "silent"},
                                      {set_to(&figures::noise_dbfs), -40, -39.9, "noise"}}) {
        path_figures changed = deaf_figures();
        set(changed, within);
        EXPECT_EQ(judged(changed), "bad nothing_heard") << within;
        set(changed, beyond);
        EXPECT_EQ(judged(changed), std::string{"bad "} + told) << beyond;
        EXPECT_EQ(judged(changed, {.cancels_echo = true}), "bad echo_cancelled");
    }
    constexpr check_task kListens{.plays = false, .input_rate = 44100};
    path_figures room = deaf_figures();
    EXPECT_EQ(judged(room, kListens), "good");
    room.noise_dbfs = -45;
    EXPECT_EQ(judged(room, kListens), "good");
    room.noise_dbfs = -44.9;
    room.lost_samples = 1;
    room.clipped_samples = 1000;
    EXPECT_EQ(judged(room, kListens), "limited samples_lost clipped noise");
}

TEST(PathVerdict, HoldsBothDevicesToTheRateThatReceiversTake)
{
    for (const auto &[output, input, verdict] :
         std::initializer_list<std::tuple<double, double, const char *>>{
             {42000, 42000, "good"},
             {41999, 48000, "bad rate_too_low"},
             {48000, 41999, "bad rate_too_low"}}) {
        const check_task task{.output_rate = output, .input_rate = input};
        EXPECT_EQ(judged(good_figures(), task), verdict) << output << ' ' << input;
    }
    const std::string advice =
        advice_on(path_reason::rate_too_low, {}, {.output_rate = 48000, .input_rate = 32000});
    EXPECT_TRUE(advice.starts_with("the microphone runs at 32000 Hz")) << advice;
    const check_task plays{.hears = false, .output_rate = 48000};
    EXPECT_EQ(judged({}, plays), "good") << "all that can be said";
}

// What a fault brings with it is not told beside it.
TEST(PathVerdict, NamesTheFaultAndNotWhatFollowsFromIt)
{
    const auto broken = [] {
        path_figures all = good_figures();
        all.band_fall_db = 60;
        all.snr_db = 0;
        all.image_db = all.leak_db = -10;
        all.compression_db = 5;
        all.clock_ppm = 400;
        return all;
    };
    path_figures all = broken();
    EXPECT_EQ(judged(all), "limited resampled clipped too_weak clock");
    all.edge_hz = 17000;
    EXPECT_EQ(judged(all), "limited band_cut");
    all.decay_db = 10;
    EXPECT_EQ(judged(all), "limited echo_cancelled band_cut");
    all.lost_samples = 1;
    EXPECT_EQ(judged(all), "limited samples_lost");

    all = broken();
    all.image_db = -70;
    all.snr_db = 40;
    EXPECT_EQ(judged(all), "limited clipped uneven clock");
    all.compression_db = 0;
    EXPECT_EQ(judged(all), "limited uneven clock audible");
}

} // namespace
} // namespace tonelink::tool
