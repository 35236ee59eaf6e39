#include <cmath>
#include <cstring>

#include "common/plain/high_pass.h"
#include "modem/filter_taps.h"
#include "support/library_fixture.h"

namespace tonelink {

namespace {

class HighPass : public test::library_test {};

} // namespace

TEST_F(HighPass, MeetsTheKnownAnswers)
{
    // From an independent model: noise from silent histories, and the histories it leaves.
    const struct {
        uint32_t seed;
        int32_t div;
        const char *hash;
        std::array<float, 3> inputs;
        std::array<float, 3> outputs;
    } cases[] = {{81,
                  1,
                  "2873d3f3f4c78014",
                  {0x1.128798p+11f, 0x1.0d8804p+11f, -0x1.16b994p+8f},
                  {-0x1.1a7216p+13f, 0x1.621f46p+12f, -0x1.3348e4p+12f}},
                 {82,
                  90,
                  "7569c889632a44a6",
                  {0x1.c67b3cp+4f, 0x1.1ab2cp+4f, -0x1.7ecad8p+4f},
                  {0x1.2cd00cp+5f, -0x1.332p+6f, 0x1.11dbb4p+5f}}};
    for (const auto &c : cases) {
        SetUp();
        auto samples = test::noise(4000, c.seed, 1, c.div);
        const std::span row{samples};
        for (const std::size_t at : {0u, 1u, 3u}) high_pass(row.subspan(at, at + 1)); // cuts do
        high_pass(row.subspan(7));                                                    // not show
        EXPECT_EQ(test::hash16(samples), c.hash);
        EXPECT_TRUE(std::ranges::equal(c.inputs, xv));
        EXPECT_TRUE(std::ranges::equal(c.outputs, yv));
    }
}

TEST_F(HighPass, FastFormEqualsThePlainOne)
{
    std::vector<std::vector<int16_t>> signals = {test::noise(30000, 1),
                                                 test::noise(30000, 2, 1, 30000)};
    signals.emplace_back(30000, 32767);
    auto &extreme = signals.emplace_back(test::noise(30000, 3));
    for (auto &s : extreme) s = s < 0 ? int16_t{-32768} : int16_t{32767};
    // Silence behind a sound: outputs fade for ever, which a part that starts from rest misses.
    auto &fading = signals.emplace_back(30000, 0);
    for (const std::size_t at : {0u, 1000u, 9000u, 9001u}) fading[at] = 30000;
    auto &gaps = signals.emplace_back(test::noise(30000, 4));
    for (std::size_t i = 0; i < gaps.size(); ++i)
        if (i / 700 % 2 == 1) gaps[i] = 0;

    for (std::size_t n = 0; n < signals.size(); ++n)
        for (const std::size_t size : {1u, 2u, 2047u, 2048u, 2049u, 2177u, 8193u, 23170u, 30000u}) {
            SetUp();
            auto expected = signals[n];
            const auto cut = std::span{expected}.first(size);
            plain::high_pass(cut);
            plain::high_pass(cut); // from where the first pass has left the histories
            const std::vector<float> inputs(xv, xv + 3), outputs(yv, yv + 3);
            for (const vector_stages *stages : available_stages()) {
                SetUp();
                auto samples = signals[n];
                high_pass(std::span{samples}.first(size), *stages);
                high_pass(std::span{samples}.first(size), *stages);
                ASSERT_EQ(samples, expected) << n << ", " << size;
                ASSERT_EQ(std::memcmp(xv, inputs.data(), sizeof xv), 0) << n << ", " << size;
                ASSERT_EQ(std::memcmp(yv, outputs.data(), sizeof yv), 0) << n << ", " << size;
            }
        }
}

TEST_F(HighPass, ReciprocalOfTheGainIsAsGoodAsTheGain)
{
    for (int s = -32768; s <= 32767; ++s)
        ASSERT_EQ(static_cast<float>(s * (1 / kHighPassGain)),
                  static_cast<float>(s / kHighPassGain));
}

TEST_F(HighPass, TakesAwayTheBottomAndKeepsTheTop)
{
    std::vector<int16_t> samples(2000, 12000);
    high_pass(samples);
    EXPECT_EQ(samples.back(), 0);
    for (std::size_t i = 0; i < samples.size(); ++i) samples[i] = i % 2 ? -20000 : 20000;
    high_pass(samples);
    EXPECT_NEAR(std::abs(samples.back()), 20000, 1);
}

} // namespace tonelink
