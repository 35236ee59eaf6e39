// Radix-2 transforms in block floating point, decimation in time, on separate real and imaginary
// parts. They allocate nothing.
#include "modem/fixed_fft.h"

#include <algorithm>
#include <array>
#include <utility>

#include "modem/fixed_point.h"
#include "tonelink/modem.h"

namespace tonelink {

namespace {

constexpr int kLog2LargestTransform = 13;
constexpr int32_t kForwardThreshold = 14000; // a stage that meets a larger part halves its data
constexpr int32_t kInverseThreshold = 16383;

using parts = std::span<int16_t>;

/// Swaps every element with the one at its index read backwards in binary.
void reverse_bits(parts re, parts im)
{
    const std::size_t n = re.size();
    std::size_t reversed = 0;
    for (std::size_t i = 1; i < n; ++i) {
        std::size_t bit = n >> 1;
        while (reversed & bit) {
            reversed ^= bit;
            bit >>= 1;
        }
        reversed |= bit;
        if (reversed > i) {
            std::swap(re[i], re[reversed]);
            std::swap(im[i], im[reversed]);
        }
    }
}

bool any_above(std::span<const int16_t> values, int32_t threshold)
{
    return std::any_of(values.begin(), values.end(),
                       [=](int16_t x) { return magnitude(x) > threshold; });
}

/// The butterflies of one stage: pairs `span` apart, each group of 2 `span` with its own twiddles.
/// `halve` is 1 where the stage halves its data, else 0.
void run_stage(parts re, parts im, std::size_t span, bool inverse, int halve)
{
    const std::size_t stride = 4096 / span; // from one twiddle to the next in the sine table
    for (std::size_t q = 0; q < span; ++q) {
        const int32_t sine = Sinewave[q * stride];
        const int32_t wr = Sinewave[q * stride + 2048] >> halve;
        const int32_t wi = (inverse ? sine : -sine) >> halve;
        for (std::size_t i = q; i < re.size(); i += 2 * span) {
            const std::size_t p = i + span;
            // Both products, then one shift: at most 32768 sqrt(2) 32768, below 2^31.
            const int32_t tr = (wr * re[p] - wi * im[p]) >> 15;
            const int32_t ti = (wr * im[p] + wi * re[p]) >> 15;
            const int32_t qr = re[i] >> halve;
            const int32_t qi = im[i] >> halve;
            re[p] = low16(qr - tr);
            im[p] = low16(qi - ti);
            re[i] = low16(qr + tr);
            im[i] = low16(qi + ti);
        }
    }
}

/// The whole transform of re.size() points, a power of two; returns the number of halvings.
int32_t run_transform(parts re, parts im, bool inverse, int32_t threshold)
{
    reverse_bits(re, im);
    int32_t exponent = 0;
    for (std::size_t span = 1; span < re.size(); span *= 2) {
        const int halve = any_above(re, threshold) || any_above(im, threshold) ? 1 : 0;
        exponent += halve;
        run_stage(re, im, span, inverse, halve);
    }
    return exponent;
}

/// The exported transforms: `m` is the logarithm of the size, checked here.
int32_t checked_transform(int16_t *re, int16_t *im, int16_t m, bool inverse, int32_t threshold)
{
    if (m < 0 || m > kLog2LargestTransform) return -1;
    const std::size_t n = std::size_t{1} << m;
    return run_transform({re, n}, {im, n}, inverse, threshold);
}

/// Bin k of the 128-point transform from bins k (a) and 64 - k (b) of the 64-point one, which took
/// the samples in pairs as complex numbers.
cplx16 split_bin(std::size_t k, cplx16 a, cplx16 b)
{
    const int32_t wr = Sinewave[64 * k + 2048];
    const int32_t wi = Sinewave[64 * k];
    // Differences and sums of two parts times a Q15 factor: at most 32767 x 65535, below 2^31.
    const int32_t re =
        ((a.re + b.re) - ((wi * (a.re - b.re)) >> 15) + ((wr * (a.im + b.im)) >> 15)) >> 1;
    const int32_t im =
        -(((a.im - b.im) - ((wi * (a.im + b.im)) >> 15) - ((wr * (a.re - b.re)) >> 15)) >> 1);
    return {low16(re), low16(im)};
}

} // namespace

int32_t inverse_symbol_transform(std::span<const cplx16, kSpectrumSize> spectrum,
                                 std::span<int16_t, kBodySamples> body)
{
    // Real and imaginary parts change places on the way in, and the result is the imaginary part on
    // the way out: that turns the complex sum into the real one of cosines and sines.
    std::array<int16_t, kBodySamples> swapped_re{};
    std::fill(body.begin(), body.end(), int16_t{0});
    for (std::size_t k = 0; k < kSpectrumSize; ++k) {
        body[k] = spectrum[k].re;
        swapped_re[k] = spectrum[k].im;
    }
    return run_transform(swapped_re, body, true, kInverseThreshold);
}

int32_t forward_symbol_transform(std::span<const int16_t, kBodySamples> body,
                                 std::span<cplx16, kSpectrumSize> spectrum)
{
    std::array<int16_t, kSpectrumSize> re;
    std::array<int16_t, kSpectrumSize> im;
    for (std::size_t k = 0; k < kSpectrumSize; ++k) {
        re[k] = body[2 * k];
        im[k] = body[2 * k + 1];
    }
    const int32_t exponent = run_transform(re, im, false, kForwardThreshold);
    for (std::size_t k = 0; k < kSpectrumSize; ++k) {
        const std::size_t mirror = (kSpectrumSize - k) % kSpectrumSize;
        spectrum[k] = split_bin(k, {re[k], im[k]}, {re[mirror], im[mirror]});
    }
    return exponent;
}

} // namespace tonelink

int32_t fix_fft(int16_t *re, int16_t *im, int16_t m, int16_t inverse)
{
    return tonelink::checked_transform(re, im, m, inverse != 0, tonelink::kForwardThreshold);
}

int32_t fix_ifft(int16_t *re, int16_t *im, int16_t m)
{
    return tonelink::checked_transform(re, im, m, true, tonelink::kInverseThreshold);
}

int32_t snfc_ifft_fxp(const cvec16 *spectrum, vec16 *samples)
{
    using namespace tonelink;
    return inverse_symbol_transform(
        std::span<const cplx16, kSpectrumSize>{spectrum->data, kSpectrumSize},
        std::span<int16_t, kBodySamples>{samples->data, kBodySamples});
}

int32_t snfc_fft_fxp(vec16 *samples, cvec16 *spectrum)
{
    using namespace tonelink;
    // A vector of another length gets fresh storage; zeros are what is transformed then.
    if (vec16_set_length(samples, kBodySamples) != 0) vec16_clear(samples);
    cvec16_set_length(spectrum, kSpectrumSize);
    if (samples->length == 0 || spectrum->length == 0) return -1;
    return forward_symbol_transform(
        std::span<const int16_t, kBodySamples>{samples->data, kBodySamples},
        std::span<cplx16, kSpectrumSize>{spectrum->data, kSpectrumSize});
}
