// Takes steady tones out of the baseband: whistles of displays, power supplies, other senders. The
// subcarriers of a burst last one symbol each and are too wide to be taken for tones.
#pragma once

#include <array>
#include <cstddef>

#include "receiver/float_complex.h"
#include "receiver/fourier_transform.h"

namespace tonelink {

class steady_tones {
public:
    steady_tones();

    /// Samples come out so many later.
    static constexpr std::size_t kDelay = 2048;

    /// Takes a sample of the baseband; returns the one of kDelay before without tones.
    float_complex put(float_complex sample);

    /// Begins a new stream.
    void restart();

private:
    static constexpr std::size_t kFrame = 2048; // 0.46 s: bins are 2.15 Hz apart
    static constexpr std::size_t kHop = kFrame / 2;

    void find_tones();

    fourier_transform<kFrame> transform_;
    std::array<float_complex, kHop> older_{}, newer_{}; // the last two hops
    std::array<float_complex, kHop> cleaned_{};         // the one before them
    std::array<float_complex, kHop> carried_{};         // tones of the last frame's second half
    std::size_t fill_ = 0;
    std::array<float_complex, kFrame> frame_;
    std::array<float, kFrame> window_;
};

} // namespace tonelink
