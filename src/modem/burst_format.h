// The dimensions of a burst, shared by the generator and the receiver: how many bits, symbols, bins
// and samples there are, and the types that carry them from stage to stage.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "tonelink/toolkit.h"

namespace tonelink {

inline constexpr std::size_t kCrcBits = 24;
inline constexpr std::size_t kTailBits = 6;    // return the encoder to its zero state
inline constexpr std::size_t kCodeOutputs = 4; // code bits a message bit
inline constexpr std::size_t kChannelBits = 488;

inline constexpr std::size_t kSymbols = 16;
inline constexpr std::size_t kBins = 64;
inline constexpr std::size_t kFirstUsedBin = 2;
inline constexpr std::size_t kUsedBins = 61;        // bins 2 to 62
inline constexpr int16_t kCarrierAmplitude = 32767; // Q15; negative for a data bit 0

// At the baseband rate of 4410 Hz.
inline constexpr std::size_t kBodySamples = 128; // 29.02 ms
inline constexpr std::size_t kGuardSamples = 8;  // 1.81 ms: cyclic prefix, and as much suffix
inline constexpr std::size_t kSymbolSamples = kGuardSamples + kBodySamples + kGuardSamples;
inline constexpr std::size_t kRunOutSamples = 13; // zeros in which the interpolation filter ends
inline constexpr std::size_t kFrameSamples = kSymbols * kSymbolSamples + kRunOutSamples;

// At the output rate of 44100 Hz.
inline constexpr std::size_t kInterpolation = 10;
inline constexpr std::size_t kBurstSamples = kInterpolation * kFrameSamples;
inline constexpr int32_t kBandShiftHz = 1845; // nominal; the oscillator's grid makes it 1841.09

static_assert(kFrameSamples == 2317 && kBurstSamples == 23170);

using channel_bits = std::array<uint8_t, kChannelBits>;
using symbol_spectrum = std::array<cplx16, kBins>;
using symbol_body = std::array<int16_t, kBodySamples>;
using frame_samples = std::array<int16_t, kFrameSamples>;
using burst_span = std::span<int16_t, kBurstSamples>;

} // namespace tonelink
