// The C interface: arguments, records that grow, memory, and what a push must not do.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <set>

#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "modem/known_bursts.h"
#include "support/failing_memory.h"
#include "support/open_receiver.h"
#include "support/sounds.h"

namespace tonelink::test {

namespace {

/// What settings are answered with; a receiver is given back.
int32_t open(const tonelink_receiver_settings &settings)
{
    tonelink_receiver *receiver = nullptr;
    const int32_t result = tonelink_receiver_open(&settings, &receiver);
    EXPECT_EQ(receiver != nullptr, result == TONELINK_RECEIVER_OK);
    EXPECT_EQ(tonelink_receiver_memory(&settings) > 0, result == TONELINK_RECEIVER_OK);
    tonelink_receiver_close(receiver);
    return result;
}

/// Hands over records of several sizes in a larger piece of memory, and looks at what is written.
template <class Record> void expect_to_fit(std::function<int32_t(Record *)> call, int32_t result)
{
    std::string first;
    for (const uint32_t size :
         {4u, 8u, 0u, uint32_t{sizeof(Record)}, uint32_t{sizeof(Record) + 8}}) {
        std::string bytes(sizeof(Record) + 8, '\x5A');
        alignas(Record) char room[sizeof(Record) + 8];
        std::memcpy(room, bytes.data(), sizeof room);
        std::memcpy(room, &size, sizeof size);
        EXPECT_EQ(call(reinterpret_cast<Record *>(room)),
                  size == 4 ? TONELINK_RECEIVER_BAD_ARGUMENT : result);
        const std::string written{room, sizeof room};
        const std::size_t end =
            size == 0 ? sizeof(Record) : std::min<std::size_t>(size, sizeof(Record));
        EXPECT_EQ(written.substr(end), bytes.substr(end)) << size;
        if (size == 8) first = written.substr(4, 4); // the first field is always the same
        EXPECT_TRUE(size == 4 || written.substr(4, 4) == first) << size;
        EXPECT_TRUE(size == 4 || written.substr(end - 8, 4) != bytes.substr(0, 4)) << size;
    }
}

} // namespace

TEST(ReceiverInterface, RefusesWrongSettings)
{
    const uint32_t size = sizeof(tonelink_receiver_settings);
    for (const auto &[settings, result] : {
             std::pair{tonelink_receiver_settings{size, 0, 0, 0}, TONELINK_RECEIVER_OK},
             {{0, 48000, 0, 0}, TONELINK_RECEIVER_OK},
             {{8, 48000, 77, 77}, TONELINK_RECEIVER_OK}, // fields behind its end are defaults
             {{size + 100, 48000, 3, 1}, TONELINK_RECEIVER_OK},
             {{size, 42000, 0, 0}, TONELINK_RECEIVER_OK},
             {{size, 384000, 0, 0}, TONELINK_RECEIVER_OK},
             {{4, 48000, 0, 0}, TONELINK_RECEIVER_BAD_ARGUMENT},
             {{size, 41999, 0, 0}, TONELINK_RECEIVER_BAD_RATE},
             {{size, 384001, 0, 0}, TONELINK_RECEIVER_BAD_RATE},
             {{size, -48000, 0, 0}, TONELINK_RECEIVER_BAD_RATE},
             {{size, 48000, 4, 0}, TONELINK_RECEIVER_BAD_LENGTHS},
             {{size, 48000, 0, TONELINK_METHOD_FAR}, TONELINK_RECEIVER_OK},
             {{size, 48000, 0, 4}, TONELINK_RECEIVER_BAD_METHODS},
             {{size, 48000, 0, 8}, TONELINK_RECEIVER_BAD_METHODS},
         })
        EXPECT_EQ(open(settings), result) << settings.sample_rate << ' ' << settings.size;
    EXPECT_EQ(tonelink_receiver_open(nullptr, nullptr), TONELINK_RECEIVER_BAD_ARGUMENT);
    EXPECT_GT(tonelink_receiver_memory(nullptr), 0u);
    static_assert(sizeof(tonelink_heard) == 64 && sizeof(tonelink_reception) == 184);
}

TEST(ReceiverInterface, WhatIsNotSetHasItsDefault)
{
    open_modem modem;
    auto burst = modem.burst(kPair48.bits);
    burst.insert(burst.begin(), 9000, int16_t{0});
    // What lies behind the size that a program knows of is none of the settings.
    const tonelink_receiver_settings rate_alone = {8, 0, TONELINK_LENGTH_32, TONELINK_METHOD_EXACT};
    for (const auto *const settings :
         {static_cast<const tonelink_receiver_settings *>(nullptr), &rate_alone}) {
        tonelink_receiver *receiver = nullptr;
        ASSERT_EQ(tonelink_receiver_open(settings, &receiver), TONELINK_RECEIVER_OK);
        tonelink_receiver_push_s16(receiver, burst.data(), burst.size(), 1);
        tonelink_receiver_flush(receiver);
        tonelink_heard heard = {};
        EXPECT_EQ(tonelink_receiver_next(receiver, &heard), 1);
        EXPECT_EQ(message_of(heard), kPair48.bits);
        EXPECT_EQ(heard.methods, uint32_t{TONELINK_METHOD_EXACT | TONELINK_METHOD_FAR});
        tonelink_receiver_close(receiver);
    }
}

TEST(ReceiverInterface, RefusesWrongArguments)
{
    open_receiver receiver;
    const int16_t sample = 0;
    tonelink_heard heard = {};
    tonelink_reception reception = {};
    for (const int32_t result : {
             tonelink_receiver_push_s16(nullptr, &sample, 1, 1),
             tonelink_receiver_push_s16(receiver, nullptr, 1, 1),
             tonelink_receiver_push_s16(receiver, &sample, 1, 0),
             tonelink_receiver_push_f32(receiver, nullptr, 1, 1),
             tonelink_receiver_lost(nullptr, 1),
             tonelink_receiver_flush(nullptr),
             tonelink_receiver_settle(nullptr),
             tonelink_receiver_next(nullptr, &heard),
             tonelink_receiver_next(receiver, nullptr),
             tonelink_receiver_report(nullptr, &reception),
             tonelink_receiver_report(receiver, nullptr),
         })
        EXPECT_EQ(result, TONELINK_RECEIVER_BAD_ARGUMENT);
    EXPECT_EQ(tonelink_receiver_push_s16(receiver, nullptr, 0, 1), TONELINK_RECEIVER_OK);
    EXPECT_EQ(tonelink_receiver_next(receiver, &heard), 0);
    EXPECT_EQ(receiver.report().frames, 0u);
    tonelink_receiver_close(nullptr);
}

// Programs show these to their users, or write them down.
TEST(ReceiverInterface, EachCodeHasATextOfItsOwn)
{
    std::set<std::string> texts, reasons;
    for (int32_t code = -100; code <= 100; ++code) {
        texts.insert(tonelink_receiver_text(code));
        reasons.insert(tonelink_receiver_reason(code));
    }
    EXPECT_EQ(texts.size(), 7u); // with that of what is no code
    EXPECT_EQ(reasons.size(), 9u);
    for (const auto &[result, part] : {
             std::pair<int32_t, const char *>{TONELINK_RECEIVER_OK, "done"},
             {TONELINK_RECEIVER_BAD_ARGUMENT, "null"},
             {TONELINK_RECEIVER_BAD_RATE, "42000 and 384000 Hz"},
             {TONELINK_RECEIVER_BAD_LENGTHS, "lengths"},
             {TONELINK_RECEIVER_BAD_METHODS, "methods"},
             {TONELINK_RECEIVER_NO_MEMORY, "memory"},
             {99, "unknown"},
         })
        EXPECT_NE(std::string{tonelink_receiver_text(result)}.find(part), std::string::npos)
            << result;
    EXPECT_STREQ(tonelink_receiver_reason(99), "unknown");
}

// Also where squares of what is heard are no numbers any more, and where silence ends in a tone.
TEST(ReceiverInterface, FiguresAreNumbersWhateverIsHeard)
{
    const sound burst = burst_at(kPair32.bits, 44100);
    for (const uint32_t methods : {TONELINK_METHOD_EXACT, TONELINK_METHOD_FAR}) {
        open_receiver receiver{0, 0, methods};
        for (const float scale :
             {1.0f, 1e-6f, 1e-10f, 1e-14f, 1e-16f, 1e-19f, 1e-22f, 1e-40f, 1e3f}) {
            sound heard(30000);
            add(heard, sine(2000, 44100, 19000), 4000);
            add(heard, burst, 7000);
            for (float &sample : heard) sample *= scale;
            receiver.push(heard);
        }
        receiver.push(sound{NAN, INFINITY, -INFINITY, 3e38f, -3e38f, 1e-45f});
        tonelink_receiver_flush(receiver);
        const auto all = receiver.heard();
        EXPECT_FALSE(all.empty());
        for (const tonelink_heard &one : all)
            EXPECT_TRUE(std::isfinite(one.seconds + one.level_dbfs + one.snr_db + one.clock_ppm));
        const tonelink_reception now = receiver.report();
        float sum = now.level_dbfs + now.peak_dbfs + now.band_dbfs + now.band_edge_hz +
                    now.missing_db + now.unread_snr_db + now.unread_ppm;
        for (const float level : now.spectrum_dbfs) sum += level;
        EXPECT_TRUE(std::isfinite(sum));
        EXPECT_EQ(now.invalid_frames, 5u);
    }
}

TEST(ReceiverInterface, WritesAsMuchOfARecordAsThereIsRoomFor)
{
    const sound burst = burst_at(kPair32.bits, 44100);
    open_receiver receiver;
    for (int i = 0; i < 5; ++i) receiver.push(burst);
    tonelink_receiver_flush(receiver);
    expect_to_fit<tonelink_heard>(
        [&](tonelink_heard *heard) { return tonelink_receiver_next(receiver, heard); }, 1);
    EXPECT_EQ(receiver.heard().size(), 1u); // of five: a record that is too small takes none
    expect_to_fit<tonelink_reception>(
        [&](tonelink_reception *now) { return tonelink_receiver_report(receiver, now); },
        TONELINK_RECEIVER_OK);
}

TEST(ReceiverInterface, TakesAnySamples)
{
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    for (const int32_t rate : {44100, 48000, 96000}) {
        sound burst = burst_at(kPair32.bits, rate);
        const auto beyond = std::ranges::count_if(burst, [](float x) { return std::abs(x) > 1; });
        burst.insert(burst.begin(), 100, 0.0f);
        const std::vector<float> odd = {NAN, kInfinity, -kInfinity, 1e30f, -1001, 1001};
        std::ranges::copy(odd, burst.begin());
        burst[20] = 999; // beyond full scale
        burst[21] = -1.0001f;
        for (const auto &[at, run] : {std::pair{30u, 2u}, {40u, 3u}, {50u, 5u}})
            std::fill_n(burst.begin() + at, run, 1.0f);
        open_receiver receiver{rate};
        receiver.push(burst);
        const std::vector<float> mixed = {1.5f, 1.5f, 1, 0, 1,
                                          1,    1.5f, 1, 0}; // 7 of these are cut off
        receiver.push(mixed);
        const std::vector<int16_t> ends = {32767, 32767}, others = {-32768, -32768, 32767, 0};
        receiver.push(ends);
        tonelink_receiver_lost(receiver, 3); // and no longer a run
        receiver.push(others);
        auto now = receiver.report();
        EXPECT_EQ(now.invalid_frames, odd.size());
        EXPECT_EQ(now.clipped_frames, 2u + 3 + 5 + 7 + 3 + beyond) << rate;
        EXPECT_EQ(now.lost_frames, 3u);
        EXPECT_EQ(now.frames, burst.size() + mixed.size() + 9);
        open_receiver other{rate};
        other.push(ends); // nor is there one before the first sample
        EXPECT_EQ(other.report().clipped_frames, 0u);
        tonelink_receiver_lost(receiver, UINT64_MAX); // not to be believed
        tonelink_receiver_lost(receiver, UINT64_MAX);
        receiver.push(burst);
        tonelink_receiver_flush(receiver);
        now = receiver.report();
        EXPECT_GE(now.frames, now.lost_frames);
        EXPECT_GT(now.seconds, 1e9);
        const auto records = receiver.heard();
        ASSERT_EQ(records.size(), 2u);
        EXPECT_NEAR(static_cast<double>(records[0].first_sample), 100, rate / 1000.0);
        EXPECT_GT(records[1].first_sample, int64_t{1} << 61);
        EXPECT_GT(records[1].seconds, 1e9);
    }
}

TEST(ReceiverInterface, AFailedAllocationLeavesNothing)
{
    const tonelink_receiver_settings settings = {sizeof settings, 48000, 0, 0};
    std::size_t failed = 0;
    for (bool happened = true; happened; ++failed) {
        int dummy = 0;
        auto *receiver = reinterpret_cast<tonelink_receiver *>(&dummy); // to be overwritten
        const failing_allocation failure{failed};
        const int32_t result = tonelink_receiver_open(&settings, &receiver);
        happened = failure.happened();
        EXPECT_EQ(result, happened ? TONELINK_RECEIVER_NO_MEMORY : TONELINK_RECEIVER_OK);
        EXPECT_EQ(receiver == nullptr, happened);
        tonelink_receiver_close(receiver);
    }
    EXPECT_GE(failed, 2u);
}

namespace {

/// All that a program does with an open receiver, under what it should and should not hear.
void use_all(tonelink_receiver *receiver, const sound &samples, const std::vector<int16_t> &whole)
{
    tonelink_heard heard = {};
    tonelink_reception reception = {};
    for (int round = 0; round < 2; ++round) {
        for (std::size_t at = 0; at + 1001 < samples.size(); at += 1001)
            tonelink_receiver_push_f32(receiver, &samples[at], 1001, 1);
        tonelink_receiver_lost(receiver, 50000);
        tonelink_receiver_push_s16(receiver, whole.data(), whole.size() / 2, 2);
        tonelink_receiver_report(receiver, &reception);
        tonelink_receiver_flush(receiver);
        while (tonelink_receiver_next(receiver, &heard) == 1) continue;
    }
}

} // namespace

TEST(ReceiverInterface, WorksWithoutMemoryAndWithoutTheSystem)
{
    for (const int32_t rate : {44100, 48000}) {
        sound samples = band_noise(static_cast<std::size_t>(2 * rate), rate, -50, 3);
        add(samples, burst_at(kPair32.bits, rate), 5000, -20);
        add(samples, burst_at(kPair48.bits, rate, 700), static_cast<std::size_t>(rate), -20);
        const auto whole = to_16_bits(samples);
        open_receiver receiver{rate, 0, TONELINK_METHOD_EXACT | TONELINK_METHOD_FAR};
        {
            const failing_allocation none{0};
            use_all(receiver, samples, whole);
            EXPECT_FALSE(none.happened());
        }
        EXPECT_EQ(receiver.report().heard, 2u); // of a clock 700 ppm off by the far method
        EXPECT_EQ(receiver.report().unread, 0u);

        // The kernel kills what asks it for more than to end.
        constexpr int kNoStrictMode = 77;
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            if (prctl(PR_SET_SECCOMP, SECCOMP_MODE_STRICT) != 0) _exit(kNoStrictMode);
            use_all(receiver, samples, whole);
            syscall(SYS_exit, 0);
        }
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        if (WIFEXITED(status) && WEXITSTATUS(status) == kNoStrictMode)
            GTEST_SKIP() << "the system has no strict mode";
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    }
}

} // namespace tonelink::test
