#include "far/far_scene.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "modem/burst_format.h"
#include "modem/burst_generator.h"
#include "modem/output_filter.h"
#include "receiver/kaiser_filter.h"
#include "tonelink/modem.h"

namespace tonelink::bench {

namespace {

constexpr double kRate = 44100;
constexpr double kBurstRms = 400;
constexpr double kSoundSpeed = 343; // m/s
constexpr double kSwayHz = 0.7;
constexpr double kTurn = 2 * std::numbers::pi;

/// A burst as transmissions play it.
sound make_sound(std::uint64_t message, std::size_t bits)
{
    std::vector<uint8_t> row;
    for (std::size_t b = 0; b < bits; ++b)
        row.push_back(static_cast<uint8_t>(message >> (bits - 1 - b) & 1));
    std::vector<int16_t> samples(kBurstSamples);
    BandShiftInfo shifter{};
    openBandShift(&shifter, -kBandShiftHz);
    make_burst(row, true, shifter, burst_span{samples.data(), kBurstSamples});
    closeBandShift(&shifter);
    filter_output(samples);
    return {samples.begin(), samples.end()};
}

sound with_second_path(const sound &burst, double delay_ms, generator &random)
{
    sound both = burst;
    const auto late = static_cast<std::size_t>(delay_ms * kRate / 1000 + 0.5);
    add_late(both, burst, late + random() % 4, 0.7);
    return both;
}

sound in_far_room(const sound &burst, double seconds, double direct_db, generator &random)
{
    constexpr int kTaps = 300;
    std::normal_distribution<double> normal;
    std::vector<std::pair<std::size_t, double>> taps;
    double energy = 0;
    for (int n = 0; n < kTaps; ++n) {
        const double time = between(random, 0.0005, 0.0005 + 0.75 * seconds);
        const double tap = normal(random) * std::pow(10, -3 * time / seconds);
        taps.emplace_back(static_cast<std::size_t>(time * kRate + 0.5), tap);
        energy += tap * tap;
    }
    const double gain = std::sqrt(std::pow(10, -direct_db / 10) / energy);
    sound heard = burst;
    for (const auto &[late, tap] : taps) add_late(heard, burst, late, tap * gain);
    return heard;
}

/// A filter of linear phase with a response in dB over the frequency, under a Hamming window.
template <class Response> sound filter_of(std::size_t taps, Response gain_db)
{
    const double middle = static_cast<double>(taps - 1) / 2;
    sound filter(taps);
    constexpr int kSteps = 2000;
    for (std::size_t n = 0; n < taps; ++n) {
        const double time = static_cast<double>(n) - middle;
        double sum = 0;
        for (int k = 0; k < kSteps; ++k) {
            const double hz = (k + 0.5) * kRate / 2 / kSteps;
            sum += std::pow(10, gain_db(hz) / 20) * std::cos(kTurn * hz / kRate * time) / kSteps;
        }
        filter[n] = static_cast<float>(
            sum * (0.54 + 0.46 * std::cos(std::numbers::pi * time / (middle + 1))));
    }
    return filter;
}

/// As long as what comes in; the filter's delay is taken out.
sound filtered(const sound &samples, const sound &filter)
{
    const std::size_t middle = filter.size() / 2;
    sound out(samples.size(), 0);
    for (std::size_t n = 0; n < out.size(); ++n) {
        const std::size_t first =
            n + middle >= samples.size() ? n + middle - samples.size() + 1 : 0;
        const std::size_t last = std::min(filter.size() - 1, n + middle);
        float sum = 0;
        for (std::size_t k = first; k <= last; ++k) sum += filter[k] * samples[n + middle - k];
        out[n] = sum;
    }
    return out;
}

/// Band-limited interpolation at any time.
class interpolator {
public:
    interpolator()
    {
        const kaiser_filter lowpass{0.4785, kReach, 80}; // to 21.1 kHz: the band ends below
        for (std::size_t phase = 0; phase <= kPhases; ++phase) {
            for (std::size_t k = 0; k < kTaps; ++k) {
                const double time =
                    static_cast<double>(k) - kReach + 1 - static_cast<double>(phase) / kPhases;
                rows_[phase][k] = static_cast<float>(lowpass(time));
            }
        }
    }
    float at(const sound &samples, double time) const
    {
        const double floor = std::floor(time);
        const auto phase = static_cast<std::size_t>((time - floor) * kPhases + 0.5);
        const auto first = static_cast<std::ptrdiff_t>(floor) - kReach + 1;
        float sum = 0;
        for (std::size_t k = 0; k < kTaps; ++k) {
            const auto n = first + static_cast<std::ptrdiff_t>(k);
            if (n < 0 || n >= std::ssize(samples)) continue;
            sum += samples[static_cast<std::size_t>(n)] * rows_[phase][k];
        }
        return sum;
    }

private:
    static constexpr int kReach = 32;
    static constexpr std::size_t kTaps = 2 * kReach;
    static constexpr std::size_t kPhases = 1024;
    std::array<std::array<float, kTaps>, kPhases + 1> rows_;
};

sound resampled(const sound &from, double clock, double sway, generator &random)
{
    static const interpolator interpolate;
    const double fraction = between(random, 0, 1);
    const double phase = between(random, 0, 1);
    const double far = sway / (kTurn * kSwayHz) / kSoundSpeed * kRate; // samples
    sound to(static_cast<std::size_t>(static_cast<double>(from.size()) / (1 + clock)));
    for (std::size_t n = 0; n < to.size(); ++n) {
        const auto time = static_cast<double>(n);
        const double late = far * std::sin(kTurn * (kSwayHz * time / kRate + phase));
        to[n] = interpolate.at(from, time * (1 + clock) + fraction - late);
    }
    return to;
}

void add_tone(sound &to, double rms, generator &random)
{
    const double hz = between(random, 18300, 19900), phase = between(random, 0, 1);
    for (std::size_t n = 0; n < to.size(); ++n)
        to[n] +=
            static_cast<float>(rms * std::numbers::sqrt2 *
                               std::sin(kTurn * (hz * static_cast<double>(n) / kRate + phase)));
}

/// Where 95 % arrive from so many copies in white noise.
double limit_of(std::size_t copies)
{
    return copies == 1 ? -19 : copies == 2 ? -21.7 : copies == 5 ? -25.6 : -27.4;
}

far_channel any_channel(generator &random)
{
    const far_channel kinds[] = {
        {}, {}, {.path_delay = 3}, {.room_seconds = 0.3}, {.rolls_off = true}, {.sway = 0.05}};
    far_channel channel = kinds[random() % std::size(kinds)];
    channel.clock_ppm = 900;
    return channel;
}

} // namespace

double between(generator &random, double low, double high)
{
    return std::uniform_real_distribution<double>{low, high}(random);
}

/// Adds to a sound what it is some samples later.
void add_late(sound &to, const sound &from, std::size_t late, double gain)
{
    if (to.size() < from.size() + late) to.resize(from.size() + late, 0);
    for (std::size_t n = 0; n < from.size(); ++n)
        to[n + late] += from[n] * static_cast<float>(gain);
}

void add_far_noise(sound &to, double rms, double cutoff, generator &random)
{
    std::normal_distribution<float> normal{0, static_cast<float>(rms)};
    sound noise(to.size());
    for (float &sample : noise) sample = normal(random);
    if (cutoff > 0) {
        static const sound lowpass =
            filter_of(201, [=](double hz) { return hz < cutoff ? 0 : -300; });
        noise = filtered(noise, lowpass);
    }
    for (std::size_t n = 0; n < to.size(); ++n) to[n] += noise[n];
}

void add_clicks(sound &to, double rms, generator &random)
{
    constexpr std::size_t kClick = 100;
    std::normal_distribution<float> normal{0, static_cast<float>(rms)};
    const auto gap = [&] { return static_cast<std::size_t>(between(random, 0.1, 0.3) * kRate); };
    for (std::size_t at = gap(); at + kClick < to.size(); at += gap())
        for (std::size_t n = 0; n < kClick; ++n) to[at + n] += normal(random);
}

sound at_rate(const sound &from, double rate)
{
    static const interpolator interpolate;
    sound to(static_cast<std::size_t>(static_cast<double>(from.size()) * rate / kRate));
    for (std::size_t n = 0; n < to.size(); ++n)
        to[n] = interpolate.at(from, static_cast<double>(n) * kRate / rate);
    return to;
}

namespace {

/// What is left of a burst of which only a part is heard, its echo included.
sound part_of(const sound &burst, double from, double to)
{
    sound part(burst.size(), 0);
    const auto place = [&](double share) {
        return static_cast<std::ptrdiff_t>(share * static_cast<double>(burst.size()));
    };
    std::copy(burst.begin() + place(from), burst.begin() + place(to), part.begin() + place(from));
    return part;
}

} // namespace

transmission transmit(std::size_t bits, std::size_t copies, const far_channel &channel,
                      generator &random)
{
    transmission sent;
    sent.message = random() >> (64 - bits);
    sound burst = make_sound(sent.message, bits);
    if (channel.path_delay > 0) burst = with_second_path(burst, channel.path_delay, random);
    if (channel.room_seconds > 0)
        burst = in_far_room(burst, channel.room_seconds, channel.direct_db, random);
    if (channel.rolls_off) {
        static const sound shape = filter_of(401, [](double hz) {
            return hz < 18000 ? 0 : hz > 20000 ? -18.0 : -18 * (hz - 18000) / 2000;
        });
        burst = filtered(burst, shape);
    }
    // All echo that is received counts as the burst's.
    double energy = 0;
    for (const float sample : burst) energy += double{sample} * double{sample};
    const double rms = std::sqrt(energy / static_cast<double>(kBurstSamples));
    for (float &sample : burst) sample *= static_cast<float>(kBurstRms / rms);
    if (channel.heard_from > 0 || channel.heard_to < 1)
        burst = part_of(burst, channel.heard_from, channel.heard_to);

    auto at = static_cast<std::size_t>(between(random, 12000, 42000));
    sound row(at, 0);
    for (std::size_t copy = 0; copy < copies; ++copy) {
        if (copy > 0 && copy % 5 == 0)
            at += static_cast<std::size_t>(between(random, 0.1, 0.4) * kRate);
        add_late(row, burst, at, 1);
        sent.starts.push_back(static_cast<double>(at));
        at += kBurstSamples;
    }
    row.resize(at + 9000, 0);
    sent.clock = between(random, -channel.clock_ppm, channel.clock_ppm) * 1e-6;
    if (std::abs(sent.clock) < channel.least_ppm * 1e-6)
        sent.clock =
            std::copysign(between(random, channel.least_ppm, channel.clock_ppm) * 1e-6, sent.clock);
    sent.clock += channel.clock_offset * 1e-6;
    for (double &start : sent.starts) start /= 1 + sent.clock;
    sent.samples = resampled(row, sent.clock, channel.sway, random);
    return sent;
}

far_scene make_scene(std::size_t bits, std::size_t copies, const far_channel &channel,
                     double snr_db, std::uint64_t seed)
{
    generator random{seed};
    transmission sent = transmit(bits, copies, channel, random);
    far_scene scene{sent.message, std::move(sent.samples), sent.starts[0]};
    if (channel.has_tone)
        add_tone(scene.samples, kBurstRms * std::pow(10, channel.tone_db / 20), random);
    const double noise = kBurstRms * std::pow(10, -snr_db / 20);
    if (channel.clicks_db > 0)
        add_clicks(scene.samples, noise * std::pow(10, channel.clicks_db / 20), random);
    add_far_noise(scene.samples, noise, channel.noise_cutoff, random);
    return scene;
}

namespace {

constexpr std::size_t kMinute = 60 * 44100;

/// Somewhere in a minute; the noise is to come at the bursts' RMS.
void add_sender(mixed_scene &scene, std::size_t bits, std::size_t copies,
                const far_channel &channel, double snr_db, generator &random)
{
    const transmission sent = transmit(bits, copies, channel, random);
    const auto at = static_cast<std::size_t>(
        between(random, 0, static_cast<double>(kMinute - sent.samples.size())));
    add_late(scene.samples, sent.samples, at, std::pow(10, snr_db / 20));
    scene.senders.push_back(
        {bits, copies, sent.message, snr_db, static_cast<double>(at + sent.samples.size() - 9000)});
}

} // namespace

mixed_scene make_mixed_scene(std::size_t senders, std::uint64_t seed)
{
    generator random{seed};
    mixed_scene scene;
    scene.samples.resize(kMinute, 0);
    for (std::size_t n = 0; n < senders; ++n) {
        constexpr std::size_t kCopies[] = {1, 1, 1, 2, 5, 10};
        const std::size_t bits = random() % 2 == 0 ? 32 : 48;
        const std::size_t copies = kCopies[random() % std::size(kCopies)];
        // A quarter is near: the far ones are there beside them.
        const double snr_db = random() % 4 == 0 ? between(random, -10, 15)
                                                : limit_of(copies) + between(random, -1, 5);
        add_sender(scene, bits, copies, any_channel(random), snr_db, random);
    }
    add_far_noise(scene.samples, kBurstRms, 0, random);
    return scene;
}

mixed_scene make_weak_scene(std::uint64_t seed)
{
    constexpr std::size_t kSingles = 20, kLoop = 40;
    generator random{seed};
    mixed_scene scene;
    scene.samples.resize(kMinute, 0);
    for (std::size_t n = 0; n <= kSingles; ++n) {
        const std::size_t bits = random() % 2 == 0 ? 32 : 48;
        const double snr_db = between(random, -32, -26);
        add_sender(scene, bits, n < kSingles ? 1 : kLoop, any_channel(random), snr_db, random);
    }
    add_far_noise(scene.samples, kBurstRms, 0, random);
    return scene;
}

} // namespace tonelink::bench
