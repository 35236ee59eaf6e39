// Complex scalars of the three element types: the operations once, as templates, and their C names
// stamped from the list of types. Pure functions; integers wrap, nothing is rescaled.

#include "tonelink/toolkit.h"

#include <cmath>

namespace tonelink {
namespace {

template <class Complex> using part_of = decltype(Complex::re);

/// A number as sums and products count it: floats as they are, integers in 32 bits that wrap.
float widen(float x) { return x; }
uint32_t widen(int32_t x) { return static_cast<uint32_t>(x); }

template <class Wide> struct wide_parts {
    Wide re;
    Wide im;
};

template <class Complex> auto wide_parts_of(Complex a)
{
    return wide_parts<decltype(widen(a.re))>{widen(a.re), widen(a.im)};
}

/// A result with its parts cut to the type's own: the low 16 bits for `cplx16`.
template <class Complex, class Wide> Complex narrow(Wide re, Wide im)
{
    using part = part_of<Complex>;
    return {static_cast<part>(re), static_cast<part>(im)};
}

float divide(float dividend, float divisor) { return dividend / divisor; }
/// The quotient of signed numbers, toward zero.
uint32_t divide(uint32_t dividend, uint32_t divisor)
{
    const auto signed_divisor = static_cast<int32_t>(divisor);
    if (signed_divisor == -1) return 0u - dividend; // -2^31 / -1 has no int32 and wraps
    return static_cast<uint32_t>(static_cast<int32_t>(dividend) / signed_divisor);
}

template <class Complex> Complex add(Complex a, Complex b)
{
    const auto x = wide_parts_of(a), y = wide_parts_of(b);
    return narrow<Complex>(x.re + y.re, x.im + y.im);
}

template <class Complex> Complex sub(Complex a, Complex b)
{
    const auto x = wide_parts_of(a), y = wide_parts_of(b);
    return narrow<Complex>(x.re - y.re, x.im - y.im);
}

template <class Complex> Complex conj(Complex a)
{
    return {a.re, static_cast<part_of<Complex>>(-widen(a.im))};
}

template <class Complex> Complex mul(Complex a, Complex b)
{
    const auto x = wide_parts_of(a), y = wide_parts_of(b);
    return narrow<Complex>(x.re * y.re - x.im * y.im, x.re * y.im + x.im * y.re);
}

template <class Complex> Complex mul_real(Complex a, part_of<Complex> k)
{
    const auto x = wide_parts_of(a);
    return narrow<Complex>(x.re * widen(k), x.im * widen(k));
}

template <class Complex> Complex div_real(Complex a, part_of<Complex> d)
{
    if (d == 0) return {};
    const auto x = wide_parts_of(a);
    return narrow<Complex>(divide(x.re, widen(d)), divide(x.im, widen(d)));
}

template <class Complex> part_of<Complex> square(Complex a)
{
    const auto x = wide_parts_of(a);
    return static_cast<part_of<Complex>>(x.re * x.re + x.im * x.im);
}

template <class Complex> Complex div(Complex a, Complex b)
{
    // Cut to the part's width before it divides, so that `cplx16` divides by a signed 16-bit
    // number.
    const auto squared_magnitude = square(b);
    if (squared_magnitude == 0) return {};
    const auto x = wide_parts_of(a), y = wide_parts_of(b);
    const auto n = widen(squared_magnitude);
    return narrow<Complex>(divide(x.re * y.re + x.im * y.im, n),
                           divide(x.im * y.re - x.re * y.im, n));
}

/// The integer types have neither angle nor magnitude.
template <class Complex> part_of<Complex> arg(Complex) { return 0; }
float arg(cplx a) { return static_cast<float>(std::atan2(double{a.im}, double{a.re})); }

template <class Complex> part_of<Complex> abs(Complex) { return 0; }
float abs(cplx a) { return std::sqrt(square(a)); }

} // namespace
} // namespace tonelink

#define DEFINE_COMPLEX(C, P, R)                                                                    \
    C C##_one(void) { return {1, 0}; }                                                             \
    C C##_zero(void) { return {0, 0}; }                                                            \
    C C##_conj(C a) { return tonelink::conj(a); }                                                  \
    R C##_get_real(C a) { return a.re; }                                                           \
    R C##_get_imag(C a) { return a.im; }                                                           \
    C C##_add(C a, C b) { return tonelink::add(a, b); }                                            \
    C C##_sub(C a, C b) { return tonelink::sub(a, b); }                                            \
    C C##_mul(C a, C b) { return tonelink::mul(a, b); }                                            \
    C C##_mul_real(C a, P k) { return tonelink::mul_real(a, k); }                                  \
    C C##_div_real(C a, P d) { return tonelink::div_real(a, d); }                                  \
    C C##_div(C a, C b) { return tonelink::div(a, b); }                                            \
    R C##_square(C a) { return tonelink::square(a); }                                              \
    R C##_arg(C a) { return tonelink::arg(a); }                                                    \
    R C##_abs(C a) { return tonelink::abs(a); }
TONELINK_COMPLEX_TYPES(DEFINE_COMPLEX)
#undef DEFINE_COMPLEX
