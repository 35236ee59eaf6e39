// Finds where bursts are in a sound without reading their messages, by cyclic-prefix correlation:
// the prefix of a symbol and the first samples of its body come again one body later, as the body's
// end and the suffix; nothing else in a burst comes again.
//
// The band is mixed down to 0 Hz and resampled to 2756.25 Hz, where a body is 80 samples long and a
// prefix 5. There each position is scored by how much the extensions of 16 symbols correlate with
// their copies, less how much other samples do: near 1 for a clean burst, near 0 for noise, and
// near 0 for tones, which agree everywhere.
#pragma once

#include <complex>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include <samplerate.h>

namespace tonelink::tool {

struct found_burst {
    double start_s; ///< of its first sample, from the start of the sound
    double fit;     ///< how well it agrees with a burst's structure, up to 1
};

/// Takes a sound block by block and keeps no more than some seconds of it, however long it is.
class burst_finder {
public:
    explicit burst_finder(double sample_rate);

    void put(std::span<const float> samples);

    /// The bursts of the whole sound in order of time. Nothing may be put afterwards.
    std::vector<found_burst> finish();

    /// Whether the sample rate leaves room for the band at all; nothing is found otherwise.
    static bool has_band(double sample_rate);

private:
    struct candidate {
        int64_t position;
        double weight;
        found_burst burst;
    };

    void resample(bool last);
    void search();
    void consider(std::size_t at);
    std::vector<found_burst> choose();
    double correlation_elsewhere(std::size_t at) const;
    double evenness(std::size_t at) const;
    double mean_correlation(std::size_t at, std::size_t symbols) const;
    std::complex<double> correlation(std::size_t from, std::size_t to) const;

    double sample_rate_;
    std::unique_ptr<SRC_STATE, decltype(&src_delete)> resampler_;
    std::complex<double> oscillator_{1, 0};
    std::vector<float> mixed_;              // at the sound's rate, real and imaginary parts in turn
    std::vector<std::complex<float>> band_; // after resampling, from sample `band_start_` on
    int64_t band_start_ = 0;
    std::vector<std::complex<double>> products_; // running sums over `band_`: x(t) conj x(t + body)
    std::vector<double> energies_;               // and |x(t)|^2
    std::vector<candidate> candidates_;          // at most some dozen for each burst
};

} // namespace tonelink::tool
