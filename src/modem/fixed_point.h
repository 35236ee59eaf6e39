// The fixed-point arithmetic of the modem: 16-bit samples and spectra, Q15 tables, 32-bit products,
// arithmetic right shifts, results cut to their low 16 bits. Saturation is never hidden in here.
#pragma once

#include <cstdint>

namespace tonelink {

/// The low 16 bits of `x` as int16: how every stage stores its result. Wraps, never saturates.
constexpr int16_t low16(int32_t x) { return static_cast<int16_t>(x); }

/// a b in Q15, rounded down: -32767 to 32768, the latter for -1 times -1 alone.
constexpr int32_t mul_q15(int16_t a, int16_t b) { return (int32_t{a} * b) >> 15; }

/// |x|, so that -32768 counts as 32768.
constexpr int32_t magnitude(int16_t x) { return x < 0 ? -int32_t{x} : int32_t{x}; }

} // namespace tonelink
