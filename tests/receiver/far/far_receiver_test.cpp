// The far receiver as a stream's receiver: what it tells, once, and how few trials of the CRC that
// takes.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "modem/channel_encoder.h"
#include "receiver/far/far_receiver.h"
#include "receiver/far/far_signals.h"
#include "receiver/far/path_message.h"

namespace tonelink::test {

namespace {

struct reception {
    std::vector<far_message> messages;
    int64_t trials = 0;
};

/// The sound and its end, in ticks of 10 ms. Nothing comes later than two seconds after the last
/// burst that it was heard from.
reception receive_by(far_receiver &receiver, std::span<const float> sound)
{
    const auto samples = baseband_of(sound);
    reception all;
    std::size_t put_samples = 0;
    const auto put = [&](std::span<const float_complex> tick) {
        receiver.put(tick);
        put_samples += tick.size();
        for (far_message message; receiver.take(message);) {
            all.messages.push_back(message);
            const double end = message.last_sample + double{kBurstSamples};
            EXPECT_LE(10 * double(put_samples) - end, 2 * 44100);
        }
    };
    constexpr std::size_t kTick = 44;
    for (std::size_t at = 0; at < samples.size(); at += kTick)
        put(std::span{samples}.subspan(at, std::min(kTick, samples.size() - at)));
    receiver.end_stream();
    const std::vector<float_complex> silence(kTick);
    for (int tick = 0; tick < 60 || !receiver.is_idle(); ++tick) put(silence);
    all.trials = receiver.trials().trials();
    return all;
}

reception receive(std::span<const float> sound, message_lengths lengths = message_lengths::both)
{
    const auto receiver = std::make_unique<far_receiver>(lengths);
    return receive_by(*receiver, sound);
}

void expect_message(const far_message &message, const std::string &sent)
{
    EXPECT_EQ(message.length, bits_in(sent));
    EXPECT_EQ(message.bits, value_of(sent));
}

/// Honest soft values of random cells: as sure as they say.
float honest_value(bool bit, double strength, generator &random)
{
    std::normal_distribution<double> normal{strength, std::sqrt(2 * strength)};
    return static_cast<float>(bit ? -normal(random) : normal(random));
}

channel_bits channel_of(const std::string &message) { return encode_channel(bits_of(message)); }

} // namespace

/// The evidence of honest values is a likelihood ratio: chance exceeds x with e^-x at most. A word
/// of the code is recognised as one, as one of its length, and as itself.
TEST(FarReceiver, EvidenceIsALikelihoodRatio)
{
    generator random{1};
    const auto code = std::make_unique<forward_backward>();
    const channel_bits sent = channel_of(kShortMessage);
    known_words words;
    words.add(word_of(kShortMessage), 0);
    words.add(word_of(kLongMessage), 0);
    std::array<int, 2> over{}, likely{};
    int recognised = 0, mistaken = 0;
    constexpr int kTrials = 1000;
    for (int trial = 0; trial < kTrials; ++trial) {
        for (const bool is_word : {false, true}) {
            data_values data;
            for (std::size_t n = 0; n < data.size(); ++n)
                data[n] = honest_value(is_word ? sent[n] != 0 : random() % 2 == 0, 0.45, random);
            const double randomness = randomness_of(data);
            for (const std::size_t bits : {32u, 48u}) {
                const code_values values = sum_repeats(data, bits);
                const double evidence = code->forward(values) -
                                        0.6931471805599453 * double(bits + kCrcBits) - randomness;
                if (!is_word) over[bits == 48] += evidence > 2;
                if (is_word) likely[bits == 48] += evidence > 0;
                const auto *const known = words.find(values, bits, randomness, 100);
                if (known == nullptr) continue;
                if (is_word && bits == 32)
                    ++recognised;
                else
                    ++mistaken;
            }
        }
    }
    const double chance = std::exp(-2) * kTrials;
    EXPECT_LT(over[0], chance + 3 * std::sqrt(chance));
    EXPECT_LT(over[1], chance + 3 * std::sqrt(chance));
    EXPECT_GT(likely[0], 0.95 * kTrials);
    EXPECT_LT(likely[1], 0.1 * kTrials);
    EXPECT_GT(recognised, 0.99 * kTrials);
    EXPECT_LE(mistaken, 2);
    // Forgotten after ten seconds.
    data_values loud;
    for (std::size_t n = 0; n < loud.size(); ++n) loud[n] = sent[n] != 0 ? -3.0f : 3.0f;
    const code_values values = sum_repeats(loud, 32);
    EXPECT_NE(words.find(values, 32, randomness_of(loud), 44000), nullptr);
    EXPECT_EQ(words.find(values, 32, randomness_of(loud), 44200), nullptr);
}

/// Paths share their candidate's probability, the best one most; the list holds more right words
/// than its first path.
TEST(FarReceiver, PathsShareTheProbability)
{
    generator random{2};
    const auto code = std::make_unique<forward_backward>();
    const auto likely = std::make_unique<likely_paths>();
    const channel_bits sent = channel_of(kShortMessage);
    const path_bits word = word_of(kShortMessage).bits;
    int listed = 0, first = 0, early = 0;
    double said_early = 0;
    for (int trial = 0; trial < 200; ++trial) {
        data_values data;
        for (std::size_t n = 0; n < data.size(); ++n)
            data[n] = honest_value(sent[n] != 0, 0.35, random);
        const code_values values = sum_repeats(data, 32);
        likely->begin(values, 0.5, code->forward(values));
        while (likely->find(128)) {
        }
        double sum = 0, of_first = 0;
        int rank = -1;
        for (std::size_t n = 0; n < likely->size(); ++n) {
            EXPECT_LE(likely->probability(n), likely->probability(n > 0 ? n - 1 : 0));
            sum += double{likely->probability(n)};
            if (n < 10) of_first = sum;
            if (likely->bits(n) == word) rank = int(n);
        }
        EXPECT_LE(sum, 0.5001);
        if (rank < 0) continue;
        ++listed;
        first += rank == 0;
        early += rank < 10;
        said_early += of_first / sum;
    }
    EXPECT_GT(listed, 1.3 * first);
    // The temperature is for values that are too sure; of honest ones the first are right more
    // often.
    EXPECT_GT(early, said_early - 3 * std::sqrt(listed));
}

TEST(FarReceiver, TrialsAreGrantedAndSpentInOrder)
{
    const auto queue = std::make_unique<path_queue>();
    queue->restart();
    uint64_t next_word = 1;
    const auto put = [&](float probability, int64_t now) {
        queue->put({probability, 1, now, {{{next_word++, 0}}, 32}});
    };
    queued_path path;
    put(0.5f, 0);
    EXPECT_FALSE(queue->take(path, 0)); // nothing was granted
    queue->grant(44100);                // 10 s
    EXPECT_EQ(queue->saved(), 2750);
    put(0.00001f, 0); // not worth it
    for (int n = 0; n < 5000; ++n) put(0.0002f + 1e-8f * float(n % 1000), 0);
    put(0.02f, 0);
    float last = 1;
    int taken = 0;
    while (queue->take(path, 0)) {
        EXPECT_LE(path.probability, last);
        last = path.probability;
        ++taken;
    }
    EXPECT_GT(taken, 1000);
    EXPECT_GE(queue->saved(), 50); // kept for better ones
    const auto tried = queue->trials();
    next_word = 1;
    put(0.9f, 0); // tried already: costs nothing
    EXPECT_FALSE(queue->take(path, 0));
    put(0.03f, 0);
    queue->drop(1);
    EXPECT_FALSE(queue->take(path, 0));
    put(0.03f, 0);
    EXPECT_FALSE(queue->take(path, 50000)); // too old
    EXPECT_EQ(queue->trials(), tried);
    put(0.03f, 0);
    EXPECT_TRUE(queue->take(path, 0));
    next_word = 1;
    put(0.9f, 45000); // tried more than ten seconds ago
    EXPECT_TRUE(queue->take(path, 45000));
    next_word = 10000; // none that was tried
    while (queue->saved() > 50) {
        put(0.0005f, 0);
        ASSERT_TRUE(queue->take(path, 0));
    }
    put(0.0005f, 0);
    EXPECT_FALSE(queue->take(path, 0));
    queue->release_reserve(); // there are no better ones to come
    EXPECT_TRUE(queue->take(path, 0));
}

/// Both lengths, near and far, each burst told once, where it is; also one that ends with the
/// stream.
TEST(FarReceiver, EachBurstIsToldOnce)
{
    struct told_case {
        std::string message;
        double snr_db;
        double clock;
    };
    for (const auto &[message, snr_db, clock] : {told_case{kShortMessage, 30, 0},
                                                 {kLongMessage, 0, 900e-6},
                                                 {kShortMessage, -15, -500e-6},
                                                 {kLongMessage, -14, 0}}) {
        generator random{3};
        const sent_bursts sent{message, 4};
        auto sound = clock == 0 ? sent.samples() : resampled(sent.samples(), clock);
        sound.resize(sound.size() - 8000);
        add_noise(sound, snr_db, random);
        const reception heard = receive(sound);
        ASSERT_EQ(heard.messages.size(), 4u) << snr_db;
        for (std::size_t copy = 0; copy < 4; ++copy) {
            const far_message &told = heard.messages[copy];
            expect_message(told, message);
            const double first = double(sent.first_sample + copy * kBurstSamples) / (1 + clock);
            EXPECT_EQ(told.copies, 1u);
            EXPECT_NEAR(told.first_sample, first, 25);
            EXPECT_NEAR(double{told.clock_ppm}, 1e6 * clock, 40);
            // In its band a burst is stronger; far above the noise the figure ends.
            EXPECT_NEAR(double{told.snr_db}, std::min(snr_db + 10.2, 28.0), 3);
        }
        EXPECT_LT(heard.trials, 600); // side peaks hold parts of a burst and cost some
    }
}

/// Of messages that nobody takes the first 32 are kept.
TEST(FarReceiver, MessagesWait)
{
    constexpr std::size_t kBursts = 34;
    generator random{12};
    const sent_bursts sent{kShortMessage, kBursts};
    auto sound = sent.samples();
    add_noise(sound, 10, random);
    const auto samples = baseband_of(sound);
    const auto receiver = std::make_unique<far_receiver>(message_lengths::only_32);
    for (std::size_t at = 0; at < samples.size(); at += 44)
        receiver->put(
            std::span{samples}.subspan(at, std::min<std::size_t>(44, samples.size() - at)));
    far_message message;
    for (std::size_t n = 0; n < 32; ++n) {
        ASSERT_TRUE(receiver->take(message)) << n;
        EXPECT_NEAR(message.first_sample, double(sent.first_sample + n * kBurstSamples), 25);
    }
    EXPECT_FALSE(receiver->take(message));
}

TEST(FarReceiver, CopiesAreHeardTogether)
{
    generator random{4};
    const sent_bursts sent{kLongMessage, 5};
    auto sound = sent.samples();
    add_noise(sound, -23, random);
    const reception heard = receive(sound);
    ASSERT_GE(heard.messages.size(), 1u);
    EXPECT_GE(heard.messages[0].copies, 2u);
    for (const far_message &told : heard.messages) expect_message(told, kLongMessage);
    EXPECT_TRUE(receive(sound, message_lengths::only_32).messages.empty());
}

/// While trials are short, several bursts wait for theirs; the word that one of them brings out is
/// found in the others, for which it is not tried again.
TEST(FarReceiver, AWordIsFoundInAllThatWait)
{
    constexpr unsigned kTrials = 5;
    constexpr std::size_t kCopies = 4;
    std::size_t bursts = 0;
    for (unsigned trial = 0; trial < kTrials; ++trial) {
        generator random{330 + trial};
        auto sound = sent_bursts{kLongMessage, kCopies, 1000}.samples();
        add_noise(sound, -19.5, random);
        for (const far_message &message : receive(sound).messages) bursts += message.copies;
    }
    EXPECT_GE(bursts, kTrials * kCopies - 1);
}

/// Nothing is left of a stream in the next one: no tone, word, place or trial.
TEST(FarReceiver, ANewStreamIsAsTheFirst)
{
    generator random{13};
    auto sound = sent_bursts{kShortMessage, 2}.samples();
    add_noise(sound, -19, random);
    auto before = sound;
    const auto near = sent_bursts{kShortMessage, 2}.samples();
    for (std::size_t n = 0; n < near.size(); ++n)
        before[n] += near[n] + 0.1f * from_turns(0.43 * double(n)).re;
    const auto receiver = std::make_unique<far_receiver>(message_lengths::both);
    EXPECT_FALSE(receive_by(*receiver, before).messages.empty());
    receiver->restart();
    const reception again = receive_by(*receiver, sound), fresh = receive(sound);
    EXPECT_EQ(again.trials, fresh.trials);
    ASSERT_EQ(again.messages.size(), fresh.messages.size());
    ASSERT_FALSE(fresh.messages.empty());
    for (std::size_t n = 0; n < fresh.messages.size(); ++n) {
        EXPECT_EQ(again.messages[n].bits, fresh.messages[n].bits);
        EXPECT_EQ(again.messages[n].first_sample, fresh.messages[n].first_sample);
        EXPECT_EQ(again.messages[n].snr_db, fresh.messages[n].snr_db);
    }
}

/// Far below the noise, too, a record says how strong a burst is and where the first one begins:
/// not the first one of a sum that holds four bursts and the noise before them. Far below the limit
/// of one burst, the fifth one belongs to the same record.
TEST(FarReceiver, SumsTellLevelAndBeginning)
{
    struct sum_case {
        std::size_t copies;
        double snr_db;
    };
    for (const auto &[copies, snr_db] :
         {sum_case{1, -18}, {1, -20}, {2, -20}, {2, -22.5}, {5, -22}, {5, -24}, {5, -26}}) {
        constexpr int kTrials = 8;
        double over = 0;
        std::size_t told = 0, trials_heard = 0;
        for (unsigned trial = 0; trial < kTrials; ++trial) {
            generator random{100 + trial};
            const sent_bursts sent{kShortMessage, copies, 60000 + 1111 * std::size_t{trial}};
            auto sound = sent.samples();
            add_noise(sound, snr_db, random);
            const reception heard = receive(sound);
            std::size_t bursts = 0;
            for (const far_message &message : heard.messages) {
                const double before =
                    (message.first_sample - double(sent.first_sample)) / double{kBurstSamples};
                EXPECT_NEAR(before, std::round(before), 1e-3) << copies << ' ' << snr_db;
                EXPECT_GE(std::round(before), 0) << copies << ' ' << snr_db;
                EXPECT_LE(std::round(before) + double(message.copies), double(copies));
                bursts += message.copies;
                over += double{message.snr_db} - (snr_db + 10.3); // in its band
            }
            EXPECT_LE(bursts, copies);
            if (snr_db < -25) {
                EXPECT_LE(heard.messages.size(), 1u);
            }
            told += heard.messages.size();
            trials_heard += heard.messages.empty() ? 0 : 1;
        }
        EXPECT_GE(trials_heard, kTrials * 3 / 4) << copies << ' ' << snr_db;
        EXPECT_NEAR(over / double(told), 0, 0.5) << copies << ' ' << snr_db;
    }
}

/// A burst just too weak to be read, and its message again, near, when most of what was kept of the
/// first one is gone: nothing is made of that any more. Nor of bursts that only sums have brought
/// out that begin with them and end in noise, seconds later.
TEST(FarReceiver, NothingIsToldLongAfterItsBurst)
{
    struct late_sum {
        unsigned seed;
        std::size_t copies;
        double snr_db;
    };
    for (const auto &[seed, copies, snr_db] : {late_sum{97, 2, -22}, {98, 1, -20.3}}) {
        generator random{seed};
        auto sound = sent_bursts{kShortMessage, copies, 80000}.samples();
        sound.resize(300000);
        add_noise(sound, snr_db, random);
        receive(sound);
    }

    constexpr std::size_t kWeak = 60000, kNear = kWeak + 19 * 44100 / 2;
    for (unsigned trial = 0; trial < 12; ++trial) {
        SCOPED_TRACE(trial);
        generator random{trial};
        auto sound = sent_bursts{kShortMessage, 1, kNear}.samples();
        for (float &sample : sound) sample *= 5;
        const auto weak = sent_bursts{kShortMessage, 1, kWeak}.samples();
        for (std::size_t n = 0; n < weak.size(); ++n) sound[n] += weak[n];
        add_noise(sound, -20.7, random);
        const reception heard = receive(sound);
        ASSERT_FALSE(heard.messages.empty());
        EXPECT_NEAR(heard.messages.back().first_sample, double(kNear), 20);
        if (heard.messages.size() > 1) { // in time, then
            EXPECT_NEAR(heard.messages[0].first_sample, double(kWeak), 20);
            EXPECT_NEAR(heard.messages[0].snr_db, 10.3 - 20.7, 3);
        }
    }
}

/// Two senders at once, one in either length and louder: both are heard.
TEST(FarReceiver, SendersAreHeardBesideEachOther)
{
    generator random{6};
    auto sound = sent_bursts{kShortMessage}.samples();
    const auto other = resampled(sent_bursts{kLongMessage, 1, 28000}.samples(), 700e-6);
    sound.resize(std::max(sound.size(), other.size()) + 5000);
    for (std::size_t n = 0; n < other.size(); ++n) sound[n] += 2 * other[n];
    add_noise(sound, -8, random);
    const reception heard = receive(sound);
    ASSERT_EQ(heard.messages.size(), 2u);
    for (const far_message &told : heard.messages)
        expect_message(told, told.length == 32 ? kShortMessage : kLongMessage);
    EXPECT_NE(heard.messages[0].length, heard.messages[1].length);
}

/// What holds no burst costs no trials to speak of: silence, noise, what a loud tone leaves behind,
/// an abrupt end; nor do chirps and vibrato, which look like bursts a thousand times a second.
TEST(FarReceiver, NothingCostsNothing)
{
    generator random{5};
    constexpr double kTurn = 2 * 3.141592653589793;
    const std::vector<float> silence(10 * kAudioRate, 0);
    auto noise = silence, tone = silence, chirps = silence, vibrato = silence;
    add_noise(noise, 0, random);
    double phase = 0;
    for (std::size_t n = 0; n < silence.size(); ++n) {
        const double time = double(n) / 44100;
        if (n > 30000 && n < 200000) tone[n] = 0.9f * float(std::sin(kTurn * 18777.7 * time));
        phase += (17500 + std::fmod(30000 * time, 3000)) / 44100;
        chirps[n] = 0.1f * float(std::sin(kTurn * phase));
        for (int part = 0; part < 20; ++part)
            vibrato[n] += 0.02f * float(std::sin(kTurn * (18000 + 110 * part) * time +
                                                 2 * std::sin(kTurn * 5 * time)));
    }
    auto tone_in_noise = tone;
    add_noise(tone_in_noise, -10, random);
    add_noise(chirps, 30, random);
    add_noise(vibrato, 30, random);
    struct sound_case {
        const std::vector<float> &sound;
        int64_t most_trials;
    };
    for (const auto &[sound, most_trials] : {sound_case{silence, 0},
                                             {noise, 30},
                                             {tone, 30},
                                             {tone_in_noise, 30},
                                             {chirps, 1000},
                                             {vibrato, 1000}}) {
        const reception heard = receive(sound);
        EXPECT_TRUE(heard.messages.empty());
        EXPECT_LE(heard.trials, most_trials);
    }
}

} // namespace tonelink::test
