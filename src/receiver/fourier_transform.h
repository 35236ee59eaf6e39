// The discrete Fourier transform of a power of two of complex numbers, in place.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <span>
#include <utility>

#include "receiver/float_complex.h"

namespace tonelink {

/// Radix 2, decimation in time: X[k] = sum over t of x[t] e^(-j 2 pi k t / Size).
template <std::size_t Size> class fourier_transform {
public:
    static_assert(std::has_single_bit(Size) && Size >= 4);

    fourier_transform()
    {
        for (std::size_t i = 0; i < factors_.size(); ++i)
            factors_[i] = from_turns(-static_cast<double>(i) / Size);
    }

    /// Of single numbers, or of several rows in the lanes of vectors.
    template <class Real> void operator()(std::span<basic_complex<Real>, Size> values) const
    {
        reverse_order(values);
        for (std::size_t half = 1; half < Size; half *= 2) {
            const std::size_t stride = Size / (2 * half);
            for (std::size_t block = 0; block < Size; block += 2 * half) {
                for (std::size_t i = 0; i < half; ++i) {
                    const auto a = values[block + i];
                    const auto b = values[block + half + i] * factors_[i * stride];
                    values[block + i] = a + b;
                    values[block + half + i] = a - b;
                }
            }
        }
    }

private:
    template <class Real> static void reverse_order(std::span<basic_complex<Real>, Size> values)
    {
        std::size_t mirrored = 0;
        for (std::size_t i = 0; i < Size; ++i) {
            if (i < mirrored) std::swap(values[i], values[mirrored]);
            std::size_t carry = Size / 2;
            while ((mirrored & carry) != 0) {
                mirrored ^= carry;
                carry /= 2;
            }
            mirrored |= carry;
        }
    }

    std::array<float_complex, Size / 2> factors_;
};

} // namespace tonelink
