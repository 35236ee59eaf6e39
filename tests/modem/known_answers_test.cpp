// Every stage of the way from a message to its burst, and the decoder back, against what a model
// written independently of the library says, as it stands in the files of the folder known_answers:
// numbers, and hash16() of longer rows. For spectra and bodies that is the hash of the symbols'
// SHA-256 texts one after the other, a spectrum being its real parts, then its imaginary parts.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <sstream>

#include "modem/band_shift.h"
#include "modem/burst_generator.h"
#include "modem/channel_encoder.h"
#include "modem/fixed_fft.h"
#include "modem/interpolator.h"
#include "modem/known_bursts.h"
#include "modem/modulator.h"
#include "modem/spectrum_mirror.h"
#include "support/decoding.h"
#include "support/modem_guard.h"

namespace tonelink::test {

namespace {

std::string known_answers(const std::string &name)
{
    std::ifstream file{TONELINK_KNOWN_ANSWERS + name};
    return {std::istreambuf_iterator{file}, {}};
}

template <std::size_t Bits> void tell_code(const std::vector<uint8_t> &bits, std::ostream &told)
{
    const std::span<const uint8_t, Bits> message{bits.data(), Bits};
    const uint32_t crc = message_crc(message);
    auto block = append_crc(message, crc);
    told << "crc " << std::hex << crc << std::dec << "\nprotected " << hash16(block);
    whiten<Bits>(block);
    const auto input = mask_tail_Message(message, crc);
    const auto coded = encode_convolutional<Bits>(input);
    told << "\nwhitened " << hash16(block) << "\nencoder input " << hash16(input);
    told << "\ncoded " << hash16(coded) << "\nrate matched " << hash16(match_rate(coded));
}

void tell_symbols(const channel_bits &channel, std::ostream &told)
{
    std::string spectra, bodies;
    for (std::size_t symbol = 0; symbol < kSymbols; ++symbol) {
        const auto spectrum = scramble(map_symbol(channel, symbol), symbol);
        std::array<int16_t, 2 * kSpectrumSize> parts;
        std::ranges::transform(spectrum, parts.begin(), &cplx16::re);
        std::ranges::transform(spectrum, parts.begin() + kSpectrumSize, &cplx16::im);
        symbol_body body;
        EXPECT_EQ(inverse_symbol_transform(spectrum, body), 5) << symbol;
        spectra += sha256_as<int16_t>(parts);
        bodies += sha256_as<int16_t>(body);
    }
    told << "\nchannel bits " << hash16(channel) << "\nspectra " << hash16<uint8_t>(spectra);
    told << "\nbodies " << hash16<uint8_t>(bodies);
}

void tell_sound(const channel_bits &channel, const vector_stages &stages, std::ostream &told)
{
    auto frame = modulate_symbols(channel, stages);
    ramp_edges(frame);
    std::array<int16_t, kBurstSamples> burst;
    interpolate_by_10(frame, burst, stages);
    told << "\nframe " << hash16(frame) << "\ninterpolated " << hash16(burst);
    mirror_spectrum(burst, 1);
    told << "\nmirrored " << hash16(burst);
    open_shifter shifter{-kBandShiftHz};
    shift_band(burst, shifter, stages);
    told << "\nshifted " << hash16(burst) << "\npeak " << peak_magnitude(burst);
    normalise_peak(burst, stages);
    told << "\nburst " << hash16(burst) << '\n';
}

/// Decodes the soft values of a message: 0 as `level`, 1 as -`level`, and noise times `mul`.
template <std::size_t Bits>
void tell_decoded(const std::string &message, uint32_t seed, int32_t mul, int32_t level,
                  std::ostream &told)
{
    const auto sent = match_rate(encode_convolutional<Bits>(encoder_input_of<Bits>(message)));
    lcg noise{seed};
    reference::soft_channel soft;
    std::ranges::transform(sent, soft.begin(), [&](uint8_t bit) {
        return std::clamp(noise.next() * mul + (bit != 0 ? -level : level), -500000, 500000);
    });
    const auto code = reference::recover_rate<Bits>(soft);
    const auto decoded = reference::viterbi_decoder<Bits>(code);
    const auto received = de_getCrc24<Bits>(decoded);
    told << seed << " recovered " << hash16<int32_t>(code) << " decoded " << hash16(decoded);
    told << " crc " << std::hex << received.crc << std::dec;
    told << (passes_crc_check(received) ? " accepted\n" : "\n");
    // Ties go to the higher predecessor.
    EXPECT_EQ(text_of(reference::viterbi_decoder<Bits>({})),
              std::string(Bits + kCrcBits, '1').append(kTailBits, '0'));
}

} // namespace

TEST(KnownAnswers, FromAMessageToItsBurst)
{
    for (const vector_stages *const stages : available_stages()) {
        std::ostringstream told;
        for (const auto &[text, burst] : kKnownBursts) {
            const auto bits = bits_of(text);
            told << text << '\n';
            (bits.size() == 32 ? tell_code<32> : tell_code<48>)(bits, told);
            const auto channel = encode_channel(bits);
            tell_symbols(channel, told);
            tell_sound(channel, *stages, told);
        }
        EXPECT_EQ(told.str(), known_answers("bursts")) << stages->name;
    }
}

TEST(KnownAnswers, FromSoftValuesToAMessage)
{
    std::ostringstream told;
    uint32_t seed = 95000;
    for (const auto &[text, burst] : kKnownBursts)
        for (const auto &[mul, level] : {std::pair{0, 7}, {2, 10000}, {3, 10000}})
            (std::string{text}.size() == 32 ? tell_decoded<32>
                                            : tell_decoded<48>)(text, ++seed, mul, level, told);
    EXPECT_EQ(told.str(), known_answers("candidates"));
}

TEST(KnownAnswers, TablesOfWhichAMessageShowsTheBitsAlone)
{
    EXPECT_EQ(hash16(perm_msg_crc_32), "a4e10aa4140ad21c");
    EXPECT_EQ(hash16(perm_msg_crc_48), "5e2155ce1cd1c075");
    EXPECT_EQ(hash16(repeat_perm_msg), "904099f5f719b1f3");
    EXPECT_EQ(hash16(perm_msg), "0673d4de78926f39");
    EXPECT_EQ(hash16(outBits), "4fc753be5e96b97a");
    EXPECT_EQ(hash16(Sinewave), "73e1daf45422f10d");
}

} // namespace tonelink::test
