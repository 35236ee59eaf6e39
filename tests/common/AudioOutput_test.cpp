#include "common/AudioOutput.h"

#include "support/failing_memory.h"
#include "support/library_fixture.h"

namespace tonelink::test {

namespace {

using AudioOutput = library_test;

} // namespace

TEST_F(AudioOutput, IsNotMadeWhenACallFails)
{
    const struct {
        std::string call;
        int code;
        std::string name;
        bool says_exit;
    } cases[] = {
        {"sound_manager_create_stream_information", -38, "INVALID_OPERATION", false},
        {"audio_out_create_new", -26214399, "DEVICE_NOT_OPENED", false},
        {"audio_out_set_sound_stream_info", -26214396, "SOUND_POLICY", true},
    };
    audio_out_h out = nullptr;
    for (const auto &c : cases) {
        platform.reset();
        platform.fail(c.call, c.code, 2);
        EXPECT_EQ(audio_create(44100, &out), c.code);
        EXPECT_EQ(platform.count(c.call + " failed(" + std::to_string(c.code) + ")\n"), 1);
        EXPECT_EQ(platform.count("### Exit :>>>>>>>>>>>>>>>>>>>>>>>>  audio_create  \n\n"),
                  c.says_exit);
        Initialize(44100, &out);
        EXPECT_EQ(out, nullptr);
        EXPECT_EQ(
            platform.count("### audio_out_create Fail ret = [AUDIO_IO_ERROR_" + c.name + "] \n\n"),
            1);
    }
    platform.reset();
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
    Start(out);
    SubmitAudioBuffer(nullptr, 0, out);
    Stop(out); // destroys although the device does not stop; and the output stays alive
    EXPECT_EQ(platform.left_over(), "1 outputs; 1 stream infos; ");
    for (const std::string line :
         {"prepare Fail ret = [AUDIO_IO_ERROR_INVALID_PARAMETER]", "write Fail ret = [-26214397]",
          "write Fail ret = [AUDIO_IO_ERROR_INVALID_BUFFER]",
          "unprepare Fail ret = [AUDIO_IO_ERROR_OUT_OF_MEMORY]",
          "destroy Fail ret = [NONE default case]"})
        EXPECT_EQ(platform.count("### audio_out_" + line + " \n\n"), 1) << line;
    Stop(out);
    EXPECT_STREQ(convert_audio_io_error_to_string(-26214398), "AUDIO_IO_ERROR_DEVICE_NOT_CLOSED");
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
    }
}

} // namespace tonelink::test
