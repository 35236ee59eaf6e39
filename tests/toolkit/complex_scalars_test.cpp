#include "tonelink/toolkit.h"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cmath>
#include <limits>
#include <vector>

#include "support/signals.h"

namespace {

#define EXPECT_COMPLEX(actual, real, imaginary)                                                    \
    do {                                                                                           \
        const auto [re, im] = actual;                                                              \
        EXPECT_EQ(re, (real)) << #actual;                                                          \
        EXPECT_EQ(im, (imaginary)) << #actual;                                                     \
    } while (false)

/// What a sum or a product of integers is in 32 bits.
int64_t in_32_bits(int64_t x) { return static_cast<int32_t>(static_cast<uint64_t>(x)); }
int64_t times(int64_t x, int64_t y) { return in_32_bits(x * y); }

// All operations of an integer type on two numbers and a factor, by exact arithmetic whose results
// are cut to the type's parts.
#define EXPECT_INTEGERS(C, P)                                                                      \
    void expect_operations(C a, C b, P k)                                                          \
    {                                                                                              \
        const auto cut = [](int64_t value) { return static_cast<P>(in_32_bits(value)); };          \
        const int64_t x = a.re, y = a.im, u = b.re, v = b.im;                                      \
        const int64_t n = cut(times(u, u) + times(v, v)); /* cut before it divides */              \
        const int64_t real = in_32_bits(times(x, u) + times(y, v));                                \
        const int64_t imaginary = in_32_bits(times(y, u) - times(x, v));                           \
        EXPECT_COMPLEX(C##_conj(a), x, cut(-y));                                                   \
        EXPECT_COMPLEX(C##_add(a, b), cut(x + u), cut(y + v));                                     \
        EXPECT_COMPLEX(C##_sub(a, b), cut(x - u), cut(y - v));                                     \
        EXPECT_COMPLEX(C##_mul(a, b), cut(times(x, u) - times(y, v)),                              \
                       cut(times(x, v) + times(y, u)));                                            \
        EXPECT_COMPLEX(C##_mul_real(a, k), cut(x *k), cut(y *k));                                  \
        EXPECT_COMPLEX(C##_div_real(a, k), k ? cut(x / k) : 0, k ? cut(y / k) : 0);                \
        EXPECT_COMPLEX(C##_div(a, b), n ? cut(real / n) : 0, n ? cut(imaginary / n) : 0);          \
        EXPECT_COMPLEX(C##_one(), 1, 0);                                                           \
        EXPECT_COMPLEX(C##_zero(), 0, 0);                                                          \
        EXPECT_TRUE(C##_get_real(a) == x && C##_get_imag(a) == y);                                 \
        EXPECT_EQ(C##_square(b), n);                                                               \
        EXPECT_TRUE(C##_arg(a) == 0 && C##_abs(a) == 0);                                           \
    }
EXPECT_INTEGERS(cplx16, int16_t)
EXPECT_INTEGERS(cplx32, int32_t)
#undef EXPECT_INTEGERS

template <class Complex, class Part> void expect_all_operations()
{
    constexpr auto low = std::numeric_limits<Part>::min(), high = std::numeric_limits<Part>::max();
    tonelink::test::lcg random{1};
    std::vector<Part> parts = {0, 1, -1, 2, 100, 200, 256, low, high, -high};
    while (parts.size() < 14)
        parts.push_back(static_cast<Part>(random.next() * int64_t{high} / 40000));
    for (const Part x : parts)
        for (const Part y : parts)
            for (const Part u : parts)
                for (const Part v : parts) expect_operations(Complex{x, y}, Complex{u, v}, v);
}

TEST(Complex, IntegersWrapAndTruncate)
{
    expect_all_operations<cplx16, int16_t>();
    expect_all_operations<cplx32, int32_t>();
    const auto parts = std::bit_cast<std::array<int16_t, 2>>(cplx16_one());
    EXPECT_EQ(parts[0], 1) << "the real part comes first";
}

TEST(Complex, SinglePrecisionStepByStep)
{
    // The square of x is 1 + 2^-11 + 2^-24; its last bit is lost before the subtraction.
    constexpr float x = 1.0f + 0x1p-12f, x_squared = 1.0f + 0x1p-11f;
    EXPECT_COMPLEX(cplx_sub({3, 4}, {1, -2}), 2, 6);
    EXPECT_COMPLEX(cplx_mul({3, 4}, {1, -2}), 11, -2);
    EXPECT_COMPLEX(cplx_mul({x, 1}, {x, x_squared}), 0, x * x_squared + x);
    EXPECT_COMPLEX(cplx_div_real({3, 4}, -2), -1.5f, -2);
    EXPECT_COMPLEX(cplx_div_real({3, 4}, -0.0f), 0, 0);
    EXPECT_COMPLEX(cplx_div({11, -2}, {1, -2}), 3, 4);
    EXPECT_COMPLEX(cplx_div({3, 4}, {1e-30f, 0}), 0, 0); // its square is 0
    EXPECT_TRUE(std::signbit(cplx_conj({1, 0}).im) && std::isnan(cplx_div_real({3, 4}, NAN).re));
    EXPECT_EQ(cplx_abs({3, -4}), 5.0f);
    EXPECT_EQ(cplx_abs({3e20f, 0}), HUGE_VALF) << "the square is beyond single precision";
    EXPECT_EQ(cplx_arg({0, 1}), 1.57079637f);
    EXPECT_EQ(cplx_arg({-1, -0.0f}), -3.14159274f);
}

} // namespace
