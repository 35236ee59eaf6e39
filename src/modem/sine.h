// A sine that is a constant expression, from which the tables of sines and windows are made.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tonelink {

/// The nearest integer, limited to 32767 above.
constexpr int16_t round_to_int16(double x)
{
    const auto nearest = static_cast<int32_t>(x < 0 ? x - 0.5 : x + 0.5);
    return static_cast<int16_t>(nearest > 32767 ? 32767 : nearest);
}

/// sin(2 pi x) for x from 0 to 1/4, by its power series; the terms left out are below 1e-15.
constexpr double sine_of_turn(double x)
{
    const double angle = 2 * 3.14159265358979323846 * x;
    double term = angle;
    double sum = angle;
    for (int n = 3; n <= 21; n += 2) {
        term *= -angle * angle / (n * (n - 1));
        sum += term;
    }
    return sum;
}

/// 32768 sin(2 pi i / period), rounded to the nearest integer and at most 32767.
constexpr int16_t sine_q15(std::size_t i, std::size_t period)
{
    const std::size_t in_half = i % period % (period / 2);
    const std::size_t in_quarter = in_half <= period / 4 ? in_half : period / 2 - in_half;
    const double x =
        32768.0 * sine_of_turn(static_cast<double>(in_quarter) / static_cast<double>(period));
    return round_to_int16(i % period < period / 2 ? x : -x);
}

} // namespace tonelink
