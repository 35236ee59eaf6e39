#include "test_sounds.h"

#include <bitset>
#include <cmath>
#include <stdexcept>

#include <samplerate.h>

#include "modem/burst_format.h"
#include "support/modem_guard.h"

namespace tonelink::test {

sound burst_of(uint32_t message)
{
    open_modem modem;
    const auto samples = modem.burst(std::bitset<32>{message}.to_string());
    sound burst(samples.begin(), samples.end());
    for (float &sample : burst) sample /= 32768;
    return burst;
}

void mix(sound &to, const sound &what, std::size_t at, float gain)
{
    to.resize(std::max(to.size(), at + what.size()));
    for (std::size_t i = 0; i < what.size(); ++i) to[at + i] += gain * what[i];
}

void add_noise(sound &to, double snr_db, uint32_t seed)
{
    // Of bursts whose peak is full scale, within half a decibel.
    constexpr double kBurstPower = 0.055;
    const double share_in_band = (kBandHighHz - kBandLowHz) / (kAudioRate / 2);
    const double power = kBurstPower / std::pow(10, snr_db / 10) / share_in_band;
    const double gain = std::sqrt(12 * power) / 65536; // the values are even over 16 bits
    for (std::size_t i = 0; const int16_t value : noise(to.size(), seed))
        to[i++] += static_cast<float>(gain * value);
}

sound resampled(const sound &from, double rate)
{
    const double ratio = rate / kAudioRate;
    sound to(static_cast<std::size_t>(std::ceil(static_cast<double>(from.size()) * ratio)));
    SRC_DATA data{from.data(), to.data(), std::ssize(from), std::ssize(to), 0, 0, 0, ratio};
    if (src_simple(&data, SRC_SINC_BEST_QUALITY, 1) != 0) throw std::runtime_error{"not resampled"};
    to.resize(static_cast<std::size_t>(data.output_frames_gen));
    return to;
}

} // namespace tonelink::test
