// The mirror that turns the spectrum round: what is sent mirrored is heard mirrored back.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace tonelink {

/// Negates every second sample, from sample `first` (0 or 1) on: a component at f moves to half the
/// sample rate less f. -32768 stays as it is.
void mirror_spectrum(std::span<int16_t> samples, std::size_t first);

} // namespace tonelink
