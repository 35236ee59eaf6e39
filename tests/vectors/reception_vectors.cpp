// receptions.json: sounds as recipes in integers, and what must be heard in each. What no recipe
// can make of the two bursts that bursts.json has in full is in it as samples of 8 bits.
#include <algorithm>
#include <map>

#include "modem/burst_generator.h"
#include "modem/channel_encoder.h"
#include "modem/fixed_fft.h"
#include "modem/fixed_point.h"
#include "modem/interpolator.h"
#include "modem/known_bursts.h"
#include "modem/modulator.h"
#include "modem/spectrum_mirror.h"
#include "support/modem_guard.h"
#include "support/sounds.h"
#include "vectors/vector_texts.h"
#include "vectors/vectors.h"

namespace tonelink::test {

namespace {

// ---- Bursts that are not as they should be ------------------------------------------------------

std::vector<int16_t> burst_of(frame_samples frame)
{
    std::vector<int16_t> samples(kBurstSamples);
    const burst_span burst{samples.data(), kBurstSamples};
    ramp_edges(frame);
    interpolate_by_10(frame, burst);
    mirror_spectrum(burst, 1);
    open_shifter shifter{-kBandShiftHz};
    makeBandShift(samples.data(), static_cast<int32_t>(samples.size()), &shifter);
    normalise_peak(burst);
    return samples;
}

channel_bits channel_of(const encoder_input<32> &input)
{
    return interleave(match_rate(encode_convolutional<32>(input)));
}

std::vector<int16_t> burst_with_wrong_crc()
{
    const auto bits = bits_of(kPair32.bits);
    const std::span<const uint8_t, 32> message{bits.data(), 32};
    return burst_of(
        modulate_symbols(channel_of(mask_tail_Message(message, message_crc(message) ^ 1))));
}

std::vector<int16_t> burst_with_wrong_tail()
{
    const auto bits = bits_of(kPair32.bits);
    const std::span<const uint8_t, 32> message{bits.data(), 32};
    auto input = mask_tail_Message(message, message_crc(message));
    std::fill(input.end() - kTailBits, input.end(), uint8_t{1});
    return burst_of(modulate_symbols(channel_of(input)));
}

std::vector<int16_t> burst_with_exchanged_bits()
{
    auto channel = encode_channel(bits_of(kPair32.bits));
    for (uint8_t &bit : channel) bit ^= 1;
    return burst_of(modulate_symbols(channel));
}

std::vector<int16_t> burst_with_exchanged_halves()
{
    auto channel = encode_channel(bits_of(kPair32.bits));
    std::rotate(channel.begin(), channel.begin() + kChannelBits / 2, channel.end());
    return burst_of(modulate_symbols(channel));
}

/// A burst whose symbols' spectra are changed before they become sound.
template <class Change> std::vector<int16_t> burst_with_spectra(Change change)
{
    const auto channel = encode_channel(bits_of(kPair32.bits));
    frame_samples frame{};
    for (std::size_t symbol = 0; symbol < kSymbols; ++symbol) {
        symbol_body body;
        inverse_symbol_transform(change(scramble(map_symbol(channel, symbol), symbol), symbol + 1),
                                 body);
        for (std::size_t i = 0; i < kSymbolSamples; ++i)
            frame[kSymbolSamples * symbol + i] =
                body[(i + kBodySamples - kGuardSamples) % kBodySamples];
    }
    return burst_of(frame);
}

symbol_spectrum pilots_of(symbol_spectrum spectrum, std::size_t symbol)
{
    for (std::size_t k = kFirstSubcarrier; k <= kLastSubcarrier; ++k)
        if (!is_pilot(symbol, k)) spectrum[k] = {};
    return spectrum;
}

/// What is heard where a mixer has turned the band round.
symbol_spectrum mirrored(const symbol_spectrum &spectrum, std::size_t)
{
    symbol_spectrum turned{};
    for (std::size_t k = kFirstSubcarrier; k <= kLastSubcarrier; ++k)
        turned[kFirstSubcarrier + kLastSubcarrier - k] = {spectrum[k].re, low16(-spectrum[k].im)};
    return turned;
}

symbol_spectrum one_further(symbol_spectrum spectrum, std::size_t)
{
    std::rotate(spectrum.begin(), spectrum.end() - 1, spectrum.end());
    return spectrum;
}

/// As it sounds from a sender whose clock is fast.
std::vector<int16_t> burst_of_clock(double ppm)
{
    return to_16_bits(burst_at(kPair32.bits, kAudioRate, ppm));
}

// ---- Recipes ------------------------------------------------------------------------------------

/// Samples of a burst or sound, from one to before another, each floor(gain s / 32768).
struct part {
    const char *source;
    int32_t at;
    int32_t gain_q15 = 16384;
    int32_t from = 0;
    int32_t to = 23170;
};

struct noise_part {
    uint32_t seed;
    int32_t gain_q15;
};

constexpr int32_t kTolerance = 88; // samples: 2 ms

/// A message in the sound, and who must hear it: every receiver, one that reaches as far as the far
/// method, or nobody, though whoever does is not wrong.
struct wanted {
    const char *bits;
    int32_t first_sample;
    const char *heard_by = "every";
    int32_t tolerance = kTolerance;
};

struct recipe {
    const char *name;
    const char *about;
    int32_t length;
    std::vector<part> parts;
    std::vector<wanted> heard;
    std::vector<noise_part> noises = {};
    int32_t limit = 32767;
};

/// The sounds that receptions are made of, by their names; those of 8 bits are told in the file.
struct sound_shelf {
    std::map<std::string, std::vector<int16_t>> all;
    std::vector<ordered_json> told;

    void add(const char *name, const char *about, const std::vector<int16_t> &samples)
    {
        std::vector<uint8_t> bytes;
        for (const int16_t sample : samples) {
            const int32_t rounded = std::min((sample + 128) >> 8, 127);
            bytes.push_back(static_cast<uint8_t>(rounded));
            all[name].push_back(low16(rounded * 256));
        }
        told.push_back({{"name", name}, {"about", about}, {"samples_s8_base64", base64_of(bytes)}});
    }
};

sound_shelf sounds()
{
    sound_shelf shelf;
    shelf.all[kPairing32] = open_modem{}.burst(kPair32.bits);
    shelf.all[kPairing48] = open_modem{}.burst(kPair48.bits);
    shelf.add("wrong-crc", "the last bit of the CRC is wrong, all else is right",
              burst_with_wrong_crc());
    shelf.add("wrong-tail", "ones instead of zeros behind the CRC", burst_with_wrong_tail());
    shelf.add("exchanged-bits", "channel bits 0 and 1 are exchanged", burst_with_exchanged_bits());
    shelf.add("exchanged-halves", "the later 244 channel bits come first",
              burst_with_exchanged_halves());
    shelf.add("pilots-alone", "nothing on the subcarriers of data", burst_with_spectra(pilots_of));
    shelf.add("mirrored", "the band turned round: subcarrier k where 64 - k should be",
              burst_with_spectra(mirrored));
    shelf.add("one-further", "each subcarrier where the next one should be",
              burst_with_spectra(one_further));
    shelf.add("clock-100ppm", "from a sender whose clock is 100 ppm fast", burst_of_clock(100));
    shelf.add("clock-700ppm", "700 ppm", burst_of_clock(700));
    shelf.add("clock-5-percent", "5 percent", burst_of_clock(50000));
    return shelf;
}

std::vector<recipe> recipes()
{
    const char *const m32 = kPair32.bits;
    const char *const m48 = kPair48.bits;
    // Half a symbol's body from its place a burst's odd subcarriers change their sign, and with
    // them what data are beside the pilots next to them. The far method hears exchanged bits there,
    // and the exact one the wrong tail.
    constexpr int32_t kHalfBody = kAudioBodySamples / 2 + kTolerance;
    constexpr int32_t kHalf = kBurstSamples / 2;
    // Two symbols have 61 channel bits: too few for 48 bits and their CRC.
    constexpr int32_t kTwoSymbols = kBurstDelay + 2 * kAudioSymbolSamples;
    return {
        {"clean-32", "one burst", 30000, {{kPairing32, 3000}}, {{m32, 3000}}},
        {"clean-48", "one burst", 30000, {{kPairing48, 4321}}, {{m48, 4321}}},
        {"quiet", "60 dB below full scale", 30000, {{kPairing32, 3000, 33}}, {{m32, 3000}}},
        {"clipped", "6 dB too loud", 30000, {{kPairing48, 3000, 65536}}, {{m48, 3000}}},
        {"clipped-hard",
         "12 dB too loud",
         30000,
         {{kPairing48, 3000, 131072}},
         {{m48, 3000, "far"}}},
        {"clipped-low",
         "12 dB too loud for a limit below full scale",
         30000,
         {{kPairing32, 3000, 32768}},
         {{m32, 3000}},
         {},
         8192},
        {"noisy-32",
         "4 dB above white noise in the band",
         50000,
         {{kPairing32, 12345, 8192}},
         {{m32, 12345}},
         {{11, 6000}}},
        {"noisy-48",
         "4 dB above white noise in the band",
         50000,
         {{kPairing48, 12345, 8192}},
         {{m48, 12345}},
         {{12, 6800}}},
        {"deep-in-noise-32",
         "6 dB below white noise in the band",
         60000,
         {{kPairing32, 12345, 4096}},
         {{m32, 12345, "far"}},
         {{13, 9500}}},
        {"one-behind-the-other",
         "without a pause",
         50000,
         {{kPairing32, 1000}, {kPairing48, 24170}},
         {{m32, 1000}, {m48, 24170}}},
        {"both-at-once",
         "one 6 dB below the other",
         44100,
         {{kPairing48, 2000}, {kPairing32, 9000, 8192}},
         {{m48, 2000}, {m32, 9000}},
         {{14, 164}}},
        {"fast-clock",
         "of a sender, by 100 ppm",
         30000,
         {{"clock-100ppm", 3000, 16384, 0, 23167}},
         {{m32, 3000}},
         {{15, 164}}},
        {"very-fast-clock",
         "of a sender, by 700 ppm",
         30000,
         {{"clock-700ppm", 3000, 16384, 0, 23153}},
         {{m32, 3000, "far"}},
         {{16, 164}}},
        {"first-half",
         "of a burst",
         30000,
         {{kPairing48, 3000, 16384, 0, kHalf}},
         {{m48, 3000, "nobody"}},
         {{19, 164}}},
        {"last-half",
         "of a burst that began before the sound",
         30000,
         {{kPairing48, 0, 16384, kHalf}},
         {{m48, -kHalf, "nobody"}},
         {{20, 164}}},
        {"wrong-tail",
         "and a right CRC",
         30000,
         {{"wrong-tail", 3000}},
         {{m32, 3000, "nobody", kHalfBody}}},
        {"exchanged-bits",
         "the wrong sign",
         30000,
         {{"exchanged-bits", 3000}},
         {{m32, 3000, "nobody", kHalfBody}}},
        {"two-symbols",
         "an eighth of a burst",
         30000,
         {{kPairing48, 3000, 16384, 0, kTwoSymbols}},
         {},
         {{21, 164}}},
        {"wrong-crc", "by a bit", 30000, {{"wrong-crc", 3000}}, {}},
        {"exchanged-halves", "of the channel bits", 30000, {{"exchanged-halves", 3000}}, {}},
        {"pilots-alone", "a burst without data", 30000, {{"pilots-alone", 3000}}, {}},
        {"mirrored", "within the band", 30000, {{"mirrored", 3000}}, {}},
        {"one-further", "34.5 Hz too low", 30000, {{"one-further", 3000}}, {}},
        {"wrong-rate", "by 5 percent", 30000, {{"clock-5-percent", 3000, 16384, 0, 22066}}, {}},
        {"silence", "nothing at all", 44100, {}, {}},
        {"noise", "at half of full scale", 88200, {}, {}, {{17, 16384}}},
        {"full-noise", "at full scale", 44100, {}, {}, {{18, 32768}}},
    };
}

std::vector<int16_t> samples_of(const recipe &recipe, const sound_shelf &shelf)
{
    std::vector<int64_t> sums(static_cast<std::size_t>(recipe.length), 0);
    for (const auto &[source, at, gain_q15, from, to] : recipe.parts)
        for (int32_t i = from; i < to; ++i)
            sums.at(static_cast<std::size_t>(at + i - from)) +=
                int64_t{shelf.all.at(source).at(static_cast<std::size_t>(i))} * gain_q15 >> 15;
    for (const auto &[seed, gain_q15] : recipe.noises) {
        lcg source{seed};
        for (int64_t &sum : sums) sum += int64_t{source.next()} * gain_q15 >> 15;
    }
    std::vector<int16_t> limited(sums.size());
    std::ranges::transform(sums, limited.begin(), [&](int64_t sum) {
        return static_cast<int16_t>(std::clamp(sum, int64_t{-recipe.limit}, int64_t{recipe.limit}));
    });
    return limited;
}

ordered_json record_of(const recipe &recipe, const sound_shelf &shelf)
{
    ordered_json record = {{"name", recipe.name},
                           {"about", recipe.about},
                           {"length", recipe.length},
                           {"parts", ordered_json::array()}};
    for (const auto &[source, at, gain_q15, from, to] : recipe.parts)
        record["parts"].push_back(
            {{"source", source}, {"from", from}, {"to", to}, {"at", at}, {"gain_q15", gain_q15}});
    record["noises"] = ordered_json::array();
    for (const auto &[seed, gain_q15] : recipe.noises)
        record["noises"].push_back({{"seed", seed}, {"gain_q15", gain_q15}});
    record["limit"] = recipe.limit;
    record["sha256"] = sha256_as<int16_t>(samples_of(recipe, shelf));
    record["heard"] = ordered_json::array();
    for (const auto &[bits, first_sample, heard_by, tolerance] : recipe.heard)
        record["heard"].push_back({{"message", hex_of(bits)},
                                   {"first_sample", first_sample},
                                   {"tolerance", tolerance},
                                   {"heard_by", heard_by}});
    return record;
}

} // namespace

void write_receptions(std::ostream &file)
{
    const sound_shelf shelf = sounds();
    std::vector<ordered_json> records;
    for (const recipe &recipe : recipes()) records.push_back(record_of(recipe, shelf));
    file << "{\n\"format\": 1,\n\"sample_rate\": " << kAudioRate
         << ",\n\"sounds\": " << lines_of(shelf.told) << ",\n\"receptions\": " << lines_of(records)
         << "\n}\n";
}

} // namespace tonelink::test
