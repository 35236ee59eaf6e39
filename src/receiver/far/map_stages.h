// The two stages of the pilot map that cost most of the far receiver's time, and the tables that
// they read. One lane is one hop: what is done for one of the eight hops of a symbol is done for
// all, and a burst's symbols lie in the same lane of sixteen rows.
//
// The forms are made twice from the same text (lanes/): for the vectors that every processor of the
// architecture has, and for AVX2, which is chosen where the processor has it. All is in C arrays:
// indexing them calls no function, which a file compiled for one processor could leave to others.
#pragma once

#include <cstddef>
#include <cstdint>

#include "modem/burst_format.h"

namespace tonelink {

inline constexpr std::size_t kMapHops = 8;                            // of a symbol, side by side
inline constexpr std::size_t kMapHop = kSymbolSamples / kMapHops;     // 18 baseband samples
inline constexpr std::size_t kMapDelays = kMapHop;                    // -8.5 to 8.5 from the hop
inline constexpr std::size_t kRotations = 7;                          // pre-rotations
inline constexpr std::size_t kNearOffsets = 6;                        // offsets read with each
inline constexpr std::size_t kMapOffsets = kRotations * kNearOffsets; // clock offsets in all
inline constexpr double kOffsetStep = 50e-6;
inline constexpr std::size_t kPilots = kSymbols / 2; // of each subcarrier

/// The clock offset of a row of the map: -1025 to 1025 ppm.
constexpr double offset_of(std::size_t row)
{
    return kOffsetStep * (static_cast<double>(row) - (kMapOffsets - 1) / 2.0);
}

/// A complex number for each hop.
struct hop_values {
    alignas(32) float re[kMapHops];
    alignas(32) float im[kMapHops];
};

/// The spectra of a symbol's hops.
struct hop_spectra {
    hop_values subcarriers[kSubcarriers];
};

/// The samples of a body from each hop on.
struct hop_bodies {
    hop_values samples[kBodySamples];
};

/// Energies: 1 on average in noise.
struct near_energies {
    alignas(32) float of[kNearOffsets][kMapDelays][kMapHops];
};

struct map_factor {
    float re, im;
};

struct map_tables {
    map_tables();

    map_factor rotations[kRotations][kBodySamples]; ///< that take a clock out of a body
    map_factor twiddles[kBodySamples / 2];
    uint8_t reversed[kBodySamples];
    /// Take scrambling and a pre-rotation's clock out of each pilot.
    map_factor pilots[kRotations][kSubcarriers][kPilots];
    /// What a clock of 25, 75, 125 ppm more turns pilots that lie 1, 3, 5, 7 symbols off the
    /// middle.
    float clock_cosines[kSubcarriers][kNearOffsets / 2][kPilots / 2];
    float clock_sines[kSubcarriers][kNearOffsets / 2][kPilots / 2];
    /// The same from the even subcarriers' middle to the odd ones', one symbol later.
    map_factor odd_turns[kNearOffsets / 2];
    /// What delays of 0.5 to 8.5 samples turn pairs of subcarriers around the middle.
    float delay_cosines[kMapDelays / 2][kSubcarriers / 4];
    float delay_sines[kMapDelays / 2][kSubcarriers / 4];
    float delay_scales[kMapDelays / 2]; ///< to an energy of 1 in noise
};

struct map_stages {
    const char *name;

    /// Spectra of bodies, a pre-rotation's clock taken out of them.
    void (*transform)(const map_tables &tables, const hop_bodies &bodies, std::size_t rotation,
                      hop_spectra &spectra);

    /// The energies of bursts whose symbols, the first one first, have these spectra.
    void (*add_up_pilots)(const map_tables &tables, const hop_spectra *const *symbols,
                          std::size_t rotation, near_energies &energies);
};

/// The fastest forms that this processor has.
const map_stages &fastest_map_stages();

namespace lanes4 {
extern const map_stages far_map_stages;
}
namespace lanes8 {
extern const map_stages far_map_stages; // on x86 alone
}

} // namespace tonelink
