// The manners of the device, with a sink in which nothing is heard.

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>

#include "test_output.h"

namespace tonelink::test {

namespace {

using std::chrono::duration_cast;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr int kInvalidParameter = -22;
constexpr int kInvalidOperation = -38;
constexpr int kInvalidBuffer = -26214397;

void wait_until(const std::function<bool()> &holds)
{
    while (!holds()) std::this_thread::sleep_for(milliseconds{1});
}

/// A stream callback made of a function object.
using callback = std::function<void(audio_out_h out, std::size_t nbytes)>;

int set_callback(audio_out_h out, callback &call)
{
    return audio_out_set_stream_cb(
        out,
        [](audio_out_h o, size_t nbytes, void *user_data) {
            (*static_cast<callback *>(user_data))(o, nbytes);
        },
        &call);
}

class AudioOutput : public testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(tonelink_host_set_audio("null"), 0); }
};

} // namespace

TEST_F(AudioOutput, RefusesWhatIsNoOutput)
{
    audio_out_h gone = nullptr;
    ASSERT_EQ(audio_out_create_new(kRate, 128, 113, &gone), 0);
    ASSERT_EQ(audio_out_destroy(gone), 0);
    sound_stream_info_h info = nullptr;
    ASSERT_EQ(sound_manager_create_stream_information(3, nullptr, nullptr, &info), 0);
    const std::int16_t sample = 1;
    const auto ignore = [](audio_out_h, size_t, void *) {};
    for (const audio_out_h out : {audio_out_h{nullptr}, gone}) {
        EXPECT_EQ(audio_out_set_sound_stream_info(out, info), kInvalidParameter);
        EXPECT_EQ(audio_out_prepare(out), kInvalidParameter);
        EXPECT_EQ(audio_out_unprepare(out), kInvalidParameter);
        EXPECT_EQ(audio_out_destroy(out), kInvalidParameter);
        EXPECT_EQ(audio_out_write(out, &sample, 2), kInvalidParameter);
        EXPECT_EQ(audio_out_set_stream_cb(out, ignore, nullptr), kInvalidParameter);
        EXPECT_EQ(audio_out_unset_stream_cb(out), kInvalidParameter);
    }
    EXPECT_EQ(sound_manager_destroy_stream_information(info), 0);
}

TEST_F(AudioOutput, RefusesOtherFormats)
{
    struct format {
        int rate, channel, sample_type;
    };
    audio_out_h out = nullptr;
    for (const auto &[rate, channel, sample_type] :
         {format{0, 128, 113}, format{-44100, 128, 113}, format{7999, 128, 113},
          format{192001, 128, 113}, format{kRate, 129, 113}, format{kRate, 128, 112}}) {
        EXPECT_EQ(audio_out_create_new(rate, channel, sample_type, &out), kInvalidParameter);
        EXPECT_EQ(out, nullptr);
    }
    EXPECT_EQ(audio_out_create_new(kRate, 128, 113, nullptr), kInvalidParameter);
}

TEST_F(AudioOutput, KnowsItsStates)
{
    const test_output out;
    const std::int16_t sample = 1;
    EXPECT_EQ(audio_out_write(out, &sample, 2), kInvalidOperation);
    EXPECT_EQ(audio_out_unprepare(out), kInvalidOperation);
    EXPECT_EQ(audio_out_unset_stream_cb(out), kInvalidOperation);
    EXPECT_EQ(audio_out_set_stream_cb(out, nullptr, nullptr), kInvalidParameter);

    ASSERT_EQ(audio_out_prepare(out), 0);
    EXPECT_EQ(audio_out_prepare(out), kInvalidOperation);
    EXPECT_EQ(audio_out_write(out, nullptr, 2), kInvalidBuffer);
    EXPECT_EQ(audio_out_write(out, &sample, 1), kInvalidBuffer);
    EXPECT_EQ(audio_out_write(out, nullptr, 0), 0);
    EXPECT_EQ(audio_out_write(out, &sample, 2), 2);

    ASSERT_EQ(audio_out_unprepare(out), 0);
    EXPECT_EQ(audio_out_write(out, &sample, 2), kInvalidOperation);
    EXPECT_EQ(audio_out_prepare(out), 0); // it can be had again
}

TEST_F(AudioOutput, KeepsItsStreamInformation)
{
    sound_stream_info_h info = nullptr;
    ASSERT_EQ(sound_manager_create_stream_information(3, nullptr, nullptr, &info), 0);
    {
        const test_output out;
        ASSERT_EQ(audio_out_set_sound_stream_info(out, info), 0);
        EXPECT_EQ(sound_manager_destroy_stream_information(info), kInvalidOperation);
        ASSERT_EQ(audio_out_prepare(out), 0);
        EXPECT_EQ(audio_out_set_sound_stream_info(out, info), kInvalidOperation);
    }
    EXPECT_EQ(sound_manager_destroy_stream_information(info), 0);
    EXPECT_EQ(sound_manager_destroy_stream_information(info), kInvalidParameter);
    const test_output out;
    EXPECT_EQ(audio_out_set_sound_stream_info(out, info), kInvalidParameter);
    EXPECT_EQ(sound_manager_create_stream_information(-1, nullptr, nullptr, &info),
              kInvalidParameter);
    EXPECT_EQ(sound_manager_create_stream_information(3, nullptr, nullptr, nullptr),
              kInvalidParameter);
}

TEST_F(AudioOutput, TakesTheTimeOfTheSound)
{
    for (const int rate : {8000, 44100, 192000}) {
        const test_output out{rate};
        ASSERT_EQ(audio_out_prepare(out), 0);
        const sample_row sound(static_cast<std::size_t>(rate) * 3 / 10, 1); // 300 ms
        for (int round = 0; round < 2; ++round) {
            const auto start = steady_clock::now();
            EXPECT_EQ(out.write(sound), static_cast<int>(2 * sound.size()));
            // The device's own buffer may be full still.
            EXPECT_GE(steady_clock::now() - start, milliseconds{300 - 100});
            if (round == 0) {
                std::this_thread::sleep_for(milliseconds{150}); // a pause earns no credit
                continue;
            }
            EXPECT_EQ(audio_out_unprepare(out), 0);
            EXPECT_GE(steady_clock::now() - start, milliseconds{300});
        }
    }
}

TEST_F(AudioOutput, AsksForSoundOnAThreadOfItsOwn)
{
    const sample_row sound(5 * kPeriodSamples, 1);
    std::atomic<int> calls{0};
    std::atomic<bool> is_elsewhere{true};
    std::atomic<std::size_t> wanted{0};
    std::atomic<bool> was_taken_whole{true};
    const auto here = std::this_thread::get_id();
    callback call = [&](audio_out_h out, std::size_t nbytes) {
        is_elsewhere = is_elsewhere && std::this_thread::get_id() != here;
        wanted = nbytes;
        const int written =
            audio_out_write(out, sound.data(), static_cast<unsigned int>(2 * sound.size()));
        was_taken_whole = was_taken_whole && written == static_cast<int>(2 * sound.size());
        ++calls;
    };

    const test_output out;
    ASSERT_EQ(set_callback(out, call), 0);
    EXPECT_EQ(calls, 0); // not before it is prepared
    const auto start = steady_clock::now();
    ASSERT_EQ(audio_out_prepare(out), 0);
    wait_until([&] { return calls >= 4; });
    ASSERT_EQ(audio_out_unset_stream_cb(out), 0);
    const int calls_at_unset = calls;
    ASSERT_EQ(audio_out_unprepare(out), 0);
    EXPECT_GE(steady_clock::now() - start, milliseconds{calls_at_unset * 50});
    EXPECT_EQ(calls, calls_at_unset);
    EXPECT_TRUE(is_elsewhere);
    EXPECT_TRUE(was_taken_whole);
    EXPECT_EQ(wanted, 2 * kPeriodSamples);
    EXPECT_EQ(host_threads(), 0);
}

TEST_F(AudioOutput, RemovalWaitsForTheCallback)
{
    std::atomic<bool> entered{false};
    std::atomic<bool> left{false};
    callback call = [&](audio_out_h, std::size_t) {
        entered = true;
        std::this_thread::sleep_for(milliseconds{100});
        left = true;
    };
    const test_output out;
    ASSERT_EQ(audio_out_prepare(out), 0);
    ASSERT_EQ(set_callback(out, call), 0); // also while it plays
    wait_until([&] { return entered.load(); });
    left = false;
    ASSERT_EQ(audio_out_unset_stream_cb(out), 0);
    EXPECT_TRUE(left);
    EXPECT_EQ(audio_out_unset_stream_cb(out), kInvalidOperation);
}

TEST_F(AudioOutput, CallbackCanRemoveItselfAndNothingElse)
{
    std::atomic<int> calls{0};
    std::vector<int> results;
    const sample_row sound(kPeriodSamples, 1);
    callback call = [&](audio_out_h out, std::size_t) {
        results = {audio_out_prepare(out),
                   audio_out_unprepare(out),
                   audio_out_destroy(out),
                   audio_out_set_stream_cb(
                       out, [](audio_out_h, size_t, void *) {}, nullptr),
                   audio_out_unset_stream_cb(out),
                   audio_out_write(out, sound.data(), 2 * kPeriodSamples)};
        ++calls;
    };
    const test_output out;
    ASSERT_EQ(set_callback(out, call), 0);
    ASSERT_EQ(audio_out_prepare(out), 0);
    wait_until([&] { return calls > 0; });
    EXPECT_EQ(audio_out_unset_stream_cb(out),
              kInvalidOperation); // gone already; waits all the same
    EXPECT_EQ(results, (std::vector<int>{kInvalidOperation, kInvalidOperation, kInvalidOperation,
                                         kInvalidOperation, 0, 2 * kPeriodSamples}));
    EXPECT_EQ(calls, 1);
    ASSERT_EQ(set_callback(out, call), 0); // and it can be set again
    wait_until([&] { return calls > 1; });
    EXPECT_EQ(audio_out_unprepare(out), 0);
    EXPECT_EQ(calls, 2);
    // The thread leaves by itself.
    wait_until([&] { return host_threads() == 0; });
}

TEST_F(AudioOutput, DestroyStopsADeviceThatPlays)
{
    const sample_row a_minute(std::size_t{kRate} * 60, 1);
    for (const bool is_prepared_first : {false, true}) {
        const auto played_before = tonelink_host_get_samples_played();
        std::atomic<int> written{-1};
        callback call = [&](audio_out_h out, std::size_t) {
            written = audio_out_write(out, a_minute.data(),
                                      static_cast<unsigned int>(2 * a_minute.size()));
        };
        audio_out_h out = nullptr;
        ASSERT_EQ(audio_out_create_new(kRate, 128, 113, &out), 0);
        if (is_prepared_first) {
            ASSERT_EQ(audio_out_prepare(out), 0);
        }
        ASSERT_EQ(set_callback(out, call), 0);
        if (!is_prepared_first) {
            ASSERT_EQ(audio_out_prepare(out), 0);
        }
        wait_until([&] { return tonelink_host_get_samples_played() > played_before; });
        ASSERT_EQ(audio_out_destroy(out), 0);
        EXPECT_GT(written, 0);
        EXPECT_LT(written, static_cast<int>(2 * a_minute.size()));
        EXPECT_EQ(tonelink_host_get_samples_played() - played_before,
                  static_cast<std::uint64_t>(written) / 2);
        EXPECT_EQ(host_threads(), 0);
    }
}

TEST_F(AudioOutput, StopEndsAWaitingWrite)
{
    const sample_row a_minute(std::size_t{kRate} * 60, 1);
    const test_output out;
    ASSERT_EQ(audio_out_prepare(out), 0);
    const auto played_before = tonelink_host_get_samples_played();
    int written = 0;
    std::thread writer{[&] { written = out.write(a_minute); }};
    wait_until([&] { return tonelink_host_get_samples_played() > played_before; });
    EXPECT_EQ(audio_out_unprepare(out), 0);
    writer.join();
    EXPECT_GT(written, 0);
    EXPECT_LT(written, static_cast<int>(2 * a_minute.size()));
}

TEST_F(AudioOutput, SilentCallbackIsAskedAtItsPace)
{
    std::atomic<int> calls{0};
    callback call = [&](audio_out_h, std::size_t) { ++calls; };
    const test_output out;
    ASSERT_EQ(set_callback(out, call), 0);
    const auto start = steady_clock::now();
    ASSERT_EQ(audio_out_prepare(out), 0);
    wait_until([&] { return calls >= 5; });
    ASSERT_EQ(audio_out_unset_stream_cb(out), 0);
    const auto passed = duration_cast<milliseconds>(steady_clock::now() - start).count();
    EXPECT_LE(calls, passed / 10 + 1); // 10 ms lie between two calls
}

// What a program does that is not careful: start, stop and write from several threads at once.
TEST_F(AudioOutput, BearsCallsFromAllSides)
{
    const test_output out;
    const sample_row sound(kPeriodSamples / 4, 1);
    callback call = [&](audio_out_h o, std::size_t) { audio_out_write(o, sound.data(), 200); };
    std::atomic<bool> is_over{false};
    std::vector<std::thread> threads;
    threads.emplace_back([&] {
        while (!is_over) out.write(sound);
    });
    threads.emplace_back([&] {
        while (!is_over) {
            set_callback(out, call);
            std::this_thread::sleep_for(milliseconds{1});
            audio_out_unset_stream_cb(out);
        }
    });
    for (int round = 0; round < 20; ++round) {
        EXPECT_EQ(audio_out_prepare(out), 0);
        std::this_thread::sleep_for(milliseconds{5});
        EXPECT_EQ(audio_out_unprepare(out), 0);
    }
    is_over = true;
    for (auto &thread : threads) thread.join();
}

TEST_F(AudioOutput, UnusableChoiceFailsWithWords)
{
    for (const char *choice : {"", "wav", "wav:", "alsa:", "null:x", "flac:x", "WAV:x"})
        EXPECT_EQ(tonelink_host_set_audio(choice), kInvalidParameter) << choice;
    tonelink_host_set_audio(nullptr);
    setenv("TONELINK_AUDIO", "gramophone", 1);
    const test_output out;
    EXPECT_EQ(audio_out_prepare(out), -26214399);
    EXPECT_EQ(last_error(),
              "TONELINK_AUDIO is \"gramophone\"; it can be wav:PATH, alsa, alsa:DEVICE or null");
    setenv("TONELINK_AUDIO", "null", 1);
    EXPECT_EQ(audio_out_prepare(out), 0);
    unsetenv("TONELINK_AUDIO");
}

} // namespace tonelink::test
