// The pilots' matched filter over time and clock, as it is computed while the sound comes in: for
// each symbol's time, the energies of bursts that could begin there and are complete now. In fewer
// steps than by its definition, which reference/pilot_map.h has.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "receiver/far/map_stages.h"
#include "receiver/float_complex.h"

namespace tonelink {

class pilot_map {
public:
    /// So many places come together: the first bodies of bursts begin there, one sample apart.
    static constexpr int64_t kBlock = kSymbolSamples;

    /// Places lie between samples: the first body of a burst at place 0 begins at sample -8.5.
    static constexpr double sample_at(int64_t place)
    {
        return static_cast<double>(place) - (kMapDelays - 1) / 2.0;
    }

    explicit pilot_map(const map_stages &stages = fastest_map_stages()) : stages_{&stages}
    {
        restart();
    }

    /// Begins a new stream.
    void restart();

    /// Takes the next sample of the baseband; returns whether a block of energies is complete.
    bool put(float_complex sample);

    /// The block's first place; below 0 for the first blocks, of bursts before the stream.
    int64_t first_place() const { return kBlock * (symbols_ - int64_t{kSymbols}); }

    /// The energies of the block: place 18 h + d is hop h and delay d. In noise, of any level, they
    /// are exponential with mean 1.
    float energy(std::size_t offset, std::size_t delay, std::size_t hop) const
    {
        return energies_[offset / kNearOffsets].of[offset % kNearOffsets][delay][hop];
    }
    const float (&energies(std::size_t offset, std::size_t delay) const)[kMapHops]
    {
        return energies_[offset / kNearOffsets].of[offset % kNearOffsets][delay];
    }

private:
    static constexpr std::size_t kWindow = kBodySamples + (kMapHops - 1) * kMapHop;

    void make_block();
    void measure_levels(const hop_spectra &spectra);
    void measure_subcarriers(const hop_spectra &spectra);

    const map_stages *stages_;
    const map_tables tables_;

    std::array<float_complex, kWindow> window_; // the samples of the next symbol's bodies
    std::size_t fill_ = 0;
    int64_t symbols_ = 0; // that have come

    hop_bodies bodies_;
    std::array<std::array<hop_spectra, kSymbols>, kRotations> ring_;
    std::array<near_energies, kRotations> energies_;

    alignas(32) std::array<float, kMapHops> scales_; // to noise of power 1
    std::array<float, kSubcarriers> means_;          // of the subcarriers' powers, about a second's
    std::array<float, kSubcarriers> weights_;
};

} // namespace tonelink
