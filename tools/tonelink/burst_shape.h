// The numbers of a burst, in the command's terms.
#pragma once

#include <cstddef>
#include <cstdint>

#include <tonelink/format.h>

namespace tonelink::tool {

inline constexpr int32_t kAudioRate = TONELINK_SAMPLE_RATE; // Hz
inline constexpr std::size_t kBurstSamples = TONELINK_BURST_SAMPLES;
inline constexpr std::size_t kBurstDelay = TONELINK_BURST_DELAY;
inline constexpr std::size_t kSymbols = TONELINK_SYMBOLS;
inline constexpr std::size_t kAudioGuardSamples = TONELINK_GUARD_SAMPLES;
inline constexpr std::size_t kAudioBodySamples = TONELINK_BODY_SAMPLES;
inline constexpr std::size_t kAudioSymbolSamples = TONELINK_SYMBOL_SAMPLES;
inline constexpr std::size_t kFirstSubcarrier = TONELINK_FIRST_SUBCARRIER;
inline constexpr std::size_t kLastSubcarrier = TONELINK_LAST_SUBCARRIER;
inline constexpr std::size_t kSubcarriers = TONELINK_SUBCARRIERS;

inline constexpr double kBurstSeconds = static_cast<double>(kBurstSamples) / kAudioRate;
inline constexpr double kSymbolSeconds = static_cast<double>(kAudioSymbolSamples) / kAudioRate;

/// The frequency of a subcarrier, 2 to 62: the higher the number, the lower the tone.
constexpr double subcarrier_hz(std::size_t subcarrier)
{
    return TONELINK_SUBCARRIER_HZ(static_cast<double>(subcarrier));
}

inline constexpr double kBandLowHz = subcarrier_hz(kLastSubcarrier);
inline constexpr double kBandHighHz = subcarrier_hz(kFirstSubcarrier);

/// Whether a subcarrier, 2 to 62, is a pilot in a symbol, 1 to 16.
constexpr bool is_pilot(std::size_t symbol, std::size_t subcarrier)
{
    return TONELINK_IS_PILOT(symbol, subcarrier);
}

/// The sample of a burst with which symbol `symbol` of 1 to 16 begins; 17 is where the last one
/// ends.
constexpr std::size_t symbol_start(std::size_t symbol)
{
    return kBurstDelay + (symbol - 1) * kAudioSymbolSamples;
}

} // namespace tonelink::tool
