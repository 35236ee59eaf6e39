// The code's half of the far receiver: held to brute force where all paths can be written down.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>

#include "modem/channel_encoder.h"
#include "receiver/far/far_signals.h"
#include "receiver/far/forward_backward.h"
#include "receiver/far/path_list.h"
#include "receiver/far/path_message.h"

namespace tonelink::test {

namespace {

/// So few bits go into the code that all words can be tried.
constexpr std::size_t kFreeBits = 8;
constexpr std::size_t kWords = 1 << kFreeBits;
constexpr std::size_t kShortSteps = kFreeBits + kTailBits;

code_values random_values(generator &random, float size)
{
    std::normal_distribution<float> normal;
    code_values values{};
    values.steps = kShortSteps;
    for (std::size_t t = 0; t < values.steps; ++t)
        for (float &value : values.of[t]) value = size * normal(random);
    return values;
}

/// The three different code bits of each step of a word, by the code's definition.
std::array<std::array<int, kStepValues>, kShortSteps> encode_word(std::size_t word)
{
    std::array<std::array<int, kStepValues>, kShortSteps> bits{};
    unsigned recent = 0;
    for (std::size_t t = 0; t < kShortSteps; ++t) {
        recent = (recent << 1 | (t < kFreeBits ? word >> t & 1 : 0)) & 127;
        for (std::size_t k = 0; k < kStepValues; ++k)
            bits[t][k] = std::popcount(recent & genPolynomialIndex[k]) & 1;
    }
    return bits;
}

double metric_of(const code_values &values, std::size_t word)
{
    const auto bits = encode_word(word);
    double sum = 0;
    for (std::size_t t = 0; t < kShortSteps; ++t)
        for (std::size_t k = 0; k < kStepValues; ++k)
            sum += bits[t][k] ? -double{values.of[t][k]} : double{values.of[t][k]};
    return sum;
}

} // namespace

TEST(FarCode, ProbabilitiesAreThoseOfAllWords)
{
    generator random{1};
    const auto code = std::make_unique<forward_backward>();
    for (const float size : {0.3f, 2.0f, 9.0f}) {
        const code_values values = random_values(random, size);
        double sum = 0;
        std::array<std::array<double, kStepValues>, kShortSteps> expected{};
        for (std::size_t word = 0; word < kWords; ++word) {
            const double probability = std::exp(metric_of(values, word) / 2);
            const auto bits = encode_word(word);
            sum += probability;
            for (std::size_t t = 0; t < kShortSteps; ++t)
                for (std::size_t k = 0; k < kStepValues; ++k)
                    expected[t][k] += (2 * bits[t][k] - 1) * probability;
        }
        expected_bits found{};
        EXPECT_NEAR(code->forward(values), std::log(sum), 1e-4);
        code->backward(values, found);
        for (std::size_t t = 0; t < kShortSteps; ++t)
            for (std::size_t k = 0; k < kStepValues; ++k)
                EXPECT_NEAR(double{found[t][k]}, expected[t][k] / sum, 1e-4) << t;
    }
}

TEST(FarCode, PathsComeInOrder)
{
    generator random{2};
    const auto paths = std::make_unique<path_list>();
    for (const float size : {0.0f, 0.5f, 4.0f}) {
        const code_values values = random_values(random, size);
        std::vector<double> wanted;
        for (std::size_t word = 0; word < kWords; ++word) wanted.push_back(metric_of(values, word));
        std::ranges::sort(wanted, std::greater{});

        paths->begin(values, path_list::kMostPaths);
        std::vector<bool> seen(kWords);
        for (const double metric : wanted) {
            ASSERT_TRUE(paths->next());
            const auto word = static_cast<std::size_t>(paths->bits().words[0]);
            ASSERT_LT(word, kWords);
            EXPECT_FALSE(seen[word]);
            seen[word] = true;
            EXPECT_NEAR(double{paths->metric()}, metric, 1e-3);
            EXPECT_NEAR(metric_of(values, word), metric, 1e-3);
        }
        EXPECT_FALSE(paths->next());
    }
}

/// Where the queue must leave out what cannot come any more, the order stays what it was.
TEST(FarCode, ALongListBeginsAsAShortOne)
{
    generator random{3};
    std::normal_distribution<float> normal{0, 1};
    code_values values{};
    values.steps = steps_of(48);
    for (auto &step : values.of)
        for (float &value : step) value = normal(random);
    const auto longer = std::make_unique<path_list>(), shorter = std::make_unique<path_list>();
    longer->begin(values, path_list::kMostPaths);
    shorter->begin(values, 64);
    float last = INFINITY;
    for (std::size_t n = 0; n < path_list::kMostPaths; ++n) {
        ASSERT_TRUE(longer->next());
        EXPECT_LE(longer->metric(), last);
        last = longer->metric();
        if (n >= 64) continue;
        ASSERT_TRUE(shorter->next());
        EXPECT_EQ(shorter->bits(), longer->bits());
    }
    EXPECT_FALSE(longer->next());
    EXPECT_FALSE(shorter->next());
}

TEST(FarCode, OnlyTheSentPathHasTheCrc)
{
    const auto check = [](const auto &input, const std::string &message) {
        path_bits path;
        for (std::size_t n = 0; n + kTailBits < input.size(); ++n)
            if (input[n] != 0) path.set(n);
        EXPECT_TRUE(passes_crc_check(path, bits_in(message)));
        EXPECT_EQ(message_of(path, bits_in(message)), value_of(message));
        for (std::size_t n = 0; n + kTailBits < input.size(); ++n) {
            path_bits wrong = path;
            wrong.words[n / 64] ^= uint64_t{1} << n % 64;
            EXPECT_FALSE(passes_crc_check(wrong, bits_in(message))) << n;
        }
    };
    const auto bits = bits_of(kLongMessage);
    const std::span all{bits};
    check(mask_tail_Message<32>(all.first<32>(), message_crc<32>(all.first<32>())), kShortMessage);
    check(mask_tail_Message<48>(all.first<48>(), message_crc<48>(all.first<48>())), kLongMessage);
}

} // namespace tonelink::test
