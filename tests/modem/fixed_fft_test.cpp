#include "modem/fixed_fft.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>

#include "support/failing_memory.h"
#include "support/signals.h"
#include "tonelink/modem.h"
#include "toolkit/scoped_vector.h"

namespace tonelink::test {

namespace {

// Every transform in place on real and imaginary parts that are the halves of one array.

int32_t forward(int16_t *re, int16_t *im, int16_t m) { return fix_fft(re, im, m, 0); }

int32_t inverse(int16_t *re, int16_t *im, int16_t m) { return fix_fft(re, im, m, 1); }

// The symbol's transforms, between 64 complex numbers and 128 samples in the same place.
struct symbol_place {
    cplx16 numbers[64];
    vec16 samples = {&numbers[0].re, 128};
    cvec16 spectrum = {numbers, 64};
};

int32_t make_samples(int16_t *re, int16_t *im, int16_t)
{
    symbol_place at;
    for (std::size_t k = 0; k < 64; ++k) at.numbers[k] = {re[k], im[k]};
    const int32_t exponent = snfc_ifft_fxp(&at.spectrum, &at.samples);
    std::memcpy(re, at.numbers, sizeof at.numbers);
    return exponent;
}

int32_t make_spectrum(int16_t *re, int16_t *im, int16_t)
{
    symbol_place at;
    std::memcpy(at.numbers, re, sizeof at.numbers);
    const int32_t exponent = snfc_fft_fxp(&at.samples, &at.spectrum);
    std::ranges::transform(at.numbers, re, &cplx16::re);
    std::ranges::transform(at.numbers, im, &cplx16::im);
    return exponent;
}

} // namespace

TEST(Transforms, MeetTheIndependentModel)
{
    using row = std::array<const char *, 3>;
    uint32_t seed = 90000;
    for (const auto &[run, m, at_full_scale, known] : {
             std::tuple{&forward, 3, 3,
                        row{"a953268203a808f0", "e94891f461f810c5", "cf25a8ecbaf140e2"}},
             {&inverse, 3, 3, {"88ed4d4afd5cd15a", "8684754f9ca9d7c4", "738778ebecc5cfed"}},
             {&forward, 6, 5, {"f84422571e2a9700", "5d9bb91088fd2d53", "3393dde5c8a561ef"}},
             {&forward, 13, 9, {"4b849f4857bbb829", "d0d8dd052fa080a5", "45514f353d375947"}},
             {&fix_ifft, 3, 3, {"1dd75e85a634dc15", "fccf964926517971", "e42afa4bf23d7851"}},
             {&fix_ifft, 7, 5, {"40dce71a9457920d", "af2baa9b221ec244", "2b92fb09e915156f"}},
             {&make_samples, 6, 5, {"502a7bd104810020", "e32a381ca2a71f8d", "2ca5d5b3fbf5cebd"}},
             {&make_spectrum, 6, 5, {"c609ae7e05c3615a", "6724552cecd8b9a4", "9f3afde3646f2d32"}},
         }) {
        // At full scale, quietly, and quietly but for one value.
        for (std::size_t level = 0; level < 3; ++level) {
            auto data = noise(std::size_t{2} << m, ++seed, 1, std::array{1, 600, 500}[level]);
            if (level == 2) data[1] = -32768;
            const int32_t exponent =
                run(data.data(), &data[data.size() / 2], static_cast<int16_t>(m));
            EXPECT_EQ(exponent, (std::array{at_full_scale, 0, 2}[level])) << seed;
            EXPECT_EQ(hash16(data), known[level]) << seed;
        }
    }
}

TEST(Transforms, RefuseSizesOutOfRangeAndLeaveOnePoint)
{
    const auto data = noise(16384, /*seed=*/7);
    for (const int m : {14, 15, 100, -1, -32768, 0}) {
        auto re = data, im = data;
        const auto size = static_cast<int16_t>(m);
        EXPECT_EQ(fix_fft(re.data(), im.data(), size, 0), m == 0 ? 0 : -1) << m;
        EXPECT_EQ(fix_ifft(re.data(), im.data(), size), m == 0 ? 0 : -1) << m;
        EXPECT_TRUE(re == data && im == data) << m;
    }
}

TEST(Transforms, HalveAboveTheirThresholds)
{
    for (const auto &[value, by_fft, by_ifft] :
         {std::tuple{14000, 0, 0}, {14001, 1, 0}, {-16383, 1, 0}, {-16384, 1, 1}}) {
        std::array<int16_t, 2> re = {static_cast<int16_t>(value)}, im = {}, again = re;
        EXPECT_EQ(fix_fft(re.data(), im.data(), 1, 1), by_fft) << value;
        EXPECT_EQ(fix_ifft(again.data(), im.data(), 1), by_ifft) << value;
    }
}

TEST(Transforms, GiveVectorsTheirLengthOrSayThatThereIsNoMemory)
{
    scoped_vector<vec16> samples;
    scoped_vector<cvec16> spectrum;
    for (const std::size_t n : {0u, 1u, 2u}) {
        vec16_set_length(&samples, 128);
        std::fill_n(samples.data, 128, int16_t{1}); // memory that is likely to be handed out again
        vec16_set_length(&samples, 5);
        cvec16_free(&spectrum);
        const failing_allocation failure{n};
        EXPECT_EQ(snfc_fft_fxp(&samples, &spectrum), n < 2 ? -1 : 0) << n;
    }
    EXPECT_TRUE(samples.length == 128 && spectrum.length == 64);
    for (int32_t i = 0; i < 128; ++i) EXPECT_EQ(samples.data[i], 0) << i;
}

} // namespace tonelink::test
