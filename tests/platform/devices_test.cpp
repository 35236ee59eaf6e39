// What ALSA devices make of the sound that have their own ideas of rate, channels and sample
// format.

#include <algorithm>

#include "sound_devices.h"
#include "test_output.h"

namespace tonelink::test {

namespace {

std::string last_warning()
{
    std::string text(tonelink_host_get_last_warning(nullptr, 0), '\0');
    tonelink_host_get_last_warning(text.data(), text.size() + 1);
    return text;
}

sample_row tones_in_16_bits()
{
    sample_row samples;
    for (const float sample : tones(kRate))
        samples.push_back(static_cast<std::int16_t>(std::lround(sample * 32767)));
    return samples;
}

} // namespace

TEST(Devices, PlayTheSameSoundOnEachChannelAtARateOfTheirOwn)
{
    const scratch_folder folder;
    ASSERT_EQ(sound_manager_set_volume(1, 15), 0);
    ASSERT_EQ(tonelink_host_set_audio("alsa:test"), 0);
    for (const auto &device : kSoundDevices) {
        SCOPED_TRACE(device.plugin);
        const auto path = set_device(folder, device.plugin);
        std::filesystem::remove(path);
        play(tones_in_16_bits());
        SndfileHandle file{path, SFM_READ, SF_FORMAT_RAW | device.file_format, device.channels,
                           device.rate};
        const auto channels = static_cast<std::size_t>(device.channels);
        std::vector<float> frames(static_cast<std::size_t>(file.frames()) * channels);
        file.read(frames.data(), std::ssize(frames));
        EXPECT_NEAR(static_cast<double>(file.frames()), device.rate, 1);
        std::vector<float> samples;
        for (std::size_t at = 0; at < frames.size(); at += channels) {
            samples.push_back(frames[at]);
            ASSERT_EQ(std::count(&frames[at], &frames[at] + channels, frames[at]), device.channels);
        }
        expect_tones(samples, device.rate);
    }
    EXPECT_EQ(last_warning(), "");
}

TEST(Devices, WarnOfWhatCannotBeRight)
{
    const scratch_folder folder;
    ASSERT_EQ(tonelink_host_set_audio("alsa:test"), 0);
    set_device(folder, "type card file \"FILE\" format S16_LE channels 1 rate 42000");
    play(sample_row(1000));
    EXPECT_EQ(last_warning(), "");
    for (const char *rate : {"32000", "41999"}) {
        set_device(folder,
                   std::string{"type card file \"FILE\" format S16_LE channels 1 rate "} + rate);
        play(sample_row(1000));
        EXPECT_EQ(last_warning(), std::string{"the ALSA device \"test\" runs at "} + rate +
                                      " Hz, which loses the band of the bursts");
    }
    set_device(folder,
               "type plug slave { rate 44100 pcm { type rate slave { rate 48000 pcm { type card "
               "file \"FILE\" format S16_LE channels 1 rate 48000 period 1024 } } } }");
    play(sample_row(1000));
    EXPECT_EQ(
        last_warning(),
        "the ALSA device \"test\" takes periods of 940 samples at 44100 Hz for 1024 at 48000 Hz, "
        "and is 850 ppm slow");
}

TEST(Devices, SayWhatStandsBehindAFailure)
{
    const scratch_folder folder;
    ASSERT_EQ(tonelink_host_set_audio("alsa:test"), 0);
    for (const auto &[error, hint] : {std::pair{EBUSY, "fuser -v"},
                                      {EACCES, "be in the group audio"},
                                      {ECONNREFUSED, "no sound server runs"},
                                      {EIO, "error; TONELINK_AUDIO="}}) {
        set_device(folder, "type card error " + std::to_string(error));
        const test_output output;
        EXPECT_NE(audio_out_prepare(output), 0);
        EXPECT_NE(last_error().find(hint), std::string::npos) << last_error();
    }
}

} // namespace tonelink::test
