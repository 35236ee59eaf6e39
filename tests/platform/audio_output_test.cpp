// How the device behaves, with a sink in which nothing is heard.

#include <atomic>

#include "test_output.h"

namespace tonelink::test {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr int kInvalidBuffer = -26214397;

class AudioOutput : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_EQ(tonelink_host_set_audio("null"), 0);
        ASSERT_EQ(sound_manager_create_stream_information(3, nullptr, nullptr, &info), 0);
    }

    sound_stream_info_h info = nullptr;
    const std::int16_t sample = 1;
};

} // namespace

TEST_F(AudioOutput, RefusesWhatIsNoOutputAndOtherFormats)
{
    audio_out_h gone = test_output{};
    for (const auto &[rate, channel, type] :
         {std::tuple{7999, 128, 113}, {192001, 128, 113}, {kRate, 129, 113}, {kRate, 128, 112}})
        EXPECT_EQ(audio_out_create_new(rate, channel, type, &gone), kInvalidParameter);
    for (const int result :
         {audio_out_create_new(kRate, 128, 113, nullptr), audio_out_prepare(nullptr),
          audio_out_prepare(gone), audio_out_destroy(gone),
          audio_out_set_stream_cb(test_output{}, nullptr, nullptr),
          sound_manager_create_stream_information(-1, nullptr, nullptr, &info),
          sound_manager_create_stream_information(3, nullptr, nullptr, nullptr)})
        EXPECT_EQ(result, kInvalidParameter);
}

TEST_F(AudioOutput, KnowsItsStatesAndKeepsItsStreamInformation)
{
    const test_output out;
    for (int round = 0; round < 2; ++round) { // it can be had again
        for (const int result : {audio_out_write(out, &sample, 2), audio_out_unprepare(out),
                                 audio_out_unset_stream_cb(out)})
            EXPECT_EQ(result, kInvalidOperation);
        ASSERT_EQ(audio_out_set_sound_stream_info(out, info), 0);
        ASSERT_EQ(audio_out_prepare(out), 0);
        for (const int result : {audio_out_prepare(out), audio_out_set_sound_stream_info(out, info),
                                 sound_manager_destroy_stream_information(info)})
            EXPECT_EQ(result, kInvalidOperation);
        EXPECT_EQ(audio_out_write(out, nullptr, 2), kInvalidBuffer);
        EXPECT_EQ(audio_out_write(out, &sample, 1), kInvalidBuffer);
        EXPECT_EQ(audio_out_write(out, nullptr, 0), 0);
        EXPECT_EQ(audio_out_write(out, &sample, 2), 2);
        ASSERT_EQ(audio_out_unprepare(out), 0);
    }
    EXPECT_EQ(audio_out_destroy(out), 0);
    EXPECT_EQ(sound_manager_destroy_stream_information(info), 0);
    EXPECT_EQ(sound_manager_destroy_stream_information(info), kInvalidParameter);
    EXPECT_EQ(audio_out_set_sound_stream_info(test_output{}, info), kInvalidParameter);
}

TEST_F(AudioOutput, TakesTheTimeOfTheSound)
{
    for (const int rate : {8000, 44100, 192000}) {
        const test_output out{rate};
        ASSERT_EQ(audio_out_prepare(out), 0);
        const sample_row sound(static_cast<std::size_t>(rate) * 3 / 10, 1); // 300 ms
        out.write(sound);
        std::this_thread::sleep_for(milliseconds{150}); // a pause earns no credit
        const auto start = steady_clock::now();
        out.write(sound);
        // The device's own buffer may be full still.
        EXPECT_GE(steady_clock::now() - start, milliseconds{300 - 100});
        EXPECT_EQ(audio_out_unprepare(out), 0);
        EXPECT_GE(steady_clock::now() - start, milliseconds{300});
    }
}

TEST_F(AudioOutput, AsksForSoundAtItsPace)
{
    const test_output out;
    for (const std::size_t length : {kPeriodSamples, std::size_t{0}}) {
        const sample_row sound(length, 1);
        std::atomic<int> calls{0};
        stream_callback call = [&](audio_out_h o, std::size_t nbytes) {
            EXPECT_TRUE(o == out && nbytes == 2 * kPeriodSamples);
            out.write(sound);
            ++calls;
        };
        ASSERT_EQ(set_callback(out, call), 0);
        EXPECT_EQ(host_threads(), 0); // not before it is prepared
        const auto start = steady_clock::now();
        ASSERT_EQ(audio_out_prepare(out), 0);
        wait_until([&] { return calls >= 10; }); // also of one that writes nothing
        ASSERT_EQ(audio_out_unset_stream_cb(out), 0);
        EXPECT_EQ(host_threads(), 0); // it has waited for the last call
        ASSERT_EQ(audio_out_unprepare(out), 0);
        EXPECT_GE(steady_clock::now() - start, (calls - 1) * milliseconds{10});
    }
}

TEST_F(AudioOutput, CallbackCanRemoveItselfAndNothingElse)
{
    std::atomic<int> calls{0};
    std::vector<int> results;
    stream_callback call = [&](audio_out_h out, std::size_t) {
        results = {audio_out_prepare(out), audio_out_unprepare(out), audio_out_destroy(out),
                   set_callback(out, call), audio_out_unset_stream_cb(out)};
        ++calls;
    };
    const test_output out;
    ASSERT_EQ(audio_out_prepare(out), 0);
    for (int round = 1; round <= 2; ++round) { // and it can be set again, also while it plays
        ASSERT_EQ(set_callback(out, call), 0);
        wait_until([&] { return calls >= round; });
        // Gone already; this waits all the same.
        EXPECT_EQ(audio_out_unset_stream_cb(out), kInvalidOperation);
        EXPECT_EQ(results, (std::vector{-38, -38, -38, -38, 0})); // kInvalidOperation
        EXPECT_EQ(calls, round);
    }
    wait_until([] { return host_threads() == 0; }); // the thread leaves by itself
}

// What a program does that is not careful: start, stop and write from several threads at once.
TEST_F(AudioOutput, TakesCallsFromSeveralThreads)
{
    const test_output out;
    const sample_row sound(kPeriodSamples / 4, 1);
    stream_callback call = [&](audio_out_h, std::size_t) { out.write(sound); };
    const std::jthread writer{[&](const std::stop_token &stop) {
        while (!stop.stop_requested()) out.write(sound);
    }};
    const std::jthread setter{[&](const std::stop_token &stop) {
        while (!stop.stop_requested()) {
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
}

} // namespace tonelink::test
