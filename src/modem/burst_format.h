// The numbers of the burst format, all of them: how many bits, symbols, subcarriers and samples a
// burst has, where it lies in time and frequency, and the types that carry it from stage to stage.
// The tables that go with them are in code_tables.h, the filters in filter_taps.h; what programs
// may want to know stands in tonelink/format.h.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "tonelink/format.h"
#include "tonelink/toolkit.h"

namespace tonelink {

// ---- Bits ---------------------------------------------------------------------------------------

inline constexpr std::size_t kCrcBits = 24;
/// The polynomial of the FlexRay frame CRC, x^24 left out:
/// x^24 + x^22 + x^20 + x^19 + x^18 + x^16 + x^14 + x^13 + x^11 + x^10 + x^8 + x^7 + x^6 + x^3 + x
/// + 1
inline constexpr uint32_t kCrcPolynomial = 0x5D6DCB;
inline constexpr uint32_t kCrcStart = 0xFFFFFF;
inline constexpr uint32_t kCrcFinalXor = 0x48EB72; // onto the CRC, by the sender

inline constexpr std::size_t kTailBits = 6;    // return the encoder to its zero state
inline constexpr std::size_t kCodeOutputs = 4; // code bits a message bit
inline constexpr std::size_t kChannelBits = 488;
/// Bits that enter the convolutional code for a message of `Bits` bits, and that leave it.
template <std::size_t Bits> inline constexpr std::size_t kEncoderBits = Bits + kCrcBits + kTailBits;
template <std::size_t Bits>
inline constexpr std::size_t kCodedBits = kCodeOutputs *kEncoderBits<Bits>;
static_assert(kCodedBits<32> == 248 && kCodedBits<48> == 312);

// ---- Symbols and subcarriers --------------------------------------------------------------------

inline constexpr std::size_t kSymbols = 16;
inline constexpr std::size_t kSpectrumSize = 64; // subcarriers that the transform has
inline constexpr std::size_t kFirstSubcarrier = 2;
inline constexpr std::size_t kLastSubcarrier = 62;
inline constexpr std::size_t kSubcarriers = kLastSubcarrier - kFirstSubcarrier + 1; // in use
inline constexpr int16_t kSubcarrierAmplitude = 32767; // Q15; negative for a data bit 0

/// Whether a subcarrier, 2 to 62, is a pilot in a symbol, 1 to 16: the even ones are in odd
/// symbols, the odd ones in even symbols. The others carry data.
constexpr bool is_pilot(std::size_t symbol, std::size_t subcarrier)
{
    return (symbol + subcarrier) % 2 == 1;
}

/// Index of the first channel bit that a symbol, 1 to 16, carries; for 17, how many bits all carry.
/// Symbols carry 30 and 31 bits in turn.
constexpr std::size_t first_bit_of(std::size_t symbol) { return (symbol - 1) * kSubcarriers / 2; }
static_assert(first_bit_of(2) == 30 && first_bit_of(3) == 61 && first_bit_of(17) == kChannelBits);

// ---- At the baseband rate of 4410 Hz ------------------------------------------------------------

inline constexpr std::size_t kBodySamples = 128; // 29.02 ms
inline constexpr std::size_t kGuardSamples = 8;  // 1.81 ms: cyclic prefix, and as much suffix
inline constexpr std::size_t kSymbolSamples = kGuardSamples + kBodySamples + kGuardSamples;
inline constexpr std::size_t kRunOutSamples = 13; // zeros in which the interpolation filter ends
inline constexpr std::size_t kFrameSamples = kSymbols * kSymbolSamples + kRunOutSamples;

// ---- At the audio rate of 44100 Hz --------------------------------------------------------------

inline constexpr int32_t kAudioRate = 44100;      // Hz
inline constexpr std::size_t kInterpolation = 10; // from the baseband rate
inline constexpr std::size_t kBurstSamples = kInterpolation * kFrameSamples;
inline constexpr std::size_t kAudioBodySamples = kInterpolation * kBodySamples;
inline constexpr std::size_t kAudioGuardSamples = kInterpolation * kGuardSamples;
inline constexpr std::size_t kAudioSymbolSamples = kInterpolation * kSymbolSamples;
/// The delay of the generator's filters: the first symbol's prefix begins this late in a burst.
inline constexpr std::size_t kBurstDelay = 128;

inline constexpr double kBurstSeconds = static_cast<double>(kBurstSamples) / kAudioRate;
inline constexpr double kSymbolSeconds = static_cast<double>(kAudioSymbolSamples) / kAudioRate;

/// The sample of a burst with which symbol `symbol` of 1 to 16 begins; 17 is where the last one
/// ends.
constexpr std::size_t symbol_start(std::size_t symbol)
{
    return kBurstDelay + (symbol - 1) * kAudioSymbolSamples;
}

inline constexpr std::size_t kSinePeriod = 8192;        // of the table of sines, in entries
inline constexpr std::size_t kCosine = kSinePeriod / 4; // from a sine's entry to its cosine's
inline constexpr int32_t kBandShiftHz = 1845; // nominal; the oscillator's grid makes it 1841.09
/// Entries of the period that the oscillator goes on with each sample.
inline constexpr int32_t kBandShiftStep =
    static_cast<int32_t>(int64_t{kBandShiftHz} * kSinePeriod / kAudioRate);

/// The frequency of a subcarrier, 2 to 62: the higher the number, the lower the tone.
constexpr double subcarrier_hz(std::size_t subcarrier)
{
    constexpr double kShift = static_cast<double>(kBandShiftStep) * kAudioRate / kSinePeriod;
    constexpr double kSpacing = static_cast<double>(kAudioRate) / kAudioBodySamples;
    return kAudioRate / 2.0 - kShift - kSpacing * static_cast<double>(subcarrier);
}

inline constexpr double kBandLowHz = subcarrier_hz(kLastSubcarrier);
inline constexpr double kBandHighHz = subcarrier_hz(kFirstSubcarrier);

static_assert(kFrameSamples == 2317 && kBurstSamples == 23170 && kBandShiftStep == 342);
static_assert(kAudioRate == TONELINK_SAMPLE_RATE && kBurstSamples == TONELINK_BURST_SAMPLES &&
              kBurstDelay == TONELINK_BURST_DELAY && kSymbols == TONELINK_SYMBOLS &&
              kAudioGuardSamples == TONELINK_GUARD_SAMPLES &&
              kAudioBodySamples == TONELINK_BODY_SAMPLES &&
              kAudioSymbolSamples == TONELINK_SYMBOL_SAMPLES &&
              kFirstSubcarrier == TONELINK_FIRST_SUBCARRIER &&
              kLastSubcarrier == TONELINK_LAST_SUBCARRIER && kSubcarriers == TONELINK_SUBCARRIERS);
static_assert(kBandLowHz > 18072.7 && kBandHighHz < 20140.1);

// ---- From stage to stage ------------------------------------------------------------------------

using channel_bits = std::array<uint8_t, kChannelBits>;
using symbol_spectrum = std::array<cplx16, kSpectrumSize>;
using symbol_body = std::array<int16_t, kBodySamples>;
using frame_samples = std::array<int16_t, kFrameSamples>;
using burst_span = std::span<int16_t, kBurstSamples>;

} // namespace tonelink
