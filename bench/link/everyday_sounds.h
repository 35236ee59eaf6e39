// Sounds without a burst in them, for a receiver to be mistaken about: noise, and what has the
// spectra and the rhythm of speech and of music. Each is made block by block, for ever.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "link/sound.h"

namespace tonelink::bench {

inline constexpr std::size_t kBlockSamples = 44100; // a second

/// White noise.
class noise_source {
public:
    explicit noise_source(uint64_t seed) : random_{seed} {}
    std::vector<int16_t> next();

private:
    generator random_;
};

/// Syllables: glottal pulses or hiss through three resonances that move from one to the next, with
/// pauses; sibilants reach into the band of the bursts.
class speech_source {
public:
    explicit speech_source(uint64_t seed) : random_{seed} {}
    std::vector<int16_t> next();

private:
    struct resonance {
        double feedback1 = 0, feedback2 = 0, gain = 0, y1 = 0, y2 = 0;
        void tune(double hz, double width_hz);
        double pass(double x);
    };

    void begin_syllable();

    generator random_;
    std::array<resonance, 3> resonances_{};
    bool is_voiced_ = false;
    bool is_pause_ = true;
    double pitch_hz_ = 120;
    double phase_ = 0;
    std::size_t left_ = 0;
};

/// Chords of tones with many partials, up to the highest that there are, and drums of noise that
/// decays.
class music_source {
public:
    explicit music_source(uint64_t seed) : random_{seed} {}
    std::vector<int16_t> next();

private:
    struct tone {
        double hz = 0, phase = 0;
    };

    void begin_beat();

    generator random_;
    std::array<tone, 4> chord_{};
    double drum_ = 0;
    std::size_t at_ = 0; ///< samples since the beat began
};

} // namespace tonelink::bench
