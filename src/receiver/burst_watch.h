// Sees bursts, read or not: by how their pilots turn from symbol to symbol.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "receiver/baseband.h"
#include "receiver/float_lanes.h"
#include "receiver/fourier_transform.h"

namespace tonelink {

/// Compares each pilot with the one two symbols later. In a burst they are turned by the same,
/// which is its clock's error; elsewhere by any. Windows of eight places in each symbol, 4 ms
/// apart, lie in the lanes of vectors, so that those of one burst are the same lane of symbols in a
/// row.
class burst_watch {
public:
    burst_watch();

    /// Looks at what has come of the sound since the last call.
    void look(const baseband &sound);

    /// About the first sample, at 44100 Hz, of the next burst that was seen, or nothing. Of
    /// sightings less than a burst apart the clearest one is told, once a burst's time has passed
    /// without a clearer one.
    std::optional<double> take();

    /// Begins a new stream.
    void restart();

private:
    using lane_complex = basic_complex<floats>;
    static constexpr std::size_t kWindows = 8; // a symbol
    static constexpr std::size_t kHalves = kWindows / kFloatLanes;
    static constexpr int64_t kWindowStep = kSymbolSamples / kWindows;
    using lane_row = std::array<lane_complex, kSubcarriers>;

    void read_symbol(const baseband &sound, int64_t first, lane_row &row) const;
    floats compare(std::size_t half) const;
    void note(float clearness, int64_t first_body);

    fourier_transform<kBodySamples> transform_;
    std::array<std::array<float_complex, kSubcarriers>, kSymbols> descrambling_; // of a comparison
    int64_t symbols_ = 0;                                                        // looked at
    std::array<std::array<lane_row, kHalves>, kSymbols> rows_;                   // the last ones

    float best_ = 0; // since the last sighting
    int64_t best_body_ = 0;
    int64_t now_ = 0; // first body of the burst that ends with the last symbol
};

} // namespace tonelink
