// Scenes that the far receiver's figures are measured in: a message far away, behind one impairment
// and in noise.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "link/sound.h"

namespace tonelink::bench {

/// What happens on the way. What is zero does not happen.
struct far_channel {
    double path_delay = 0;   ///< of a second path, 3 dB weaker; ms
    double room_seconds = 0; ///< reverberation time
    double direct_db = 0;    ///< of a room: direct path over all the rest
    bool rolls_off = false;  ///< from 0 dB at 18 kHz to -18 dB at 20 kHz
    double noise_cutoff = 0; ///< of the noise alone, Hz
    double clicks_db = 0;    ///< over the noise
    double tone_db = 0;      ///< over the burst
    bool has_tone = false;
    double sway = 0;         ///< a moving listener's greatest speed, m/s
    double clock_ppm = 0;    ///< offsets reach so far to either side
    double least_ppm = 0;    ///< and are no smaller than this
    double clock_offset = 0; ///< of their middle, ppm
    double heard_from = 0;   ///< the part of each burst that is heard: shares of its length
    double heard_to = 1;
};

/// A message in `copies` bursts, each of RMS 400: ten of them in two writes with a pause between.
/// Without noise, silence around it.
struct transmission {
    std::uint64_t message = 0; ///< the first bit is the most significant of `bits`
    sound samples;             ///< at 44100 Hz, full scale is 32768
    double clock = 0;
    std::vector<double> starts; ///< the first sample of each burst
};
transmission transmit(std::size_t bits, std::size_t copies, const far_channel &channel,
                      generator &random);

double between(generator &random, double low, double high);

/// Adds to a sound what it is some samples later.
void add_late(sound &to, const sound &from, std::size_t late, double gain);

/// White noise, to a frequency if one is given.
void add_far_noise(sound &to, double rms, double cutoff, generator &random);

/// Bursts of noise of 2 ms, 0.1 to 0.3 s apart.
void add_clicks(sound &to, double rms, generator &random);

/// The sound at another rate than 44100 Hz.
sound at_rate(const sound &from, double rate);

struct far_scene {
    std::uint64_t message = 0; ///< the first bit is the most significant of `bits`
    sound samples;             ///< full scale is 32768
    double first_sample = 0;   ///< of the first burst
};

/// A message of `bits` bits in `copies` bursts, ten of them in two writes with a pause between,
/// each of RMS 400, with white noise at an SNR: a burst's own power, all its echo included, over
/// the noise from 0 to 22.05 kHz.
far_scene make_scene(std::size_t bits, std::size_t copies, const far_channel &channel,
                     double snr_db, std::uint64_t seed);

/// A minute in which many send: near and far, once and in loops, by all channels that have no noise
/// of their own, at times on top of each other.
struct mixed_scene {
    struct sender {
        std::size_t bits = 0, copies = 0;
        std::uint64_t message = 0;
        double snr_db = 0;
        double ends = 0; ///< the sample behind its last burst
    };
    std::vector<sender> senders;
    sound samples;
};
mixed_scene make_mixed_scene(std::size_t senders, std::uint64_t seed);

/// A minute of bursts too weak to be read, -32 to -26 dB: 20 alone, and a loop, whose copies added
/// up may at times be read.
mixed_scene make_weak_scene(std::uint64_t seed);

} // namespace tonelink::bench
