// Where a burst lies in time and frequency when it is played at 44100 Hz: what the finder looks for
// and the picture marks. Times are seconds from the burst's first sample.
#pragma once

namespace tonelink::tool {

inline constexpr double kDesignRate = 44100;
inline constexpr int kBurstSamples = 23170;
inline constexpr int kSymbols = 16;

// A symbol is a prefix that repeats the body's end, the body, and a suffix that repeats its start.
inline constexpr int kBodySamples = 1280;
inline constexpr int kExtensionSamples = 80;
inline constexpr int kSymbolSamples = kBodySamples + 2 * kExtensionSamples;
/// The first prefix begins this late: the delay of the generator's filters.
inline constexpr int kFirstSymbolSample = 128;

inline constexpr int kFirstSubcarrier = 2;
inline constexpr int kLastSubcarrier = 62;

inline constexpr double kBurstSeconds = kBurstSamples / kDesignRate;
inline constexpr double kSymbolSeconds = kSymbolSamples / kDesignRate;

/// Where symbol `n` of 1 to 16 begins; 17 is where the last one ends.
constexpr double symbol_start_s(int n)
{
    return (kFirstSymbolSample + (n - 1) * kSymbolSamples) / kDesignRate;
}

/// The frequency of a subcarrier, 2 to 62: the higher the number, the lower the tone.
constexpr double subcarrier_hz(int subcarrier)
{
    constexpr double kShiftDown = 342 * kDesignRate / 8192;
    return kDesignRate / 2 - kShiftDown - subcarrier * kDesignRate / kBodySamples;
}

inline constexpr double kBandLow = subcarrier_hz(kLastSubcarrier);
inline constexpr double kBandHigh = subcarrier_hz(kFirstSubcarrier);
static_assert(kBandLow > 18072 && kBandHigh < 20141);

/// Pilots sit on the even subcarriers of the odd symbols and on the odd ones of the even symbols.
constexpr bool is_pilot(int symbol, int subcarrier) { return (symbol + subcarrier) % 2 == 1; }

} // namespace tonelink::tool
