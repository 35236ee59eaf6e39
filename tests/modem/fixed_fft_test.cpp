#include "modem/fixed_fft.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "support/signals.h"
#include "tonelink/modem.h"
#include "toolkit/scoped_vector.h"

namespace tonelink {

using test::hash16;
using test::noise;

namespace {

struct outcome {
    int32_t exponent;
    std::vector<int16_t>
        values; // real parts, then imaginary parts; samples alone of an inverse symbol
};

outcome transform_in_place(const std::string &kind, int16_t m, int16_t inverse,
                           std::vector<int16_t> data)
{
    int16_t *const re = data.data();
    int16_t *const im = re + data.size() / 2;
    const int32_t exponent = kind == "fix_fft" ? fix_fft(re, im, m, inverse) : fix_ifft(re, im, m);
    return {exponent, data};
}

outcome make_samples(const std::vector<int16_t> &data)
{
    scoped_vector<cvec16> bins;
    scoped_vector<vec16> samples;
    cvec16_set_length(&bins, 64);
    vec16_set_length(&samples, 128);
    for (int32_t k = 0; k < 64; ++k) {
        const auto at = static_cast<std::size_t>(k);
        cvec16_set_value(&bins, {data[at], data[64 + at]}, k);
    }
    const int32_t exponent = snfc_ifft_fxp(&bins, &samples);
    return {exponent, {samples.data, samples.data + 128}};
}

outcome make_bins(const std::vector<int16_t> &data)
{
    scoped_vector<cvec16> bins;
    scoped_vector<vec16> samples;
    vec16_set_length(&samples, 128);
    std::copy_n(data.begin(), 128, samples.data);
    outcome result = {snfc_fft_fxp(&samples, &bins), {}};
    for (int32_t k = 0; k < 64; ++k) result.values.push_back(bins.data[k].re);
    for (int32_t k = 0; k < 64; ++k) result.values.push_back(bins.data[k].im);
    return result;
}

outcome transformed(const std::string &kind, int16_t m, int16_t inverse,
                    const std::vector<int16_t> &data)
{
    if (kind == "snfc_ifft_fxp") return make_samples(data);
    if (kind == "snfc_fft_fxp") return make_bins(data);
    return transform_in_place(kind, m, inverse, data);
}

} // namespace

TEST(Transforms, MeetTheIndependentModel)
{
    const struct {
        const char *kind;
        int16_t m;
        int16_t inverse;
        uint32_t seed;
        int32_t div;
        bool poke; // entry 1 becomes -32768
        int32_t exponent;
        const char *known;
    } cases[] = {
        {"fix_fft", 3, 0, 90001, 1, false, 3, "a953268203a808f0"},
        {"fix_fft", 3, 0, 90002, 600, false, 0, "e94891f461f810c5"},
        {"fix_fft", 3, 0, 90003, 500, true, 2, "cf25a8ecbaf140e2"},
        {"fix_fft", 3, 1, 90004, 1, false, 3, "88ed4d4afd5cd15a"},
        {"fix_fft", 3, 1, 90005, 600, false, 0, "8684754f9ca9d7c4"},
        {"fix_fft", 3, 1, 90006, 500, true, 2, "738778ebecc5cfed"},
        {"fix_fft", 6, 0, 90007, 1, false, 5, "f84422571e2a9700"},
        {"fix_fft", 6, 0, 90008, 600, false, 0, "5d9bb91088fd2d53"},
        {"fix_fft", 6, 0, 90009, 500, true, 2, "3393dde5c8a561ef"},
        {"fix_fft", 13, 0, 90010, 1, false, 9, "4b849f4857bbb829"},
        {"fix_fft", 13, 0, 90011, 600, false, 0, "d0d8dd052fa080a5"},
        {"fix_fft", 13, 0, 90012, 500, true, 2, "45514f353d375947"},
        {"fix_ifft", 3, 1, 90013, 1, false, 3, "1dd75e85a634dc15"},
        {"fix_ifft", 3, 1, 90014, 600, false, 0, "fccf964926517971"},
        {"fix_ifft", 3, 1, 90015, 500, true, 2, "e42afa4bf23d7851"},
        {"fix_ifft", 7, 1, 90016, 1, false, 5, "40dce71a9457920d"},
        {"fix_ifft", 7, 1, 90017, 600, false, 0, "af2baa9b221ec244"},
        {"fix_ifft", 7, 1, 90018, 500, true, 2, "2b92fb09e915156f"},
        {"snfc_ifft_fxp", 6, 1, 90019, 1, false, 5, "502a7bd104810020"},
        {"snfc_ifft_fxp", 6, 1, 90020, 600, false, 0, "e32a381ca2a71f8d"},
        {"snfc_ifft_fxp", 6, 1, 90021, 500, true, 2, "2ca5d5b3fbf5cebd"},
        {"snfc_fft_fxp", 7, 0, 90022, 1, false, 5, "c609ae7e05c3615a"},
        {"snfc_fft_fxp", 7, 0, 90023, 600, false, 0, "6724552cecd8b9a4"},
        {"snfc_fft_fxp", 7, 0, 90024, 500, true, 2, "9f3afde3646f2d32"},
    };
    for (const auto &c : cases) {
        auto data = noise(std::size_t{2} << c.m, c.seed, 1, c.div);
        if (c.poke) data[1] = -32768;
        const outcome result = transformed(c.kind, c.m, c.inverse, data);
        EXPECT_EQ(result.exponent, c.exponent) << c.kind << " " << c.seed;
        EXPECT_EQ(hash16(result.values), c.known) << c.kind << " " << c.seed;
    }
}

TEST(Transforms, RefuseSizesOutOfRangeAndLeaveOnePoint)
{
    const auto data = noise(16384, /*seed=*/7);
    for (const int16_t m : {int16_t{14}, int16_t{15}, int16_t{100}, int16_t{-1}, int16_t{-32768}}) {
        auto re = data;
        auto im = data;
        EXPECT_EQ(fix_fft(re.data(), im.data(), m, 0), -1) << m;
        EXPECT_EQ(fix_ifft(re.data(), im.data(), m), -1) << m;
        EXPECT_TRUE(re == data && im == data) << m;
    }
    int16_t re = -32768;
    int16_t im = 14001;
    EXPECT_EQ(fix_fft(&re, &im, 0, 0), 0);
    EXPECT_EQ(fix_ifft(&re, &im, 0), 0);
    EXPECT_TRUE(re == -32768 && im == 14001);
}

TEST(Transforms, HalveAboveTheirThreshold)
{
    const struct {
        int16_t value;
        int32_t forward;
        int32_t inverse;
    } cases[] = {{14000, 0, 0}, {14001, 1, 0}, {-14001, 1, 0},
                 {16383, 1, 0}, {16384, 1, 1}, {-32768, 2, 1}};
    for (const auto &c : cases) {
        for (const bool imaginary : {false, true}) {
            std::vector<int16_t> data(
                16, 0); // one value alone: no stage makes it grow, and -32768 counts as 32768
            data[imaginary ? 8 + 5 : 5] = c.value;
            EXPECT_EQ(transformed("fix_fft", 3, 0, data).exponent, c.forward)
                << c.value << imaginary;
            EXPECT_EQ(transformed("fix_ifft", 3, 1, data).exponent, c.inverse)
                << c.value << imaginary;
        }
    }
}

TEST(SymbolTransform, MakesACosineOfOneBin)
{
    std::vector<int16_t> spectrum(128, 0);
    spectrum[4] = 8192;
    const outcome symbol = make_samples(spectrum);
    EXPECT_EQ(symbol.exponent, 0);
    EXPECT_EQ(symbol.values[0], 8191);
    EXPECT_EQ(symbol.values[16], -8191);
    for (std::size_t t = 0; t < 128; ++t)
        EXPECT_NEAR(symbol.values[t],
                    8192 * std::cos(std::numbers::pi * static_cast<double>(t) / 16), 6)
            << t;
}

TEST(SymbolTransform, ForwardUndoesInverse)
{
    auto spectrum = noise(128, /*seed=*/11);
    for (auto &part : spectrum) part = part < 0 ? int16_t{-32767} : int16_t{32767};
    spectrum[0] = spectrum[64] = 0; // bin 0 stays unused
    const outcome symbol = make_samples(spectrum);
    const outcome bins = make_bins(symbol.values);
    for (std::size_t i = 0; i < spectrum.size(); ++i) {
        if (i % 64 == 0) continue;
        const double expected = 64.0 * spectrum[i] / std::exp2(symbol.exponent + bins.exponent);
        EXPECT_NEAR(bins.values[i], expected, 40) << i;
    }
}

TEST(SymbolTransform, GivesVectorsTheirLength)
{
    scoped_vector<vec16> samples;
    scoped_vector<cvec16> bins;
    vec16_set_length(&samples, 5);
    EXPECT_EQ(snfc_fft_fxp(&samples, &bins), 0); // of 128 zeros
    EXPECT_EQ(samples.length, 128);
    ASSERT_EQ(bins.length, 64);
    for (int32_t k = 0; k < 64; ++k) EXPECT_TRUE(bins.data[k].re == 0 && bins.data[k].im == 0) << k;
}

} // namespace tonelink
