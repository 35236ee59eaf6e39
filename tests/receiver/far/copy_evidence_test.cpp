// Which copies of a word hold a burst, and how strong these are: what a record tells of a sum.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "receiver/far/burst_decoder.h"
#include "receiver/far/copy_evidence.h"
#include "receiver/far/far_signals.h"

namespace tonelink::test {

namespace {

constexpr std::size_t kFirst = 9000, kPause = 4410; // samples at 44100 Hz

/// A copy's place in each write: # a burst, ! one that is 20 dB louder, . none.
struct sent_writes {
    std::string first, second;

    std::size_t count() const { return first.size() + second.size(); }
    char sign_of(std::size_t copy) const
    {
        return copy < first.size() ? first[copy] : second[copy - first.size()];
    }
    std::size_t sample_of(std::size_t copy) const
    {
        return kFirst + copy * kBurstSamples + (copy < first.size() ? 0 : kPause);
    }

    std::vector<float> samples() const
    {
        const auto burst = sent_bursts{.first_sample = 0}.samples();
        std::vector<float> sound(sample_of(count()) + 9000, 0);
        for (std::size_t copy = 0; copy < count(); ++copy) {
            const float gain = sign_of(copy) == '.' ? 0.0f : sign_of(copy) == '!' ? 10.0f : 1.0f;
            for (std::size_t n = 0; n < kBurstSamples; ++n)
                sound[sample_of(copy) + n] = gain * burst[n];
        }
        return sound;
    }

    copy_set places() const
    {
        copy_set copies;
        copies.add_write(place_at(double(sample_of(0))), first.size());
        if (!second.empty())
            copies.add_write(place_at(double(sample_of(first.size()))), second.size());
        return copies;
    }
};

class CopyEvidence : public testing::Test {
protected:
    CopyEvidence()
    {
        one_path_.channel.fill({1, 0});
        one_path_.gains.fill({1, 0});
    }

    present_copies look(const copy_set &copies, std::span<const float> sound)
    {
        const auto heard = kept(baseband_of(sound));
        decoder_->begin(copies);
        while (!decoder_->prepare(reader_, *heard)) {
        }
        return evidence_->look(copies, word_of(kShortMessage), decoder_->channel(), reader_,
                               *heard);
    }

    shared_channel one_path_; // at the place
    const cell_reader reader_;
    const std::unique_ptr<burst_decoder> decoder_ = std::make_unique<burst_decoder>();
    const std::unique_ptr<copy_evidence> evidence_ = std::make_unique<copy_evidence>();
};

} // namespace

/// Noise at the ends of a write is left out, in its middle not. What is told of the sum is told of
/// the bursts in it, loud ones and weak ones; behind each write is room for as many as went before.
TEST_F(CopyEvidence, EndsOfWritesWithoutABurstAreLeftOut)
{
    struct writes_case {
        sent_writes sent;
        double snr_db;
        std::vector<std::size_t> there; ///< the first and the last one of each write
    };
    for (const auto &[sent, snr_db, there] : {
             writes_case{{"#", ""}, -10, {0, 0}},
             {{"#####", ""}, -12, {0, 4}},
             {{"#####", ""}, 10, {0, 4}},
             {{".###.", ""}, -12, {1, 3}},
             {{"#....", ""}, -12, {0, 0}},
             {{"....#", ""}, -12, {4, 4}},
             {{"##.##", ""}, -12, {0, 4}},
             {{".!##.", ""}, -8, {1, 3}},
             {{"#..!.", ""}, -8, {0, 3}},
             {{"..!..", ""}, -8, {2, 2}},
             {{"#..!.", ""}, -24, {0, 3}},
             {{"#####", "#####"}, -12, {0, 4, 5, 9}},
             {{"..###", "##..."}, -12, {2, 4, 5, 6}},
             {{".....", ".##.."}, -12, {6, 7}},
             {{".##..", "....."}, -12, {1, 2}},
         }) {
        SCOPED_TRACE(sent.first + ' ' + sent.second);
        generator random{21};
        auto sound = sent.samples();
        add_noise(sound, snr_db, random);
        const copy_set copies = sent.places();
        const present_copies present = look(copies, sound);

        std::size_t count = 0, in_write = 0, second_write = 0;
        double power = 0;
        for (std::size_t n = 0; n < there.size(); n += 2) {
            const std::size_t begin = there[n] < sent.first.size() ? 0 : sent.first.size();
            second_write = in_write;
            for (std::size_t copy = there[n]; copy <= there[n + 1]; ++copy, ++count) {
                EXPECT_EQ(present.write.places[in_write + copy - there[n]].first_body,
                          copies.places[copy].first_body);
                power += sent.sign_of(copy) == '.' ? 0 : sent.sign_of(copy) == '!' ? 100 : 1;
            }
            in_write += there[n + 1] + 1 - begin; // with as many as were left out before it
            EXPECT_NEAR(present.write.places[in_write - 1].first_body -
                            copies.places[there[n]].first_body,
                        kCopyDistance * double(there[n + 1] - begin), 1e-6);
        }
        EXPECT_EQ(present.count, count);
        EXPECT_EQ(present.write.count, in_write);
        EXPECT_EQ(present.write.second_write, there.size() > 2 ? second_write : in_write);
        EXPECT_EQ(present.last.first_body, copies.places[there.back()].first_body);
        // In its band a burst is 10.3 dB more above the noise; 30 dB is the most that is told.
        EXPECT_NEAR(10 * std::log10(double{present.snr}),
                    std::min(snr_db + 10.3, 20.5) + 10 * std::log10(power / double(count)), 0.8);
    }
}

/// Far below the noise, where only sums are heard, bursts are still told from noise, and their
/// level is right on average; however quiet it all is.
TEST_F(CopyEvidence, WeakBurstsAreCounted)
{
    constexpr int kTrials = 30;
    struct weak_case {
        std::string first;
        double snr_db;
    };
    for (const auto &[first, snr_db] : {weak_case{"#####", -28.5}, {".###.", -26.5}}) {
        SCOPED_TRACE(first);
        const sent_writes sent{first, ""};
        const auto clean = sent.samples();
        double count = 0, snr = 0;
        for (unsigned trial = 0; trial < kTrials; ++trial) {
            generator random{200 + trial};
            auto sound = clean;
            add_noise(sound, snr_db, random);
            for (float &sample : sound) sample *= 1e-3f;
            const present_copies present = look(sent.places(), sound);
            count += double(present.count);
            snr += double{present.snr} / kTrials;
        }
        EXPECT_NEAR(count, double(std::ranges::count(first, '#')) * kTrials, 3);
        EXPECT_NEAR(10 * std::log10(snr), snr_db + 10.3, 0.5);
    }
}

/// What is spoilt by a tone or by clicks tells nothing of the burst.
TEST_F(CopyEvidence, TonesAndClicksAreNotCounted)
{
    const sent_writes sent{"###", ""};
    for (const bool is_tone : {false, true}) {
        SCOPED_TRACE(is_tone);
        generator random{22};
        auto sound = sent.samples();
        add_noise(sound, -5, random);
        for (std::size_t n = 0; n < sound.size(); ++n) {
            const bool clicks = n % 11000 < 20;
            if (is_tone)
                sound[n] += 0.2f * from_turns(subcarrier_hz(40) / 44100 * double(n)).re;
            else
                sound[n] += clicks ? 0.3f * complex_noise(random, 1).re : 0.0f;
        }
        const present_copies present = look(sent.places(), sound);
        EXPECT_EQ(present.count, 3u);
        EXPECT_NEAR(10 * std::log10(double{present.snr}), 10.3 - 5, 1);
    }
}

/// All paths within the delays of a channel's estimate count, before the place and behind it.
TEST_F(CopyEvidence, EchoesAreOfTheBurst)
{
    constexpr std::size_t kEarly = 50, kLate = 250; // samples at 44100 Hz
    generator random{25};
    const sent_writes sent{"###", ""};
    const auto straight = sent.samples();
    auto sound = straight;
    for (std::size_t n = kEarly + kLate; n < sound.size(); ++n)
        sound[n] += straight[n - kEarly] + straight[n - kEarly - kLate];
    add_noise(sound, -14, random);
    copy_set copies;
    copies.add_write(place_at(double(sent.sample_of(0) + kEarly)), 3);
    const auto heard = kept(baseband_of(sound));
    const present_copies present =
        evidence_->look(copies, word_of(kShortMessage), one_path_, reader_, *heard);
    EXPECT_EQ(present.count, 3u);
    // Three paths; the outer ones lose what does not fit the guards, which disturbs the others.
    EXPECT_NEAR(10 * std::log10(double{present.snr}), 10.3 - 14 + 4.8 - 1.1, 0.5);
}

/// Samples were lost where the first copy was to be.
TEST_F(CopyEvidence, SilenceIsNoBurst)
{
    generator random{24};
    const sent_writes sent{".##", ""};
    auto sound = sent.samples();
    add_noise(sound, -5, random);
    std::fill_n(sound.begin(), sent.sample_of(1), 0.0f);
    const copy_set copies = sent.places();
    const auto heard = kept(baseband_of(sound));
    const present_copies present =
        evidence_->look(copies, word_of(kShortMessage), one_path_, reader_, *heard);
    EXPECT_EQ(present.count, 2u);
    EXPECT_EQ(present.write.places[0].first_body, copies.places[1].first_body);
}

/// Where nothing can be told the copies stay as they are, and the level is a number: in silence,
/// with a channel that is none, and where squares are no numbers any more.
TEST_F(CopyEvidence, WhatCannotBeToldStays)
{
    generator random{23};
    const sent_writes sent{"##", "#"};
    const copy_set copies = sent.places();
    auto noise = sent.samples();
    add_noise(noise, 0, random);
    const auto tiny = [&](float scale) {
        auto samples = baseband_of(noise);
        for (float_complex &sample : samples) sample = sample * scale;
        return kept(samples);
    };
    const code_word word = word_of(kShortMessage);
    for (const auto &[channel, scale] : {std::pair{one_path_, 0.0f},
                                         {shared_channel{}, 1.0f},
                                         {one_path_, 1e-17f},
                                         {one_path_, 1e-18f},
                                         {one_path_, 1e-19f}}) {
        SCOPED_TRACE(scale);
        const present_copies present =
            evidence_->look(copies, word, channel, reader_, *tiny(scale));
        EXPECT_EQ(present.count, 3u);
        EXPECT_EQ(present.write.count, 3u);
        EXPECT_EQ(present.write.second_write, 2u);
        EXPECT_EQ(present.last.first_body, copies.places[2].first_body);
        EXPECT_TRUE(std::isfinite(std::log10(present.snr))) << present.snr;
    }
}

} // namespace tonelink::test
