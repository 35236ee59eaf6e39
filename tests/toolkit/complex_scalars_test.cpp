#include "tonelink/toolkit.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>
#include <utility>
#include <vector>

namespace {

template <class Complex> struct result {
    const char *what;
    Complex actual, expected;
};

template <class Complex> void expect_all(const std::vector<result<Complex>> &results)
{
    for (const auto &[what, actual, expected] : results)
        EXPECT_EQ(std::pair(actual.re, actual.im), std::pair(expected.re, expected.im)) << what;
}

// What small whole numbers give in all three types alike.
#define EXPECT_SMALL_NUMBERS(C, R)                                                                 \
    expect_all<C>({                                                                                \
        {#C "_one", C##_one(), {1, 0}},                                                            \
        {#C "_zero", C##_zero(), {0, 0}},                                                          \
        {#C "_conj", C##_conj({3, -4}), {3, 4}},                                                   \
        {#C "_add", C##_add({3, 4}, {1, -2}), {4, 2}},                                             \
        {#C "_sub", C##_sub({3, 4}, {1, -2}), {2, 6}},                                             \
        {#C "_mul", C##_mul({3, 4}, {1, -2}), {11, -2}},                                           \
        {#C "_mul_real", C##_mul_real({3, -4}, -2), {-6, 8}},                                      \
        {#C "_div_real", C##_div_real({6, -8}, -2), {-3, 4}},                                      \
        {#C "_div_real by 0", C##_div_real({6, -8}, 0), {0, 0}},                                   \
        {#C "_div", C##_div({11, -2}, {1, -2}), {3, 4}},                                           \
        {#C "_div by 0", C##_div({11, -2}, {0, 0}), {0, 0}},                                       \
    });                                                                                            \
    EXPECT_EQ(C##_get_real({3, 4}), R{3});                                                         \
    EXPECT_EQ(C##_get_imag({3, 4}), R{4});                                                         \
    EXPECT_EQ(C##_square({3, -4}), R{25});
TEST(Complex, SmallNumbers){TONELINK_COMPLEX_TYPES(EXPECT_SMALL_NUMBERS)}
#undef EXPECT_SMALL_NUMBERS

TEST(Complex, SixteenBitsKeepTheLowHalf)
{
    constexpr int16_t low = INT16_MIN, high = INT16_MAX;
    expect_all<cplx16>({
        {"conj", cplx16_conj({0, low}), {0, low}},
        {"add", cplx16_add({high, low}, {1, -1}), {low, high}},
        {"sub", cplx16_sub({low, high}, {1, -1}), {high, low}},
        {"mul", cplx16_mul({200, 0}, {200, 0}), {-25536, 0}},
        {"mul, a sum of 2^31", cplx16_mul({low, low}, {low, low}), {0, 0}},
        {"mul_real", cplx16_mul_real({low, 300}, -1), {low, -300}},
        {"div_real, toward zero", cplx16_div_real({-7, 7}, 2), {-3, 3}},
        {"div_real", cplx16_div_real({low, low}, -1), {low, low}},
        {"div, by 10000", cplx16_div({1000, 0}, {100, 0}), {10, 0}},
        {"div, by 40000 - 65536", cplx16_div({1000, 0}, {200, 0}), {-7, 0}},
        {"div, by 65536 - 65536", cplx16_div({1000, 0}, {256, 0}), {0, 0}},
        {"div, by 65537 - 65536", cplx16_div({high, 0}, {256, 1}), {-256, -high}},
    });
    EXPECT_EQ(cplx16_square({300, 0}), 24464);
    EXPECT_EQ(cplx16_square({low, low}), 0);
    EXPECT_EQ(cplx16_abs({3, 4}), 0);
    EXPECT_EQ(cplx16_arg({0, 1}), 0);
    if constexpr (std::endian::native == std::endian::little) {
        EXPECT_EQ(std::bit_cast<uint32_t>(cplx16_one()), 1u);
    }
}

TEST(Complex, ThirtyTwoBitsWrap)
{
    constexpr int32_t low = INT32_MIN, high = INT32_MAX;
    expect_all<cplx32>({
        {"conj", cplx32_conj({0, low}), {0, low}},
        {"add", cplx32_add({high, low}, {1, -1}), {low, high}},
        {"sub", cplx32_sub({low, high}, {1, -1}), {high, low}},
        {"mul", cplx32_mul({1 << 16, 3}, {1 << 16, 1 << 15}), {-98304, low + 196608}},
        {"mul, extreme", cplx32_mul({low, high}, {high, low}), {0, 1}},
        {"mul_real", cplx32_mul_real({low, 1 << 30}, 3), {low, -(1 << 30)}},
        {"div_real, toward zero", cplx32_div_real({-7, 7}, 2), {-3, 3}},
        {"div_real, no quotient", cplx32_div_real({low, high}, -1), {low, -high}},
        {"div, by 2^32", cplx32_div({5, 5}, {1 << 16, 0}), {0, 0}},
    });
    EXPECT_EQ(cplx32_square({46341, 0}), -2147479015);
    EXPECT_EQ(cplx32_abs({3, 4}), 0);
    EXPECT_EQ(cplx32_arg({0, 1}), 0);
}

TEST(Complex, SinglePrecisionStepByStep)
{
    constexpr float infinity = std::numeric_limits<float>::infinity();
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    // The square of x is 1 + 2^-11 + 2^-24; its last bit is lost before the subtraction.
    constexpr float x = 1.0f + 0x1p-12f, x_squared = 1.0f + 0x1p-11f;
    expect_all<cplx>({
        {"mul", cplx_mul({x, 1}, {x, x_squared}), {0, x * x_squared + x}},
        {"div", cplx_div({1, 2}, {0, 4}), {0.5f, -0.25f}},
        {"div_real by -0", cplx_div_real({1, 2}, -0.0f), {0, 0}},
        {"div, a divisor whose square is 0", cplx_div({1, 2}, {1e-30f, 0}), {0, 0}},
    });
    EXPECT_TRUE(std::signbit(cplx_conj({1, 0}).im));
    EXPECT_TRUE(std::isnan(cplx_div_real({1, 2}, nan).re));
    EXPECT_TRUE(std::isnan(cplx_div({1, 2}, {nan, 0}).im));
    EXPECT_EQ(cplx_abs({3, -4}), 5.0f);
    EXPECT_EQ(cplx_abs({3e20f, 0}), infinity) << "the square is beyond single precision";
    EXPECT_EQ(cplx_arg({0, 1}), 1.57079637f);
    EXPECT_EQ(cplx_arg({-1, -0.0f}), -3.14159274f);
    EXPECT_EQ(cplx_arg({0, 0}), 0.0f);
}

} // namespace
