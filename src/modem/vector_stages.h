// The stages that have a vector form, and the data that they hand to each other. One lane is one
// hop: what the receiver does for sixteen hops in a row it does side by side.
//
// The forms are made twice from the same text (lanes/): for the vectors that every processor of the
// architecture has, and for AVX2, which is chosen where the processor has it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "modem/burst_format.h"

namespace tonelink {

inline constexpr std::size_t kBatch = 16;     // hops side by side
inline constexpr std::size_t kHopSamples = 8; // baseband samples from one hop to the next
inline constexpr std::size_t kSymbolHops = kSymbolSamples / kHopSamples;
static_assert(kSymbolHops == 18);

/// Baseband samples in pairs: pair n is samples 2n and 2n + 1, and lies in row n % 4 at place n /
/// 4, so that a pair of one hop and the same pair of the next hop are neighbours.
struct baseband_rows {
    static constexpr std::size_t kRows = kHopSamples / 2;
    static constexpr std::size_t kPlaces = kBodySamples / kHopSamples + kBatch;
    alignas(32) cplx16 pairs[kRows][kPlaces];
};

/// Spectra over time: a row for each bin, a column for each hop.
struct spectrum_rows {
    // 25 cache lines: an odd number, so that the rows do not all fall into the same sets.
    static constexpr std::size_t kColumns = 400;
    alignas(64) cplx16 bins[kSubcarriers][kColumns];
    int32_t exponents[kColumns];
};

/// What the soft values of a batch add up to for each step of the code: code bits 0 and 3, which
/// are always equal, then bit 1, then bit 2. Up to 2000000 for the first, 1000000 for the others.
inline constexpr std::size_t kStepSums = 3;
template <std::size_t Bits> struct code_sums {
    static constexpr std::size_t kSteps = Bits + kCrcBits + kTailBits;
    alignas(64) int32_t sums[kStepSums * kSteps][kBatch];
};

/// The decisions of a batch's most likely paths, as search_paths leaves them: for every four steps
/// after the first six, four bits for each of 64 states, eight states a word.
template <std::size_t Bits> struct path_decisions {
    static constexpr std::size_t kGroups = (Bits + kCrcBits) / 4;
    alignas(64) uint32_t words[kGroups][8][kBatch];
};

inline constexpr std::size_t kShiftBlock = 512; // samples that the band shifter takes at a time
inline constexpr std::size_t kShiftSlack = 64; // samples behind a block that may be read or written

/// Spectra of a burst's symbols: a row for each used bin, a column for each symbol.
struct symbol_rows {
    alignas(64) cplx16 bins[kSubcarriers][kSymbols];
};

/// Their bodies: a row for each sample, a column for each symbol.
struct body_rows {
    alignas(64) int32_t samples[kBodySamples][kSymbols];
};

/// Frame samples that a phase of the interpolator looks at, the newest one included.
inline constexpr std::size_t kPhaseTaps = 13;
inline constexpr std::size_t kFrameSlack = 48; // frame samples that may be read behind the frame

/// The output filter goes through a block in parts, one sample of each at a time: a row.
inline constexpr std::size_t kFilterParts = 16;
typedef int16_t filter_row[kFilterParts];

/// The last two inputs and outputs of every part, older and newer.
struct filter_histories {
    float older_input[kFilterParts];
    float newer_input[kFilterParts];
    double older_output[kFilterParts]; // of float precision
    double newer_output[kFilterParts];
};

/// One set of forms. Counts of hops are 1 to kBatch; lanes beyond the count come out as they may.
struct vector_stages {
    const char *name;

    /// Shifts up to kShiftBlock samples. Output i is made from entries i to i + 128 of `input` and
    /// from the oscillator's cosine and sine; a cosine of 32768 is given as -32768. What lies up to
    /// kShiftSlack samples behind the block may be read and written, too.
    void (*shift_samples)(const int16_t *input, std::size_t count, const int16_t *cosines,
                          const int16_t *sines, bool down, int16_t *output);

    /// Spectra and exponents of `count` hops into the columns from `column` on.
    void (*transform_hops)(const baseband_rows &samples, std::size_t count, spectrum_rows &spectra,
                           std::size_t column);

    /// Adds the soft values of the candidates whose first symbols are the columns from `column` on
    /// to the sums of either length, or of both; null leaves a length out.
    void (*demodulate)(const spectrum_rows &spectra, std::size_t column, std::size_t count,
                       code_sums<32> *short_sums, code_sums<48> *long_sums);

    /// The decisions on the most likely paths.
    void (*search_short_paths)(const code_sums<32> &sums, std::size_t count,
                               path_decisions<32> &decisions);
    void (*search_long_paths)(const code_sums<48> &sums, std::size_t count,
                              path_decisions<48> &decisions);

    /// The inverse transforms of all symbols.
    void (*transform_symbols)(const symbol_rows &spectra, body_rows &bodies);

    /// Makes ten samples of each of `count` frame samples, of which the first is entry kPhaseTaps -
    /// 1 of `frame`. What lies up to kFrameSlack entries behind them may be read, too.
    void (*interpolate)(const int16_t *frame, std::size_t count, int16_t *burst);

    /// Scales samples by a gain of up to 2^29, so that none leaves -32768 to 32768; 32768 is stored
    /// as 32767. Takes whole vectors alone, and returns how many samples that was.
    std::size_t (*scale_samples)(int16_t *samples, std::size_t count, int32_t gain_q14);

    /// Filters rows in place; the histories run on.
    void (*filter_rows)(filter_row *rows, std::size_t count, filter_histories &histories);
};

/// The fastest forms that this processor has.
const vector_stages &fastest_stages();

/// All that it has.
std::span<const vector_stages *const> available_stages();

namespace lanes4 {
extern const vector_stages stages;
}
namespace lanes8 {
extern const vector_stages stages; // on x86 alone
}

} // namespace tonelink
