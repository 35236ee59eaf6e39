#include "common/AudioOutput.h"

#include "support/failing_memory.h"
#include "support/library_fixture.h"

namespace tonelink {

using test::platform;

namespace {

class AudioOutput : public test::library_test {};

const std::string kEnter =
    "AudioOutput.cpp|### Enter :>>>>>>>>>>>>>>>>>>>>>>>>  audio_create  \n\n|";
const std::string kExit = "### Exit :>>>>>>>>>>>>>>>>>>>>>>>>  audio_create  \n\n";

} // namespace

TEST_F(AudioOutput, IsMadePlayedAndClosed)
{
    audio_out_h out = nullptr;
    Initialize(48000, &out);
    ASSERT_NE(out, nullptr);
    Start(out);
    const int16_t samples[3] = {1, 2, 3};
    platform.keeps_samples = true;
    SubmitAudioBuffer(samples, 3, out);
    SubmitAudioBuffer(samples, -3, out);
    EXPECT_EQ(platform.writes, (std::vector<std::vector<int16_t>>{{1, 2, 3}, {}}));
    Stop(out);
    EXPECT_EQ(platform.calls(),
              "sound_manager_create_stream_information(3) audio_out_create_new(48000, 128, 113) "
              "audio_out_set_sound_stream_info(out1) audio_out_prepare(out1) "
              "audio_out_write(out1, 6) audio_out_write(out1, 0) audio_out_unprepare(out1) "
              "audio_out_destroy(out1) sound_manager_destroy_stream_information(info1)");
    EXPECT_EQ(platform.said("audio_create"), kEnter + kExit);
    EXPECT_EQ(platform.said("Initialize"),
              "AudioOutput.cpp|### Enter : audio_out_create\n\n|### audio_out_create Success \n\n"
              "|### Exit : audio_out_create\n");
    EXPECT_EQ(platform.said("Start"),
              "AudioOutput.cpp|### Enter : Audio_Start\n\n|### audio_out_prepare Success \n\n"
              "|### Exit : Audio_end\n\n");
    EXPECT_EQ(platform.said("Stop"),
              "AudioOutput.cpp|### Enter : Audio_Stop\n\n|### audio_out_unprepare Success \n\n"
              "|### audio_out_destroy Success \n\n|### Exit : Audio_Stop\n\n");
}

TEST_F(AudioOutput, ReportsWhatFailed)
{
    const struct {
        std::string call;
        int code;
        const char *name;
        std::string exit;
        const char *left_over;
    } cases[] = {
        {"sound_manager_create_stream_information", -38, "INVALID_OPERATION", "", ""},
        {"audio_out_create_new", -26214399, "DEVICE_NOT_OPENED", "", ""},
        {"audio_out_set_sound_stream_info", -26214396, "SOUND_POLICY", "|" + kExit,
         "1 stream infos; "},
    };
    for (const auto &c : cases) {
        platform.reset();
        platform.fail(c.call, c.code);
        audio_out_h out = nullptr;
        EXPECT_EQ(audio_create(44100, &out), c.code);
        EXPECT_EQ(platform.said("audio_create"),
                  kEnter + c.call + " failed(" + std::to_string(c.code) + ")\n" + c.exit);
        EXPECT_EQ(platform.left_over(), c.left_over);
        platform.fail(c.call, c.code);
        Initialize(44100, &out);
        EXPECT_EQ(out, nullptr);
        EXPECT_EQ(platform.count(std::string{"### audio_out_create Fail ret = [AUDIO_IO_ERROR_"} +
                                 c.name + "] \n\n"),
                  1);
    }
    platform.reset();
    const test::failing_allocation failing{0};
    audio_out_h out = nullptr;
    EXPECT_EQ(audio_create(44100, &out), -12);
}

TEST_F(AudioOutput, WrappersLogFailures)
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
    EXPECT_EQ(
        platform.count("### audio_out_prepare Fail ret = [AUDIO_IO_ERROR_INVALID_PARAMETER] \n\n"),
        1);
    EXPECT_EQ(platform.said("SubmitAudioBuffer"),
              "AudioOutput.cpp|### Enter : audio_out_write \n\n"
              "|### audio_out_write Fail ret = [-26214397] \n\n"
              "|### audio_out_write Fail ret = [AUDIO_IO_ERROR_INVALID_BUFFER] \n\n"
              "|### Exit : audio_out_write\n\n");
    EXPECT_EQ(platform.said("Stop"),
              "AudioOutput.cpp|### Enter : Audio_Stop\n\n"
              "|### audio_out_unprepare Fail ret = [AUDIO_IO_ERROR_OUT_OF_MEMORY] \n\n"
              "|### audio_out_destroy Fail ret = [NONE default case] \n\n"
              "|### Exit : Audio_Stop\n\n");
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

} // namespace tonelink
