// How well messages arrive: the share of bursts that the receiver library hears, by either method,
// behind one impairment after the other; and how often it is mistaken about sounds without bursts.
// Prints JSON, the same each time.
//
//     link_figures [-n SHARE] FIGURE...   SHARE of the trials; figures as in kFigures below
//
// The signal-to-noise ratio is a burst's own power, all its echo included, over that of the noise
// in its band.
#include <samplerate.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "link/arrivals.h"
#include "link/everyday_sounds.h"
#include "link/listener.h"
#include "link/side_by_side.h"

namespace tonelink::bench {

namespace {

constexpr int kTrials = 200; // for each point
constexpr int kMinutes = 60; // of each everyday sound
constexpr int kAllRightPoints = 3;

constexpr int kSceneRate = 44100;
constexpr double kSceneRms = 400; // of a burst
/// The same as a level: a sine of full scale has 0.
constexpr double kSceneLevel = -35.27;
/// It is taken down, so that noise far above a burst is not cut off at full scale.
constexpr double kLevel = -50;
/// "Without noise".
constexpr double kNoNoise = 100;

/// What one point of a curve is measured with.
struct condition {
    double snr_db = 20;
    double level_dbfs = kLevel; // of the burst
    int sample_rate = kSceneRate;
    int divisor = 1; // of samples
    far_channel channel{.clock_ppm = 100};
};

struct curve {
    std::string label;
    uint32_t methods;
    std::size_t bits, copies;
    std::vector<double> xs;
    std::function<condition(double)> at;
    bool is_over_snr = false; // then it is told where half and 95 % arrive, and it ends above that
};

constexpr uint32_t kExact = TONELINK_METHOD_EXACT;
constexpr uint32_t kFar = TONELINK_METHOD_FAR;

const char *name_of(uint32_t methods) { return methods == kExact ? "exact" : "far"; }

std::vector<double> steps(double first, double last, double step)
{
    std::vector<double> xs;
    for (int n = 0; first + step * n <= last + step / 2; ++n) xs.push_back(first + step * n);
    return xs;
}

/// Where curves over the ratio rise, in noise: 10 dB, of which the first hears next to nothing.
std::vector<double> snrs_of(uint32_t methods, std::size_t copies)
{
    const double middle = methods == kExact ? -3
                          : copies == 1     ? -10
                          : copies == 2     ? -13
                          : copies == 5     ? -17
                                            : -19;
    return steps(middle - 3, middle + 5, 1);
}

/// The sound at another rate, with white noise of the same density up to half of that.
sound at_rate(const sound &from, int rate, double snr_db, std::uint64_t seed)
{
    const double ratio = static_cast<double>(rate) / kSceneRate;
    sound to(static_cast<std::size_t>(static_cast<double>(from.size()) * ratio));
    SRC_DATA data{};
    data.data_in = from.data();
    data.input_frames = static_cast<long>(from.size());
    data.data_out = to.data();
    data.output_frames = static_cast<long>(to.size());
    data.src_ratio = ratio;
    if (const int error = src_simple(&data, SRC_SINC_BEST_QUALITY, 1))
        throw std::runtime_error{src_strerror(error)};
    generator random{seed};
    const double rms = kSceneRms * std::pow(10, -(snr_db + kNoiseInBandDb) / 20) * std::sqrt(ratio);
    std::normal_distribution<float> noise{0, static_cast<float>(rms)};
    for (float &sample : to) sample += noise(random);
    return to;
}

hearing listen(const curve &of, const condition &with, std::uint64_t seed)
{
    const bool is_other_rate = with.sample_rate != kSceneRate;
    far_scene scene = make_scene(of.bits, of.copies, with.channel,
                                 (is_other_rate ? kNoNoise : with.snr_db) + kNoiseInBandDb, seed);
    if (is_other_rate) scene.samples = at_rate(scene.samples, with.sample_rate, with.snr_db, seed);
    return hear(scene, of.bits, of.methods,
                {.gain = std::pow(10, (with.level_dbfs - kSceneLevel) / 20),
                 .divisor = with.divisor,
                 .sample_rate = with.sample_rate});
}

struct curve_heard {
    arrivals right;
    int wrong = 0;
};

curve_heard measure(const curve &of, int trials)
{
    curve_heard heard{{trials, {}}, 0};
    int all_right = 0; // points in a row
    for (std::size_t n = 0; n < of.xs.size(); ++n) {
        if (of.is_over_snr && all_right == kAllRightPoints) break;
        const condition with = of.at(of.xs[n]);
        std::atomic<int> right{0}, wrong{0};
        side_by_side(trials, [&](int trial) {
            const hearing result = listen(of, with, 100000 * n + static_cast<std::uint64_t>(trial));
            right += result.is_right ? 1 : 0;
            wrong += result.wrong;
        });
        heard.right.right[of.xs[n]] = right;
        heard.wrong += wrong;
        all_right = right == trials ? all_right + 1 : 0;
    }
    return heard;
}

void print_curve(const char *figure, const curve &of, int trials)
{
    const auto [heard, wrong] = measure(of, trials);
    std::printf("  {\"figure\": \"%s\", \"curve\": \"%s\", \"method\": \"%s\", \"bits\": %zu, "
                "\"copies\": %zu, \"trials\": %d, \"wrong\": %d, \"points\": ",
                figure, of.label.c_str(), name_of(of.methods), of.bits, of.copies, trials, wrong);
    print_points(heard);
    if (of.is_over_snr) {
        std::printf(", \"half\": ");
        print_estimate(heard.crossing(0.5));
        std::printf(", \"most\": ");
        print_estimate(heard.crossing(0.95));
    }
    std::printf("},\n");
    std::fflush(stdout);
}

std::vector<curve> noise_curves()
{
    std::vector<curve> curves;
    for (const uint32_t methods : {kExact, kFar})
        for (const std::size_t bits : {32u, 48u})
            for (const std::size_t copies : {1u, 2u, 5u, 10u})
                curves.push_back({"", methods, bits, copies, snrs_of(methods, copies),
                                  [](double snr) { return condition{.snr_db = snr}; }, true});
    return curves;
}

/// Curves over the ratio for a number of channels, by either method.
struct named_channel {
    const char *name;
    far_channel channel;
};
std::vector<curve> channel_curves(const std::vector<named_channel> &channels, double reach_db)
{
    std::vector<curve> curves;
    for (const uint32_t methods : {kExact, kFar}) {
        for (const auto &[name, channel] : channels) {
            std::vector<double> snrs = snrs_of(methods, 1);
            while (snrs.back() < snrs.front() + reach_db) snrs.push_back(snrs.back() + 1);
            curves.push_back({name, methods, 32, 1, snrs,
                              [channel = channel](double snr) {
                                  return condition{.snr_db = snr, .channel = channel};
                              },
                              true});
        }
    }
    return curves;
}

std::vector<curve> room_curves()
{
    const auto room = [](double seconds, double direct_db) {
        return far_channel{.room_seconds = seconds, .direct_db = direct_db, .clock_ppm = 100};
    };
    return channel_curves({{"no room", {.clock_ppm = 100}},
                           {"0.3 s, 6 dB", room(0.3, 6)},
                           {"0.3 s, 0 dB", room(0.3, 0)},
                           {"0.3 s, -6 dB", room(0.3, -6)},
                           {"0.3 s, -12 dB", room(0.3, -12)},
                           {"0.6 s, 0 dB", room(0.6, 0)}},
                          16);
}

std::vector<curve> moving_curves()
{
    return channel_curves({{"at rest", {.clock_ppm = 100}},
                           {"0.03 m/s", {.sway = 0.03, .clock_ppm = 100}},
                           {"0.1 m/s", {.sway = 0.1, .clock_ppm = 100}},
                           {"0.2 m/s", {.sway = 0.2, .clock_ppm = 100}}},
                          13);
}

std::vector<curve> echo_curves()
{
    std::vector<curve> curves;
    for (const uint32_t methods : {kExact, kFar})
        for (const double direct_db : {0.0, -6.0, -12.0})
            curves.push_back({std::to_string(static_cast<int>(direct_db)), methods, 32, 1,
                              steps(0.1, 1.5, 0.2), [=](double seconds) {
                                  condition with;
                                  with.channel.room_seconds = seconds;
                                  with.channel.direct_db = direct_db;
                                  return with;
                              }});
    return curves;
}

/// A clear burst, and one that is some 2 dB above where 95 % arrive.
std::vector<curve> clock_curves()
{
    std::vector<curve> curves;
    for (const uint32_t methods : {kExact, kFar})
        for (const double snr_db : {20.0, methods == kExact ? 1.0 : -6.0})
            curves.push_back({std::to_string(static_cast<int>(snr_db)), methods, 32, 1,
                              methods == kExact ? steps(-600, 600, 50) : steps(-1200, 1200, 100),
                              [=](double ppm) {
                                  condition with{.snr_db = snr_db};
                                  with.channel.clock_ppm = 0;
                                  with.channel.clock_offset = ppm;
                                  return with;
                              }});
    return curves;
}

std::vector<curve> tone_curves()
{
    std::vector<curve> curves;
    for (const uint32_t methods : {kExact, kFar})
        for (const double snr_db : {20.0, methods == kExact ? 1.0 : -6.0})
            curves.push_back({std::to_string(static_cast<int>(snr_db)), methods, 32, 1,
                              methods == kExact ? steps(-30, 20, 5) : steps(-30, 60, 5),
                              [=](double over_burst) {
                                  condition with{.snr_db = snr_db};
                                  with.channel.has_tone = true;
                                  with.channel.tone_db = over_burst;
                                  return with;
                              }});
    return curves;
}

/// The exact method also for a loud burst, with which it is not as good.
std::vector<curve> part_curves()
{
    constexpr double kLoud = -20;
    struct way {
        uint32_t methods;
        double level_dbfs;
    };
    std::vector<curve> curves;
    for (const auto [methods, level] : {way{kExact, kLevel}, way{kExact, kLoud}, way{kFar, kLevel}})
        for (const bool is_beginning : {true, false})
            curves.push_back({std::string{is_beginning ? "the beginning" : "the end"} +
                                  (level == kLoud ? ", at -20 dB" : ""),
                              methods, 32, 1, steps(0.1, 1, 0.05), [=](double heard) {
                                  condition with{.level_dbfs = level};
                                  if (is_beginning)
                                      with.channel.heard_to = heard;
                                  else
                                      with.channel.heard_from = 1 - heard;
                                  return with;
                              }});
    return curves;
}

/// Without noise but that of 16 bits.
std::vector<curve> quiet_curves()
{
    std::vector<curve> curves;
    for (const uint32_t methods : {kExact, kFar})
        curves.push_back({"", methods, 32, 1, steps(-115, -70, 3), [](double level) {
                              return condition{.snr_db = kNoNoise, .level_dbfs = level};
                          }});
    return curves;
}

/// With noise: where half and 95 % arrive at a number of levels; loud sound also turned down by
/// 20 dB behind the microphone.
std::vector<curve> level_curves()
{
    std::vector<curve> curves;
    const auto add = [&](uint32_t methods, double level_dbfs, int divisor, const char *what) {
        curves.push_back({std::to_string(static_cast<int>(level_dbfs)) + what, methods, 32, 1,
                          snrs_of(methods, 1),
                          [=](double snr) {
                              return condition{
                                  .snr_db = snr, .level_dbfs = level_dbfs, .divisor = divisor};
                          },
                          true});
    };
    for (const uint32_t methods : {kExact, kFar}) {
        for (const double level_dbfs : {-70.0, -50.0, -40.0, -30.0, -25.0, -20.0, -17.0, -14.0})
            add(methods, level_dbfs, 1, "");
        for (const double level_dbfs : {-20.0, -17.0, -14.0})
            add(methods, level_dbfs, 10, ", turned down");
    }
    return curves;
}

std::vector<curve> rate_curves()
{
    std::vector<curve> curves;
    for (const uint32_t methods : {kExact, kFar})
        for (const int rate : {44100, 48000, 96000})
            curves.push_back(
                {std::to_string(rate), methods, 32, 1, snrs_of(methods, 1),
                 [=](double snr) { return condition{.snr_db = snr, .sample_rate = rate}; }, true});
    return curves;
}

struct figure {
    const char *name;
    std::vector<curve> (*curves)();
};

constexpr figure kFigures[] = {
    {"noise", noise_curves},   {"rooms", room_curves},  {"echo", echo_curves},
    {"moving", moving_curves}, {"clock", clock_curves}, {"tone", tone_curves},
    {"part", part_curves},     {"quiet", quiet_curves}, {"level", level_curves},
    {"rates", rate_curves},
};

/// How many messages of each length are heard in a minute of a sound without bursts.
template <class Source> std::pair<int, int> mistakes_in(uint64_t seed)
{
    Source source{seed};
    tonelink_receiver *receiver = nullptr;
    tonelink_receiver_open(nullptr, &receiver);
    int heard_32 = 0, heard_48 = 0;
    const auto take = [&] {
        tonelink_heard heard{};
        heard.size = sizeof heard;
        while (tonelink_receiver_next(receiver, &heard) == 1)
            ++(heard.nbits == 32 ? heard_32 : heard_48);
    };
    for (int second = 0; second < 60; ++second) {
        const auto block = source.next();
        tonelink_receiver_push_s16(receiver, block.data(), block.size(), 1);
        take();
    }
    tonelink_receiver_flush(receiver);
    take();
    tonelink_receiver_close(receiver);
    return {heard_32, heard_48};
}

template <class Source> void print_mistakes(const char *name, int minutes)
{
    std::atomic<int> heard_32{0};
    std::atomic<int> heard_48{0};
    side_by_side(minutes, [&](int minute) {
        const auto [short_ones, long_ones] = mistakes_in<Source>(static_cast<uint64_t>(minute));
        heard_32 += short_ones;
        heard_48 += long_ones;
    });
    std::printf("  {\"sound\": \"%s\", \"minutes\": %d, \"heard_32\": %d, \"heard_48\": %d},\n",
                name, minutes, heard_32.load(), heard_48.load());
    std::fflush(stdout);
}

} // namespace

} // namespace tonelink::bench

int main(int count, char **arguments)
{
    using namespace tonelink::bench;
    double share = 1;
    std::vector<std::string> wanted;
    for (int i = 1; i < count; ++i) {
        const std::string argument = arguments[i];
        if (argument == "-n" && i + 1 < count)
            share = std::atof(arguments[++i]);
        else
            wanted.push_back(argument);
    }
    const auto is_wanted = [&](const char *name) {
        return std::ranges::find(wanted, name) != wanted.end();
    };
    const int trials = std::max(10, static_cast<int>(kTrials * share));
    std::printf("[\n");
    for (const figure &f : kFigures)
        if (is_wanted(f.name))
            for (const curve &of : f.curves()) print_curve(f.name, of, trials);
    if (is_wanted("mistakes")) {
        const int minutes = std::max(1, static_cast<int>(kMinutes * share));
        print_mistakes<noise_source>("noise", minutes);
        print_mistakes<speech_source>("speech", minutes);
        print_mistakes<music_source>("music", minutes);
    }
    std::printf("  {}\n]\n");
}
