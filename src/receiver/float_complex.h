// Complex numbers in single precision for the receiver's estimates, of one value or of a vector of
// them. The language's own multiply by way of a function that this library does not carry.
#pragma once

#include <cmath>
#include <type_traits>

namespace tonelink {

template <class Real> struct basic_complex {
    Real re;
    Real im;

    basic_complex &operator+=(basic_complex other)
    {
        re += other.re;
        im += other.im;
        return *this;
    }
    friend basic_complex operator+(basic_complex a, basic_complex b)
    {
        return {a.re + b.re, a.im + b.im};
    }
    friend basic_complex operator-(basic_complex a, basic_complex b)
    {
        return {a.re - b.re, a.im - b.im};
    }
};

using float_complex = basic_complex<float>;

template <class Real>
inline basic_complex<Real> operator*(basic_complex<Real> a, basic_complex<Real> b)
{
    return {a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re};
}

/// A vector times the same factor in every lane.
template <class Real>
requires(!std::is_same_v<Real, float>) inline basic_complex<Real> operator*(basic_complex<Real> a,
                                                                            float_complex b)
{
    return {a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re};
}

inline float_complex operator*(float_complex a, float b) { return {a.re * b, a.im * b}; }

template <class Real> inline basic_complex<Real> conjugate(basic_complex<Real> a)
{
    return {a.re, -a.im};
}

/// The squared magnitude.
template <class Real> inline Real power_of(basic_complex<Real> a)
{
    return a.re * a.re + a.im * a.im;
}

/// The angle in turns, -1/2 to 1/2.
inline float turns_of(float_complex a) { return std::atan2(a.im, a.re) * 0.15915494f; }

/// Of magnitude 1 at an angle in turns, which may be any.
inline float_complex from_turns(double turns)
{
    const double angle = (turns - std::floor(turns)) * 6.283185307179586;
    return {static_cast<float>(std::cos(angle)), static_cast<float>(std::sin(angle))};
}

} // namespace tonelink
