// How the device behaves, with a sink in which nothing is heard.

#include <atomic>
#include <functional>

#include "test_output.h"

namespace tonelink::test {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr int kInvalidParameter = -22;
constexpr int kInvalidOperation = -38;
constexpr int kInvalidBuffer = -26214397;

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

    static sound_stream_info_h made_stream_info()
    {
        sound_stream_info_h info = nullptr;
        EXPECT_EQ(sound_manager_create_stream_information(3, nullptr, nullptr, &info), 0);
        return info;
    }
};

} // namespace

TEST_F(AudioOutput, RefusesWhatIsNoOutputAndOtherFormats)
{
    audio_out_h gone = nullptr, none = nullptr;
    ASSERT_EQ(audio_out_create_new(kRate, 128, 113, &gone), 0);
    ASSERT_EQ(audio_out_destroy(gone), 0);
    const auto info = made_stream_info();
    const std::int16_t sample = 1;
    const auto ignore = [](audio_out_h, size_t, void *) {};
    for (const audio_out_h out : {audio_out_h{}, gone})
        for (const int result :
             {audio_out_set_sound_stream_info(out, info), audio_out_prepare(out),
              audio_out_unprepare(out), audio_out_destroy(out), audio_out_write(out, &sample, 2),
              audio_out_set_stream_cb(out, ignore, nullptr), audio_out_unset_stream_cb(out)})
            EXPECT_EQ(result, kInvalidParameter);
    for (const auto &[rate, channel, type] :
         {std::tuple{7999, 128, 113}, {192001, 128, 113}, {kRate, 129, 113}, {kRate, 128, 112}})
        EXPECT_EQ(audio_out_create_new(rate, channel, type, &none), kInvalidParameter);
    EXPECT_EQ(audio_out_create_new(kRate, 128, 113, nullptr), kInvalidParameter);
    EXPECT_EQ(none, nullptr);
}

TEST_F(AudioOutput, KnowsItsStates)
{
    const test_output out;
    const std::int16_t sample = 1;
    EXPECT_EQ(audio_out_unset_stream_cb(out), kInvalidOperation);
    EXPECT_EQ(audio_out_set_stream_cb(out, nullptr, nullptr), kInvalidParameter);
    for (int round = 0; round < 2; ++round) { // it can be had again
        EXPECT_EQ(audio_out_write(out, &sample, 2), kInvalidOperation);
        EXPECT_EQ(audio_out_unprepare(out), kInvalidOperation);
        ASSERT_EQ(audio_out_prepare(out), 0);
        EXPECT_EQ(audio_out_prepare(out), kInvalidOperation);
        for (const auto &[buffer, bytes, result] :
             {std::tuple{static_cast<const std::int16_t *>(nullptr), 2u, kInvalidBuffer},
              {&sample, 1u, kInvalidBuffer},
              {nullptr, 0u, 0},
              {&sample, 2u, 2}})
            EXPECT_EQ(audio_out_write(out, buffer, bytes), result);
        ASSERT_EQ(audio_out_unprepare(out), 0);
    }
}

TEST_F(AudioOutput, KeepsItsStreamInformation)
{
    auto info = made_stream_info();
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
        EXPECT_EQ(out.write(sound), static_cast<int>(2 * sound.size()));
        std::this_thread::sleep_for(milliseconds{150}); // a pause earns no credit
        const auto start = steady_clock::now();
        EXPECT_EQ(out.write(sound), static_cast<int>(2 * sound.size()));
        // The device's own buffer may be full still.
        EXPECT_GE(steady_clock::now() - start, milliseconds{300 - 100});
        EXPECT_EQ(audio_out_unprepare(out), 0);
        EXPECT_GE(steady_clock::now() - start, milliseconds{300});
    }
}

TEST_F(AudioOutput, AsksForSoundAtItsPaceOnAThreadOfItsOwn)
{
    for (const std::size_t periods : {5u, 0u}) { // a callback that writes nothing is asked again
        const sample_row sound(periods * kPeriodSamples, 1);
        std::atomic<int> calls{0};
        std::atomic<int> right_calls{0};
        const auto here = std::this_thread::get_id();
        const test_output out;
        callback call = [&](audio_out_h o, std::size_t nbytes) {
            const int written = out.write(sound);
            right_calls += o == out && nbytes == 2 * kPeriodSamples &&
                           written == static_cast<int>(2 * sound.size()) &&
                           std::this_thread::get_id() != here;
            ++calls;
        };
        ASSERT_EQ(set_callback(out, call), 0);
        EXPECT_EQ(calls, 0); // not before it is prepared
        const auto start = steady_clock::now();
        ASSERT_EQ(audio_out_prepare(out), 0);
        wait_until([&] { return calls >= 5; });
        ASSERT_EQ(audio_out_unset_stream_cb(out), 0);
        EXPECT_EQ(host_threads(), 0);
        const int calls_at_unset = calls;
        ASSERT_EQ(audio_out_unprepare(out), 0);
        EXPECT_GE(steady_clock::now() - start, periods > 0
                                                   ? calls_at_unset * milliseconds{50}
                                                   : (calls_at_unset - 1) * milliseconds{10});
        EXPECT_EQ(calls, calls_at_unset);
        EXPECT_EQ(right_calls, calls);
    }
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
        results = {
            audio_out_prepare(out),         audio_out_unprepare(out),
            audio_out_destroy(out),         set_callback(out, call),
            audio_out_unset_stream_cb(out), audio_out_write(out, sound.data(), 2 * kPeriodSamples)};
        ++calls;
    };
    const test_output out;
    ASSERT_EQ(audio_out_prepare(out), 0);
    for (int round = 1; round <= 2; ++round) { // and it can be set again
        ASSERT_EQ(set_callback(out, call), 0);
        wait_until([&] { return calls >= round; });
        // Gone already; this waits all the same.
        EXPECT_EQ(audio_out_unset_stream_cb(out), kInvalidOperation);
        EXPECT_EQ(results,
                  (std::vector<int>{kInvalidOperation, kInvalidOperation, kInvalidOperation,
                                    kInvalidOperation, 0, 2 * kPeriodSamples}));
        EXPECT_EQ(calls, round);
    }
    wait_until([] { return host_threads() == 0; }); // the thread leaves by itself
}

TEST_F(AudioOutput, DestroyStopsADeviceThatPlays)
{
    const sample_row a_minute(std::size_t{kRate} * 60, 1);
    std::atomic<int> written{-1};
    callback call = [&](audio_out_h o, std::size_t) {
        written = audio_out_write(o, a_minute.data(), 2 * kRate * 60);
    };
    audio_out_h out = nullptr;
    ASSERT_EQ(audio_out_create_new(kRate, 128, 113, &out), 0);
    ASSERT_EQ(set_callback(out, call), 0);
    ASSERT_EQ(audio_out_prepare(out), 0);
    wait_for_samples(1);
    ASSERT_EQ(audio_out_destroy(out), 0);
    EXPECT_LT(written, 2 * kRate * 60);
    EXPECT_EQ(2 * tonelink_host_get_samples_played(), static_cast<std::uint64_t>(written));
    EXPECT_EQ(host_threads(), 0);
}

// What a program does that is not careful: start, stop and write from several threads at once.
TEST_F(AudioOutput, TakesCallsFromSeveralThreads)
{
    const test_output out;
    const sample_row sound(kPeriodSamples / 4, 1);
    callback call = [&](audio_out_h, std::size_t) { out.write(sound); };
    std::atomic<bool> is_over{false};
    std::thread writer{[&] {
        while (!is_over) out.write(sound);
    }};
    std::thread setter{[&] {
        while (!is_over) {
            set_callback(out, call);
            std::this_thread::sleep_for(milliseconds{1});
            audio_out_unset_stream_cb(out);
        }
    }};
    for (int round = 0; round < 20; ++round) {
        EXPECT_EQ(audio_out_prepare(out), 0);
        std::this_thread::sleep_for(milliseconds{5});
        EXPECT_EQ(audio_out_unprepare(out), 0);
    }
    is_over = true;
    writer.join();
    setter.join();
}

} // namespace tonelink::test
