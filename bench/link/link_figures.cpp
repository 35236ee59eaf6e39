// How well messages arrive: the share of bursts that the receiver decodes behind one impairment
// after the other, and how often it is mistaken about sounds without bursts. Prints JSON, the same
// each time.
//
//     link_figures [FIGURE...]   noise, clock, level, part, echo, mistakes; all without any
#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "link/channel.h"
#include "link/everyday_sounds.h"
#include "modem/burst_format.h"
#include "modem/burst_generator.h"
#include "modem/output_filter.h"
#include "modem/stream_receiver.h"
#include "tonelink/modem.h"

namespace tonelink::bench {

namespace {

constexpr float kThirdOfFullScale = 1.0f / 3;
constexpr std::size_t kSilenceBefore = 2000;
constexpr std::size_t kSilenceAfter = 3000;
constexpr std::size_t kMessages = 100;

constexpr int kTrials = 200; // for each point
constexpr int kMinutes = 60; // of each everyday sound

struct sent_burst {
    std::vector<uint8_t> message;
    sound samples;
};

/// Bursts of random messages, as transmissions play them.
std::vector<sent_burst> make_bursts(std::size_t bits)
{
    generator random{bits};
    std::vector<sent_burst> bursts;
    for (std::size_t i = 0; i < kMessages; ++i) {
        sent_burst burst;
        for (std::size_t b = 0; b < bits; ++b)
            burst.message.push_back(static_cast<uint8_t>(random() >> 63));
        std::vector<int16_t> samples(kBurstSamples);
        BandShiftInfo shifter{};
        openBandShift(&shifter, -kBandShiftHz);
        make_burst(burst.message, true, shifter, burst_span{samples.data(), kBurstSamples});
        closeBandShift(&shifter);
        filter_output(samples);
        burst.samples.assign(samples.begin(), samples.end());
        bursts.push_back(std::move(burst));
    }
    return bursts;
}

const std::vector<sent_burst> &bursts_of(std::size_t bits)
{
    static const auto short_ones = make_bursts(32);
    static const auto long_ones = make_bursts(48);
    return bits == 32 ? short_ones : long_ones;
}

/// The receiver behind its own shifter.
class listener {
public:
    listener() { openBandShift(&shifter_, kBandShiftHz); }
    listener(const listener &) = delete;
    listener &operator=(const listener &) = delete;
    ~listener() { closeBandShift(&shifter_); }

    void receive(std::span<const int16_t> audio, message_lengths lengths, message_sink sink)
    {
        receiver_.receive(audio, shifter_, lengths, sink);
    }

private:
    BandShiftInfo shifter_{};
    stream_receiver receiver_;
};

bool is_decoded(const sent_burst &burst, std::span<const int16_t> audio)
{
    const auto ears = std::make_unique<listener>();
    const auto lengths =
        burst.message.size() == 32 ? message_lengths::only_32 : message_lengths::only_48;
    bool decoded = false;
    ears->receive(audio, lengths, [&](const heard_message &heard) {
        decoded = decoded || std::ranges::equal(heard.message(), burst.message);
    });
    return decoded;
}

/// Calls `work(i)` for i below `count` on all cores.
void side_by_side(std::size_t count, const std::function<void(std::size_t)> &work)
{
    std::atomic<std::size_t> next{0};
    std::vector<std::jthread> workers;
    for (unsigned w = 0; w < std::max(1u, std::thread::hardware_concurrency()); ++w)
        workers.emplace_back([&] {
            for (std::size_t i = next++; i < count; i = next++) work(i);
        });
}

/// What becomes of a burst between two stretches of silence.
using channel = std::function<void(sound &, generator &)>;

/// The share of bursts that are decoded behind a channel, at random places between two hops.
double share_decoded(std::size_t bits, const channel &impair)
{
    std::atomic<int> decoded{0};
    side_by_side(std::size_t{kTrials}, [&](std::size_t trial) {
        generator random{1000 * bits + trial};
        const sent_burst &burst = bursts_of(bits)[trial % kMessages];
        sound scene(kSilenceBefore + random() % 80, 0);
        for (const float s : burst.samples) scene.push_back(s * kThirdOfFullScale);
        scene.resize(scene.size() + kSilenceAfter);
        impair(scene, random);
        if (is_decoded(burst, to_16_bits(scene))) ++decoded;
    });
    return static_cast<double>(decoded) / kTrials;
}

double burst_power() // of all of them about the same
{
    sound burst = bursts_of(32)[0].samples;
    for (float &s : burst) s *= kThirdOfFullScale;
    return power_of(burst);
}

/// One curve: for each x the share that is decoded.
void print_curve(const std::string &name, std::size_t bits, const std::vector<double> &xs,
                 const std::function<void(double, sound &, generator &)> &impair)
{
    std::printf("  {\"curve\": \"%s\", \"bits\": %zu, \"points\": [", name.c_str(), bits);
    for (std::size_t i = 0; i < xs.size(); ++i) {
        const double share = share_decoded(
            bits, [&](sound &scene, generator &random) { impair(xs[i], scene, random); });
        std::printf("%s[%g, %.3f]", i > 0 ? ", " : "", xs[i], share);
    }
    std::printf("]},\n");
    std::fflush(stdout);
}

std::vector<double> steps(double first, double last, double step)
{
    std::vector<double> xs;
    for (double x = first; x <= last + step / 2; x += step) xs.push_back(x);
    return xs;
}

void noise_curves()
{
    const double power = burst_power();
    for (const std::size_t bits : {32u, 48u})
        print_curve("noise", bits, steps(-4, 4, 0.5), [=](double snr, sound &scene, generator &r) {
            add_noise(scene, power, snr, r);
        });
}

void clock_curves()
{
    const double power = burst_power();
    for (const double snr : {20.0, 6.0})
        for (const std::size_t bits : {32u, 48u})
            print_curve("clock at " + std::to_string(static_cast<int>(snr)) + " dB", bits,
                        steps(-1000, 1000, 50), [=](double ppm, sound &scene, generator &r) {
                            scene = with_clock_offset(scene, ppm);
                            add_noise(scene, power, snr, r);
                        });
}

void level_curves()
{
    for (const std::size_t bits : {32u, 48u})
        print_curve("level", bits, steps(-90, 0, 6),
                    [](double level_db, sound &scene, generator &) {
                        const auto gain =
                            static_cast<float>(std::pow(10, level_db / 20)) / kThirdOfFullScale;
                        for (float &s : scene) s *= gain;
                    });
}

void part_curves()
{
    const double power = burst_power();
    const auto silence = [](sound &scene, double from, double to) {
        const auto place = [&](double share) {
            return scene.begin() + kSilenceBefore +
                   static_cast<std::ptrdiff_t>(share * static_cast<double>(kBurstSamples));
        };
        std::fill(place(from), place(to) + 80, 0.0f);
    };
    for (const std::size_t bits : {32u, 48u})
        for (const bool is_start : {true, false})
            print_curve(is_start ? "part: the beginning" : "part: the end", bits,
                        steps(0.2, 1, 0.05), [=](double heard, sound &scene, generator &r) {
                            if (heard < 1 && is_start) silence(scene, heard, 1);
                            if (heard < 1 && !is_start) silence(scene, 0, 1 - heard);
                            add_noise(scene, power, 20, r);
                        });
}

void echo_curves()
{
    const double power = burst_power();
    for (const double direct_db : {0.0, -6.0, -12.0})
        print_curve("echo, direct sound " + std::to_string(static_cast<int>(direct_db)) + " dB", 32,
                    steps(0.1, 1.5, 0.2), [=](double seconds, sound &scene, generator &r) {
                        scene = in_room(scene, seconds, direct_db, r);
                        add_noise(scene, power, 20, r);
                    });
}

/// How often each length is accepted in minutes of a sound without bursts.
template <class Source> std::pair<int, int> false_acceptances(uint64_t seed)
{
    const auto ears = std::make_unique<listener>();
    Source source{seed};
    int heard_32 = 0;
    int heard_48 = 0;
    for (int second = 0; second < 60; ++second)
        ears->receive(source.next(), message_lengths::both, [&](const heard_message &heard) {
            ++(heard.length == 32 ? heard_32 : heard_48);
        });
    return {heard_32, heard_48};
}

template <class Source> void print_false_acceptances(const char *name)
{
    std::atomic<int> heard_32{0};
    std::atomic<int> heard_48{0};
    side_by_side(std::size_t{kMinutes}, [&](std::size_t minute) {
        const auto [short_ones, long_ones] = false_acceptances<Source>(minute);
        heard_32 += short_ones;
        heard_48 += long_ones;
    });
    std::printf(
        "  {\"sound\": \"%s\", \"minutes\": %d, \"accepted_32\": %d, \"accepted_48\": %d},\n", name,
        kMinutes, heard_32.load(), heard_48.load());
    std::fflush(stdout);
}

struct figure {
    const char *name;
    void (*print)();
};

constexpr figure kFigures[] = {
    {"noise", noise_curves},
    {"clock", clock_curves},
    {"level", level_curves},
    {"part", part_curves},
    {"echo", echo_curves},
    {"mistakes",
     [] {
         print_false_acceptances<noise_source>("noise");
         print_false_acceptances<speech_source>("speech");
         print_false_acceptances<music_source>("music");
     }},
};

} // namespace

} // namespace tonelink::bench

int main(int argc, char **argv)
{
    using namespace tonelink::bench;
    const std::vector<std::string> wanted(argv + 1, argv + argc);
    std::printf("[\n");
    for (const figure &f : kFigures)
        if (wanted.empty() || std::ranges::find(wanted, f.name) != wanted.end()) f.print();
    std::printf("  {\"trials\": %d}\n]\n", kTrials);
}
