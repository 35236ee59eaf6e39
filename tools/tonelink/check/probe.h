// The sound that a check plays: a chirp that can be heard, steps of tones over the band of the
// bursts, one tone at rising levels, two bursts, and the chirp again. Whoever hears it knows by the
// chirps where everything else is, whatever is left of it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "message.h"

namespace tonelink::tool {

/// Seconds from the beginning of the first chirp.
struct probe_time {
    static constexpr double kChirpLength = 0.2;
    static constexpr double kTones = 0.5, kToneLength = 0.06;
    static constexpr double kLevels = 3.16, kLevelLength = 0.1;
    static constexpr double kBursts = 3.86;
    static constexpr double kLastChirp = 5.25;
    static constexpr double kEnd = 5.45;
};

constexpr std::size_t kProbeTones = 41;
constexpr double tone_hz(std::size_t tone) { return 17'000 + 100.0 * static_cast<double>(tone); }
constexpr double tone_start(std::size_t tone)
{
    return probe_time::kTones + probe_time::kToneLength * static_cast<double>(tone);
}

/// The tone that comes at rising levels: the last is that of the other tones.
constexpr double kLevelHz = 19'100;
constexpr std::size_t kLevels = 5;
constexpr double level_db(std::size_t step)
{
    return -6.0 * static_cast<double>(kLevels - 1 - step);
}
constexpr double level_start(std::size_t step)
{
    return probe_time::kLevels + probe_time::kLevelLength * static_cast<double>(step);
}

constexpr std::size_t kProbeBursts = 2;
/// What the bursts say, a text that no phone takes for a pairing it waits for.
message_bits probe_message();

/// From below what any microphone hears of, to the top of the tones; half as loud as these.
constexpr double kChirpLowHz = 2'000, kChirpHighHz = 21'000, kChirpGain = 0.5;
/// The chirp beside tones of amplitude 1, so many seconds after its beginning; 0 outside it.
double chirp_at(double seconds);

/// It as samples at some rate, with silence before and behind it.
/// @param before   seconds of silence before it
/// @param seconds  of samples
std::vector<float> chirp_samples(double rate, double before, double seconds);

/// Silence before the first chirp and behind the last, for devices that begin and end unevenly.
constexpr double kProbeMargin = 0.2;

/// The whole sound at 44100 Hz with its margins.
/// @param level_db  of the tones' and the bursts' peaks, in dBFS
std::vector<int16_t> make_probe(double level_db);

} // namespace tonelink::tool
