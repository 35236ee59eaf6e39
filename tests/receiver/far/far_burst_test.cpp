// Bursts on their way through the far receiver's stages.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "receiver/far/burst_decoder.h"
#include "receiver/far/far_signals.h"
#include "receiver/far/path_message.h"
#include "receiver/far/steady_tones.h"

namespace tonelink::test {

namespace {

copy_set copies_at(double sample, double clock, std::size_t count)
{
    copy_set copies;
    burst_place first = place_at(sample);
    first.clock = clock;
    copies.add_write(first, count);
    return copies;
}

/// How far the pilots of each subcarrier lie from their mean, in the power of it.
double disagreement(const cell_grid &cells)
{
    double wrong = 0, power = 0;
    for (std::size_t i = 0; i < kSubcarriers; ++i) {
        float_complex mean{};
        for (std::size_t s = i % 2; s < kSymbols; s += 2) mean += cells[s][i] * 0.125f;
        for (std::size_t s = i % 2; s < kSymbols; s += 2) {
            wrong += double{power_of(cells[s][i] - mean)};
            power += double{power_of(mean)};
        }
    }
    return wrong / power;
}

} // namespace

TEST(FarBurst, PilotsOfACleanBurstAgree)
{
    const sent_bursts sent;
    const auto sound = sent.samples();
    const cell_reader reader;
    cell_grid cells;
    for (const auto use : {cell_reader::guard::left, cell_reader::guard::averaged}) {
        for (const double clock : {0.0, 800e-6, -800e-6}) {
            const auto heard = kept(baseband_of(clock == 0 ? sound : resampled(sound, clock)));
            const auto at = copies_at(double(sent.first_sample) / (1 + clock), clock, 1).places[0];
            reader.read(*heard, at, use, cells);
            // In the guards, the filters of both ends smear one symbol into the next.
            const double reached = use == cell_reader::guard::left ? -60 : -44;
            EXPECT_LT(10 * std::log10(disagreement(cells)), clock == 0 ? reached : -33.5) << clock;
        }
    }
}

TEST(FarBurst, BasebandDoesNotShowTheBlocks)
{
    const auto sound = sent_bursts{}.samples();
    const auto whole = baseband_of(sound, 441), single = baseband_of(sound, 1);
    ASSERT_EQ(single.size(), whole.size());
    for (std::size_t n = 0; n < whole.size(); ++n) {
        ASSERT_EQ(single[n].re, whole[n].re) << n;
        ASSERT_EQ(single[n].im, whole[n].im) << n;
    }
}

/// What lies before the stream, has not come yet or is not kept any more is silence, not what lies
/// in its place.
TEST(FarBurst, OnlyWhatIsKeptIsHeard)
{
    const auto front = std::make_unique<baseband>();
    const auto sound = std::make_unique<far_sound>();
    generator random{10};
    std::vector<float> noise(441);
    for (float &sample : noise) sample = complex_noise(random, 1).re;
    for (int64_t kept_before : {int64_t{0}, far_sound::kKept}) {
        while (sound->size() < kept_before + 1000) {
            front->put(noise);
            for (int n = 0; n < 44; ++n) sound->put({1, 0});
        }
        const auto expect = [](const auto &stream, int64_t kept) {
            const int64_t end = stream.size(), first = std::max<int64_t>(end - kept, 0);
            for (const int64_t n : {first, first + 1, end - 1})
                EXPECT_GT(power_of(stream.at(n)), 0) << n << " of " << end;
            for (const int64_t n : {first - 1, first - kept, end, end + kept - 1})
                EXPECT_EQ(power_of(stream.at(n)), 0) << n << " of " << end;
        };
        expect(*front, baseband::kKept);
        expect(*sound, far_sound::kKept);
    }
}

/// A tone that comes and goes leaves nothing behind where it is steady, a burst passes as it is,
/// and noise almost.
TEST(FarBurst, SteadyTonesAreTakenOut)
{
    const auto change = [](std::span<const float_complex> samples, auto &&tone) {
        const auto tones = std::make_unique<steady_tones>();
        std::vector<double> left; // of what was added, by hops
        for (std::size_t n = 0; n < samples.size() + steady_tones::kDelay; ++n) {
            const auto in = n < samples.size() ? samples[n] + tone(n) : float_complex{};
            const auto out = tones->put(in);
            if (n < steady_tones::kDelay) continue;
            const std::size_t at = n - steady_tones::kDelay;
            left.resize(at / 1024 + 1);
            left.back() += double{power_of(out - samples[at])} / 1024;
        }
        return left;
    };
    generator random{9};
    std::vector<float_complex> noise(20 * 1024);
    for (auto &sample : noise) sample = complex_noise(random, 1);
    const auto nothing = [](std::size_t) { return float_complex{}; };
    const auto tone = [](std::size_t n) {
        const bool sounds = n >= 4500 && n < 12000;
        return from_turns(0.1234 * double(n)) * (sounds ? 30.0f : 0.0f);
    };
    for (const double left : change(noise, nothing)) EXPECT_LT(left, 0.02);
    const auto with_tone = change(noise, tone);
    for (const std::size_t hop : {6u, 7u, 8u, 9u, 14u, 18u})
        EXPECT_LT(with_tone[hop], 0.02 + (hop < 11 ? 0.01 : 0)) << hop;
    for (const double left : change(std::vector<float_complex>(8192), nothing)) EXPECT_EQ(left, 0);

    const auto burst = baseband_of(sent_bursts{}.samples());
    double power = 0;
    for (const auto sample : burst) power += double{power_of(sample)} / 1024;
    double lost = 0;
    for (const double left : change(burst, nothing)) lost += left;
    EXPECT_LT(lost, 0.01 * power);
}

TEST(FarBurst, RefinementFindsPlaceAndClock)
{
    const cell_reader reader;
    const auto refiner = std::make_unique<copy_refiner>();
    generator random{8};
    const sent_bursts sent{.copies = 3};
    double late = 0, clock = 0;
    constexpr int kTrials = 20;
    for (int trial = 0; trial < kTrials; ++trial) {
        auto sound = sent.samples();
        add_noise(sound, -14, random);
        const auto heard = kept(baseband_of(sound));
        const double off = double(trial % 5) - 2; // samples; and 10 ppm for each
        auto copies = copies_at(double(sent.first_sample) + 10 * off, off * 10e-6, 3);
        refiner->begin(copies);
        while (!refiner->step(reader, *heard)) {
        }
        copies = refiner->copies();
        for (std::size_t copy = 0; copy < 3; ++copy) {
            const double first = double(sent.first_sample + copy * kBurstSamples);
            late += std::pow((copies.places[copy].first_sample() - first) / 10, 2);
            clock += std::pow(copies.places[copy].clock * 1e6, 2);
            EXPECT_GT(refiner->energies()[copy], 10);
        }
    }
    EXPECT_LT(std::sqrt(late / (3 * kTrials)), 0.7); // baseband samples
    EXPECT_LT(std::sqrt(clock / (3 * kTrials)), 12); // ppm
}

/// At these ratios nearly all bursts are read; the best path alone would miss many, and copies that
/// were not added up in phase, all.
TEST(FarBurst, FarBurstsAreRead)
{
    struct far_case {
        std::string message;
        std::size_t copies;
        double snr_db;
    };
    const cell_reader reader;
    const auto decoder = std::make_unique<burst_decoder>();
    const auto paths = std::make_unique<path_list>();
    for (const auto &[message, copies, snr_db] :
         {far_case{kShortMessage, 1, -18.5}, far_case{kLongMessage, 1, -17},
          far_case{kShortMessage, 5, -25}, far_case{kLongMessage, 10, -26}}) {
        int right = 0;
        constexpr int kTrials = 10;
        for (int trial = 0; trial < kTrials; ++trial) {
            generator random{std::uint64_t(trial)};
            const sent_bursts sent{message, copies};
            auto sound = sent.samples();
            add_noise(sound, snr_db, random);
            const auto heard = kept(baseband_of(sound));
            decoder->begin(copies_at(double(sent.first_sample) + 6, 20e-6, copies));
            while (!decoder->prepare(reader, *heard)) {
            }
            decoder->look(bits_in(message));
            decoder->look_again();
            decoder->look_again();
            paths->begin(decoder->values(), 64);
            while (paths->next())
                if (passes_crc_check(paths->bits(), bits_in(message)))
                    right += message_of(paths->bits(), bits_in(message)) == value_of(message);
        }
        EXPECT_GE(right, kTrials - 1) << message << ' ' << copies;
    }
    const auto silence = kept(std::vector<float_complex>(30000));
    decoder->begin(copies_at(20000, 0, 2));
    while (!decoder->prepare(reader, *silence)) {
    }
    EXPECT_TRUE(decoder->is_silent());
}

} // namespace tonelink::test
