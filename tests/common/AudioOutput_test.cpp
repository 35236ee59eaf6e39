#include "common/AudioOutput.h"

#include "support/failing_memory.h"
#include "support/library_fixture.h"
#include "tonelink_platform/audio_out.h"

namespace tonelink::test {

namespace {

using AudioOutput = library_test;

audio_out_h const kUntouched = reinterpret_cast<audio_out_h>(1);

} // namespace

TEST_F(AudioOutput, IsNotMadeWhenACallFails)
{
    const struct {
        const char *failing;
        int code;
        bool is_stored;
    } cases[] = {
        {"sound_manager_create_stream_information", -38, false},
        {"audio_out_create_new", -26214399, false},
        {"audio_out_set_sound_stream_info", -26214396, true},
    };
    for (const auto &c : cases) {
        platform.reset();
        platform.has_stream_info = false; // whose handle is given back like any other
        audio_out_h out = kUntouched;
        platform.fail(c.failing, c.code, 2);
        Initialize(8000, &out);
        EXPECT_EQ(platform.trace(), documented_trace(std::string{"failing_"} + c.failing));
        EXPECT_EQ(out != kUntouched, c.is_stored);
        EXPECT_EQ(audio_create(8000, &out), c.code);
    }
    platform.reset();
    audio_out_h out = nullptr;
    const failing_allocation failing{0};
    EXPECT_EQ(audio_create(44100, &out), -12);
}

TEST_F(AudioOutput, LogsFailuresAndGoesOn)
{
    platform.fail("audio_out_prepare", -22);
    platform.fail("audio_out_write", -26214397);
    platform.fail("audio_out_unprepare", -12);
    platform.fail("audio_out_destroy", -1);
    audio_out_h out = nullptr;
    Initialize(44100, &out);
    platform.forget();
    Start(out);
    SubmitAudioBuffer(nullptr, 0, out);
    SubmitAudioBuffer(nullptr, -5, out); // nothing, which is no failure
    Stop(out); // destroys although the device does not stop; and the output stays alive
    EXPECT_EQ(platform.trace(), documented_trace("failing_device"));
    EXPECT_EQ(platform.left_over(), "1 outputs; 1 stream infos; ");
    Stop(out);
    EXPECT_STREQ(convert_audio_io_error_to_string(-26214398), "AUDIO_IO_ERROR_DEVICE_NOT_CLOSED");
    EXPECT_STREQ(convert_audio_io_error_to_string(0), "NONE default case");
}

TEST_F(AudioOutput, EachOutputTakesItsOwnStreamInformationAlong)
{
    audio_out_h outs[3];
    for (auto &out : outs) ASSERT_EQ(audio_create(44100, &out), 0);
    for (const int index : {1, 0, 2}) {
        platform.forget();
        Stop(outs[index]);
        const auto id = std::to_string(index + 1);
        EXPECT_EQ(platform.count("sound_manager_destroy_stream_information(info" + id + ")"), 1);
        EXPECT_FALSE(is_alive(outs[index]));
        EXPECT_EQ(is_alive(outs[0]), index == 1);
        EXPECT_EQ(is_alive(outs[2]), index != 2);
    }
}

TEST_F(AudioOutput, KeepsStreamInformationWhoseHandleIsUsedAgain)
{
    // The program destroys an output by itself, and the platform its stream information with it.
    audio_out_h out = nullptr;
    for (const bool is_bound : {true, false}) {
        platform.reuses_handles = true;
        ASSERT_EQ(audio_create(44100, &out), 0);
        ASSERT_EQ(audio_out_destroy(out), 0);
        platform.forget();
        if (!is_bound) platform.fail("audio_out_set_sound_stream_info", -5);
        ASSERT_EQ(audio_create(44100, &out), is_bound ? 0 : -5);
        EXPECT_EQ(platform.count("sound_manager_destroy_stream_information(info1)"), 0);
        platform.reuses_handles = false;
        if (is_bound) Stop(out);
    }
}

} // namespace tonelink::test
