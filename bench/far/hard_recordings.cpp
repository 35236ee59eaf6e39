#include "far/hard_recordings.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <numbers>

#include "link/everyday_sounds.h"
#include "modem/burst_format.h"

namespace tonelink::bench {

namespace {

constexpr double kRate = 44100;
constexpr double kBurstRms = 400; // as transmit() makes it
constexpr double kNoise = 1200;
constexpr double kFullScale = 32767;
constexpr double kTurn = 2 * std::numbers::pi;

/// Noise in the bursts' band is so much weaker than to 22.05 kHz.
constexpr double kBandDb = 10.3;

/// Where 95 % arrive in white noise.
double limit_of(std::size_t bits, std::size_t copies)
{
    const bool is_short = bits == 32;
    switch (copies) {
    case 1: return is_short ? -19.1 : -17.7;
    case 2: return is_short ? -22.0 : -20.3;
    case 5: return is_short ? -25.6 : -24.2;
    default: return is_short ? -27.6 : -27.1;
    }
}

/// A recording that is being made, at 44100 Hz: what is sent, then noise, then what becomes of
/// both.
class recording {
public:
    recording(const char *kind, generator &random) : random_{random}
    {
        made_.kind = kind;
        constexpr double kRates[] = {44100, 48000};
        made_.rate = kRates[random() % std::size(kRates)];
        made_.is_float = random() % 2 == 0;
    }

    /// Adds a sender.
    /// @param snr_db  over the noise
    /// @param seconds from the recording's beginning to what comes first of it, silence included
    void send(std::size_t bits, std::size_t copies, const far_channel &channel, double snr_db,
              double seconds = 0)
    {
        add(transmit(bits, copies, channel, random_), bits, copies, snr_db, seconds);
    }

    void add(const transmission &sent, std::size_t bits, std::size_t copies, double snr_db,
             double seconds)
    {
        const auto late = static_cast<std::size_t>(seconds * kRate);
        const double gain = std::pow(10, snr_db / 20) * kNoise / kBurstRms;
        add_late(made_.samples, sent.samples, late, gain);
        hard_recording::sender sender{bits, copies, sent.message, sent.starts};
        for (double &start : sender.starts) start += static_cast<double>(late);
        made_.senders.push_back(std::move(sender));
    }

    /// Cuts the recording off at a time behind its last burst.
    void end_behind(double seconds)
    {
        made_.samples.resize(static_cast<std::size_t>(end_of_bursts() + seconds * kRate), 0);
    }
    /// Cuts off what is before the first burst.
    void begin_with_burst()
    {
        const auto first = static_cast<std::ptrdiff_t>(first_start());
        made_.samples.erase(made_.samples.begin(), made_.samples.begin() + first);
        for (auto &sender : made_.senders)
            for (double &start : sender.starts) start -= static_cast<double>(first);
    }
    /// Leaves nothing but zeros a time before the first burst and behind the last one.
    void silence_around(double seconds)
    {
        const auto before =
            static_cast<std::ptrdiff_t>(std::max(0.0, first_start() - seconds * kRate));
        const auto behind =
            std::min(std::ssize(made_.samples),
                     static_cast<std::ptrdiff_t>(end_of_bursts() + seconds * kRate));
        std::fill(made_.samples.begin(), made_.samples.begin() + before, 0.0f);
        std::fill(made_.samples.begin() + behind, made_.samples.end(), 0.0f);
    }

    void lengthen(double seconds)
    {
        made_.samples.resize(made_.samples.size() + static_cast<std::size_t>(seconds * kRate), 0);
    }
    sound &samples() { return made_.samples; }
    double first_start() const
    {
        double first = 1e9;
        for (const auto &sender : made_.senders) first = std::min(first, sender.starts.front());
        return first;
    }
    double end_of_bursts() const
    {
        double end = 0;
        for (const auto &sender : made_.senders) end = std::max(end, sender.starts.back());
        return end + double{kBurstSamples};
    }
    void make_noise(double cutoff = 0) { add_far_noise(made_.samples, kNoise, cutoff, random_); }

    /// The recording, at its rate and within full scale.
    hard_recording take()
    {
        if (made_.rate != kRate) made_.samples = at_rate(made_.samples, made_.rate);
        for (float &sample : made_.samples)
            sample =
                std::clamp(sample, -static_cast<float>(kFullScale), static_cast<float>(kFullScale));
        for (auto &sender : made_.senders)
            for (double &start : sender.starts) start *= made_.rate / kRate;
        return std::move(made_);
    }

private:
    hard_recording made_;
    generator &random_;
};

/// Adds a tone of a power over the noise, on while `is_on` says so, of the time in seconds.
void add_gated_tone(sound &to, double hz, double over_noise_db,
                    const std::function<bool(double)> &is_on)
{
    const double size = std::numbers::sqrt2 * kNoise * std::pow(10, over_noise_db / 20);
    for (std::size_t n = 0; n < to.size(); ++n) {
        const double time = static_cast<double>(n) / kRate;
        if (is_on(time)) to[n] += static_cast<float>(size * std::sin(kTurn * hz * time));
    }
}

/// A chirp through 16 to 21 kHz, once in some seconds.
void add_sweep(sound &to, double seconds, double over_noise_db)
{
    const double size = std::numbers::sqrt2 * kNoise * std::pow(10, over_noise_db / 20);
    double phase = 0;
    for (std::size_t n = 0; n < to.size(); ++n) {
        const double time = static_cast<double>(n) / kRate;
        phase += (16000 + 5000 * std::fmod(time / seconds, 1)) / kRate;
        to[n] += static_cast<float>(size * std::sin(kTurn * phase));
    }
}

/// Power in the bursts' band, over a stretch.
double band_power(const sound &samples, double from, double to)
{
    double power = 0;
    constexpr std::size_t kTones = 40, kBlock = 512;
    std::size_t blocks = 0;
    for (auto at = static_cast<std::size_t>(std::max(0.0, from));
         static_cast<double>(at + kBlock) < std::min(to, static_cast<double>(samples.size()));
         at += 4 * kBlock) {
        for (std::size_t k = 0; k < kTones; ++k) {
            const double hz = 18100 + 50 * static_cast<double>(k);
            double re = 0, im = 0;
            for (std::size_t n = 0; n < kBlock; ++n) {
                const double window = 1 - std::cos(kTurn * static_cast<double>(n) / double(kBlock));
                const double angle = kTurn * hz * static_cast<double>(n) / kRate;
                re += double{samples[at + n]} * window * std::cos(angle);
                im += double{samples[at + n]} * window * std::sin(angle);
            }
            power += re * re + im * im;
        }
        ++blocks;
    }
    // White noise of power 1 gives 1.5 of each tone and sample of a block.
    return blocks == 0
               ? 0
               : power / (1.5 * double(kBlock * kTones * blocks)) * std::pow(10, -kBandDb / 10);
}

template <class Source> sound loud_sound(std::size_t length, double gain, std::uint64_t seed)
{
    Source source{seed};
    sound loud;
    while (loud.size() < length)
        for (const int16_t sample : source.next())
            loud.push_back(static_cast<float>(gain * double(sample)));
    loud.resize(length);
    return loud;
}

/// A burst that is played beside a sound so loud that it is cut off: by its power over what the cut
/// leaves in the band.
template <class Source>
hard_recording make_clipped(std::size_t bits, std::size_t copies, double gain, generator &random)
{
    recording made{"clipped", random};
    made.send(bits, copies, {.clock_ppm = 1000}, -100);
    const sound loud = loud_sound<Source>(made.samples().size(), gain, random());
    sound alone = loud;
    add_far_noise(alone, kNoise, 0, random);
    for (float &sample : alone) sample = std::clamp(sample, -32767.0f, 32767.0f);
    const double power = band_power(alone, made.first_start(), made.end_of_bursts());
    // What is cut off takes of the burst, too.
    double open = 0;
    for (const float sample : alone) open += std::abs(sample) < 32767.0f;
    open /= static_cast<double>(alone.size());
    const double white = power * std::pow(10, kBandDb / 10) / (kNoise * kNoise);
    const double snr_db = limit_of(bits, copies) + between(random, 1, 2) + 10 * std::log10(white) -
                          20 * std::log10(open);
    const double boost = std::pow(10, (snr_db + 100) / 20);
    for (std::size_t n = 0; n < made.samples().size(); ++n)
        made.samples()[n] = made.samples()[n] * static_cast<float>(boost) + loud[n];
    made.make_noise();
    return made.take();
}

} // namespace

std::vector<hard_recording> make_hard_recordings(std::uint64_t seed)
{
    generator random{seed * 1000003};
    std::vector<hard_recording> all;
    const auto any_bits = [&]() -> std::size_t { return random() % 2 == 0 ? 32 : 48; };
    const auto above = [&] { return between(random, 0, 1); };
    const auto simple = [&](const char *kind, std::size_t bits, std::size_t copies,
                            const far_channel &channel, double worse_db) {
        recording made{kind, random};
        made.send(bits, copies, channel, limit_of(bits, copies) + worse_db + above());
        made.make_noise(channel.noise_cutoff);
        all.push_back(made.take());
    };

    for (int n = 0; n < 4; ++n) simple("single", n % 2 == 0 ? 32 : 48, 1, {.clock_ppm = 400}, 0);
    for (int n = 0; n < 4; ++n)
        simple("clock", any_bits(), n == 3 ? 5 : 1, {.clock_ppm = 1000, .least_ppm = 930}, 0);
    for (const std::size_t copies : {2, 2, 5, 5, 10, 10})
        simple("loop", any_bits(), copies, {.clock_ppm = 1000}, 0);
    for (const double seconds : {0.2, 0.4, 0.6})
        simple("room", any_bits(), 1, {.room_seconds = seconds, .clock_ppm = 300}, 3.4);
    simple("room", 32, 1, {.room_seconds = 0.3, .direct_db = -6, .clock_ppm = 300}, 7.6);
    simple("room", 32, 1, {.room_seconds = 0.3, .direct_db = 6, .clock_ppm = 300}, 1.6);
    simple("room", 32, 5, {.room_seconds = 0.4, .clock_ppm = 300}, 3.1);
    for (const double delay : {1.0, 3.0, 5.0})
        simple("path", any_bits(), 1, {.path_delay = delay, .clock_ppm = 300}, 0.8);
    simple("rolloff", 32, 1, {.rolls_off = true, .clock_ppm = 300}, 1.2);
    simple("rolloff", 32, 5, {.rolls_off = true, .clock_ppm = 300}, 1.0);
    simple("lowpass", 32, 1, {.noise_cutoff = 20200, .clock_ppm = 300}, 0);
    for (const auto &[speed, worse_db] : {std::pair{0.03, 0.3}, {0.1, 1.5}, {0.2, 4.1}})
        simple("moving", 32, 1, {.sway = speed, .clock_ppm = 300}, worse_db);
    simple("moving", 32, 5, {.sway = 0.03, .clock_ppm = 300}, 0.8);
    simple("moving", 32, 5, {.sway = 0.1, .clock_ppm = 300}, 4.8);

    for (const double clicks_db : {20.0, 30.0}) {
        recording made{"clicks", random};
        made.send(32, 1, {.clock_ppm = 300}, limit_of(32, 1) + 1 + above());
        add_clicks(made.samples(), kNoise * std::pow(10, clicks_db / 20), random);
        made.make_noise();
        all.push_back(made.take());
    }

    // Tones, by their power over the burst: steady, starting and stopping within it, keyed.
    for (int n = 0; n < 6; ++n) {
        recording made{"tone", random};
        const std::size_t bits = any_bits(), copies = n == 5 ? 5 : 1;
        // What a beginning or an end within the burst costs is not known from figures.
        const double snr_db = limit_of(bits, copies) + above() + (n < 2 ? 0 : 1.5);
        made.send(bits, copies, {.clock_ppm = 500}, snr_db);
        const double tone_db = snr_db + between(random, 5, n < 2 ? 30 : 15);
        const double hz = between(random, 18300, 19900);
        const double at = (made.first_start() / kRate) + between(random, 0.05, 0.45);
        add_gated_tone(made.samples(), hz, tone_db, [&](double time) {
            switch (n) {
            case 2: return time > at;
            case 3: return time < at;
            case 4: return std::fmod(time, 0.2) < 0.1;
            default: return true;
            }
        });
        made.make_noise();
        if (n == 3) made.silence_around(0.1);
        all.push_back(made.take());
    }
    for (const double seconds : {0.4, 2.0}) {
        recording made{"sweep", random};
        made.send(32, 1, {.clock_ppm = 500}, limit_of(32, 1) + 2 + above());
        add_sweep(made.samples(), seconds, -15);
        made.make_noise();
        all.push_back(made.take());
    }

    all.push_back(make_clipped<music_source>(32, 1, 3, random));
    all.push_back(make_clipped<music_source>(48, 1, 2, random));
    all.push_back(make_clipped<speech_source>(32, 1, 4, random));
    all.push_back(make_clipped<speech_source>(48, 5, 4, random));
    // Bursts that are themselves cut off.
    for (const double snr_db : {26.0, 32.0}) {
        recording made{"overdriven", random};
        made.send(any_bits(), 2, {.clock_ppm = 200}, snr_db);
        made.make_noise();
        all.push_back(made.take());
    }
    for (int n = 0; n < 4; ++n) {
        recording made{"near", random};
        made.send(any_bits(), n == 3 ? 5 : 1, {.clock_ppm = 200}, between(random, -11, 10));
        made.make_noise();
        all.push_back(made.take());
    }

    // Two senders, at times on top of each other; each has the other one for noise.
    for (int n = 0; n < 6; ++n) {
        recording made{"two senders", random};
        const std::size_t copies = n < 3 ? 1 : n < 5 ? 2 : 5;
        const std::size_t bits[] = {any_bits(), any_bits()};
        const double loud_db =
            n % 2 == 0 ? between(random, -16, -8) : limit_of(bits[1], copies) + 1;
        const double in_band = std::pow(10, (loud_db + kBandDb) / 10);
        const double weak_db =
            limit_of(bits[0], copies) + 0.5 + above() + 10 * std::log10(1 + in_band);
        const double weak_in_band = std::pow(10, (weak_db + kBandDb) / 10);
        made.send(bits[0], copies, {.clock_ppm = 800}, weak_db, 0.3);
        made.send(bits[1], copies, {.clock_ppm = 800},
                  loud_db + 10 * std::log10(1 + weak_in_band) * (n % 2), between(random, 0, 0.9));
        made.make_noise();
        all.push_back(made.take());
    }
    { // One message from two places.
        recording made{"one message twice", random};
        const transmission sent = transmit(32, 2, {.clock_ppm = 500}, random);
        made.add(sent, 32, 2, limit_of(32, 2) + 3, 0);
        made.add(sent, 32, 2, limit_of(32, 2) + 3, 0.33);
        made.make_noise();
        all.push_back(made.take());
    }

    // Several messages, one behind the other.
    for (int n = 0; n < 3; ++n) {
        recording made{"several", random};
        double at = 0;
        for (int m = 0; m < 4; ++m) {
            const std::size_t bits = any_bits(), copies = m == 2 ? 2 : m == 3 && n == 1 ? 5 : 1;
            made.send(bits, copies, {.clock_ppm = 800}, limit_of(bits, copies) + above(), at);
            at = made.end_of_bursts() / kRate - between(random, 0, 0.5);
        }
        made.make_noise();
        all.push_back(made.take());
    }

    // Where recordings begin and end.
    for (int n = 0; n < 7; ++n) {
        recording made{n < 3   ? "ends with burst"
                       : n < 5 ? "begins with burst"
                               : "zeros around",
                       random};
        const std::size_t bits = any_bits(), copies = n == 2 || n == 6 ? 5 : n == 4 ? 2 : 1;
        made.send(bits, copies, {.clock_ppm = 500}, limit_of(bits, copies) + above());
        if (n < 3) made.end_behind(n == 0 ? 0 : between(random, 0, 0.03));
        if (n == 3 || n == 4) made.begin_with_burst();
        made.make_noise();
        if (n > 4) {
            made.silence_around(0.05);
            made.lengthen(3);
        }
        all.push_back(made.take());
    }

    // The level steps up and down, also within a burst.
    for (int n = 0; n < 3; ++n) {
        recording made{"level steps", random};
        const std::size_t copies = n == 2 ? 5 : 1;
        made.send(32, copies, {.clock_ppm = 500}, limit_of(32, copies) + 1 + above());
        made.make_noise();
        double gain = 1;
        double next = between(random, 0.2, 0.8) * kRate;
        for (std::size_t s = 0; s < made.samples().size(); ++s) {
            if (static_cast<double>(s) > next) {
                gain = std::pow(10, between(random, -10, 6) / 20);
                next += between(random, 0.3, 1.0) * kRate;
            }
            made.samples()[s] *= static_cast<float>(gain);
        }
        all.push_back(made.take());
    }

    // Nothing.
    for (int n = 0; n < 5; ++n) {
        recording made{"nothing", random};
        made.lengthen(10);
        if (n == 1) add_sweep(made.samples(), 0.7, -10);
        if (n == 2)
            add_gated_tone(made.samples(), 19000, 0,
                           [](double time) { return std::fmod(time, 0.3) < 0.15; });
        if (n == 3)
            add_late(made.samples(), loud_sound<music_source>(10 * 44100, 3, random()), 0, 1);
        if (n < 4) made.make_noise();
        all.push_back(made.take());
    }
    return all;
}

} // namespace tonelink::bench
