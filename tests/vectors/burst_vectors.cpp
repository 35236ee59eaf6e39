// bursts.json: messages, each with what every stage makes of it.
#include <cmath>

#include "modem/band_shift.h"
#include "modem/burst_generator.h"
#include "modem/channel_encoder.h"
#include "modem/interpolator.h"
#include "modem/known_bursts.h"
#include "modem/modulator.h"
#include "modem/spectrum_mirror.h"
#include "support/modem_guard.h"
#include "vectors/vector_texts.h"
#include "vectors/vectors.h"

namespace tonelink::test {

namespace {

struct named_message {
    const char *name;
    std::string bits;
    bool is_pairing = false;
};

std::string random_bits(std::size_t count, uint32_t seed)
{
    std::string bits;
    for (lcg source{seed}; bits.size() < count;) bits += source.next() < 0 ? '0' : '1';
    return bits;
}

std::vector<named_message> messages()
{
    return {
        {"zeros-32", std::string(32, '0')},
        {"ones-32", std::string(32, '1')},
        {"first-bit-32", '1' + std::string(31, '0')},
        {"last-bit-32", std::string(31, '0') + '1'},
        {kPairing32, kPair32.bits, true},
        {"data-32", kData32.bits},
        {"random-32", random_bits(32, 321)},
        {"zeros-48", std::string(48, '0')},
        {"ones-48", std::string(48, '1')},
        {"last-bit-of-the-pin-48", std::string(31, '0') + '1' + std::string(16, '0')},
        {kPairing48, kPair48.bits, true},
        {"largest-pin-48", std::string(32, '1') + "0000000111111110", true},
        {"data-48", kData48.bits},
        {"random-48", random_bits(48, 481)},
    };
}

/// What a pairing's receiver shows.
void tell_pairing(const std::string &bits, ordered_json &record)
{
    const std::string octets = hex_of(bits.substr(bits.size() - 16));
    record["pin"] = std::stoull(bits.substr(0, bits.size() - 16), nullptr, 2);
    record["octets"] = octets.substr(0, 2) + ':' + octets.substr(2);
}

template <std::size_t Bits> void tell_code(const std::vector<uint8_t> &bits, ordered_json &record)
{
    const std::span<const uint8_t, Bits> message{bits.data(), Bits};
    const uint32_t crc = message_crc(message);
    auto block = append_crc(message, crc);
    record["with_crc"] = text_of(block);
    record["crc"] = hex_of(text_of(block).substr(Bits));
    whiten<Bits>(block);
    const auto input = mask_tail_Message(message, crc);
    const auto coded = encode_convolutional<Bits>(input);
    record["whitened"] = text_of(block);
    record["permuted_with_tail"] = text_of(input);
    record["coded"] = text_of(coded);
    record["rate_matched"] = text_of(match_rate(coded));
}

/// The sound's stages as hashes, so that a fault's stage is found; and the peak before the last.
void tell_stages(const channel_bits &channel, ordered_json &record)
{
    auto frame = modulate_symbols(channel);
    ordered_json hashes;
    ramp_edges(frame);
    hashes["frame"] = sha256_as<int16_t>(frame);
    std::array<int16_t, kBurstSamples> burst;
    interpolate_by_10(frame, burst);
    hashes["interpolated"] = sha256_as<int16_t>(burst);
    mirror_spectrum(burst, 1);
    hashes["inverted"] = sha256_as<int16_t>(burst);
    open_shifter shifter{-kBandShiftHz};
    makeBandShift(burst.data(), static_cast<int32_t>(burst.size()), &shifter);
    hashes["shifted"] = sha256_as<int16_t>(burst);
    record["stages_sha256"] = hashes;
    record["peak_before_normalisation"] = peak_magnitude(burst);
}

void tell_samples(const std::vector<int16_t> &burst, ordered_json &record)
{
    double energy = 0;
    for (const double sample : burst) energy += sample * sample;
    record["sha256"] = sha256_as<int16_t>(burst);
    record["peak"] = peak_magnitude(std::span<const int16_t, kBurstSamples>{burst});
    record["rms"] = std::round(std::sqrt(energy / kBurstSamples) * 10) / 10;
    for (std::size_t symbol = 1; symbol <= kSymbols; ++symbol) {
        const auto at = burst.begin() + static_cast<std::ptrdiff_t>(symbol_start(symbol));
        record["excerpts"].push_back(
            {{"from", symbol_start(symbol)}, {"samples", std::vector<int16_t>(at, at + 8)}});
    }
}

std::string base64_of_samples(const std::vector<int16_t> &samples)
{
    std::vector<uint8_t> bytes;
    for (const int16_t sample : samples) {
        bytes.push_back(static_cast<uint8_t>(sample));
        bytes.push_back(static_cast<uint8_t>(static_cast<uint16_t>(sample) >> 8));
    }
    return base64_of(bytes);
}

ordered_json record_of(const named_message &message)
{
    const auto bits = bits_of(message.bits);
    ordered_json record = {{"name", message.name},
                           {"length", bits.size()},
                           {"bits", message.bits},
                           {"bytes", hex_of(message.bits)}};
    if (message.is_pairing) tell_pairing(message.bits, record);
    (bits.size() == 32 ? tell_code<32> : tell_code<48>)(bits, record);
    const auto channel = encode_channel(bits);
    record["interleaved"] = text_of(channel);
    tell_stages(channel, record);
    const auto burst = open_modem{}.burst(message.bits); // the first of its state
    tell_samples(burst, record);
    const bool in_full = message.name == kPairing32 || message.name == kPairing48;
    if (in_full) record["samples_s16le_base64"] = base64_of_samples(burst);
    return record;
}

} // namespace

void write_bursts(std::ostream &file)
{
    std::vector<ordered_json> records;
    ordered_json turns;
    for (const named_message &message : messages()) records.push_back(record_of(message));
    for (std::size_t row = 0; row < kScramblingSymbols; ++row) {
        const auto first = phi_scr.begin() + static_cast<std::ptrdiff_t>(row * kSubcarriers);
        turns.push_back(std::vector<int16_t>(first, first + kSubcarriers));
    }
    file << "{\n\"format\": 1,\n\"sample_rate\": " << kAudioRate << ",\n\"turns\": " << turns
         << ",\n\"bursts\": " << lines_of(records) << "\n}\n";
}

} // namespace tonelink::test
